#!/bin/sh
# check-exports.sh LIBRARY...: the shared libraries show their public names and nothing else.
set -eu

for library in "$@"; do
    case $library in
    *hostLinkLib*)
        public='^(hostLink|dataTransfer|genDataTransfer)|^(typeinfo( name)? for |vtable for )?(HostLink|UartPhysicalLayer|DummyPhysicalLayer|SyncSerialLayer|I2cPhysicalLayer|SpiPhysicalLayer)|ToString(\[abi|$)|^(stateBitFlag|messageIdToTagMap)|^ValueMessageParsing|^typeinfo( name)? for ValueMessageParsing' ;;
    *hostLinkClient*)
        # Classes inside the public ones are the library's own.
        public='^(typeinfo( name)? for |vtable for )?hostlink::([A-Za-z]+::)?[~A-Za-z]+[=!<>]*(\[abi:cxx11\])?(\(|$)' ;;
    *serialComm*)
        public='^(typeinfo( name)? for |vtable for )?(Uart|SerialBus|I2c|Spi)(::|$)|^uart(End|QueuedOutput|DropOutput)\(|^serialTap\(|^dbglog_scopedFunction' ;;
    *) echo "check-exports.sh: no list for $library" >&2; exit 2 ;;
    esac
    # std:: templates that the compiler instantiated are weak and carry no name of ours.
    extra=$(nm -DC --defined-only "$library" | awk '$2 != "W" && $2 != "V" && $2 != "u" { $1 = $2 = ""; sub(/^ +/, ""); sub(/^non-virtual thunk to /, ""); print }' |
        grep -Ev "$public" || true)
    if [ -n "$extra" ]; then
        printf '%s shows names that are not public:\n%s\n' "$library" "$extra" >&2
        exit 1
    fi
    echo "$(basename "$library"): only public names are exported."
done
