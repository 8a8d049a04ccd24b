#!/bin/sh
# rooms_test.sh SOURCE_DIR: what check-stairs.py refuses, in a copy of the sources: a file in no room or in a wrong one, a
# room without a folder, an include up the stairs, a use up the stairs.
set -eu
source=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
whole=$folder/whole
mkdir "$whole" "$whole/scripts"
cp -R "$source/src" "$source/examples" "$source/firmware" "$source/python" "$whole"
cp "$source/scripts/check-stairs.py" "$whole/scripts"
cp -R "$whole" "$folder/tree"
cd "$folder/tree"

# spoils FILE...: what the next case changes, adds or takes away. To copy all of it for each case would take longer than
# to look through it.
spoils() {
    spoiled="$*"
}

# refused TEXT [OPTION...]: the check fails and says so.
refused() {
    text=$1
    shift
    if said=$(python3 -B scripts/check-stairs.py "$@" 2>&1); then
        echo "rooms_test: nothing was refused, where this should have been: $text" >&2
        exit 1
    fi
    case $said in
    *"$text"*) ;;
    *)
        printf 'rooms_test: it said\n%s\ninstead of\n%s\n' "$said" "$text" >&2
        exit 1
        ;;
    esac
    for file in $spoiled; do
        if [ -e "$whole/$file" ]; then cp "$whole/$file" "$file"; else rm -r "$file"; fi
    done
    spoiled=
}

# include HEADER FILE: as its first line.
include() {
    spoils "$2"
    sed -i "1i #include $1" "$2"
}
lib=src/lib/hostlink

python3 -B scripts/check-stairs.py

spoils $lib/Stray.cpp
touch $lib/Stray.cpp
refused "$lib/Stray.cpp: in no room"
spoils $lib/Stray.h
touch $lib/Stray.h
refused "$lib/Stray.h: in no room. A public header has a row in src/public-headers.txt"
spoils src/cellar
mkdir src/cellar && touch src/cellar/Stray.cc
refused "src/cellar/Stray.cc: in no room"
spoils $lib/machines/UartStream.cpp $lib/objects/UartStream.cpp
mv $lib/machines/UartStream.cpp $lib/objects/
refused "$lib/objects/UartStream.cpp:1: objects includes UartStream.h, which is nowhere"
spoils $lib/transport/HostLinkTransportLayer.cpp $lib/objects/HostLinkTransportLayer.cpp
mv $lib/transport/HostLinkTransportLayer.cpp $lib/objects/
refused "objects must not include $lib/HostLinkTransportLayer.h of transport"
spoils src/rooms.txt
echo 'cellar src/cellar - -' >>src/rooms.txt
refused "cellar has no folder src/cellar"
spoils src/public-headers.txt
echo 'hostlink/Gone.h objects' >>src/public-headers.txt
refused "there is no src/lib/hostlink/Gone.h"
spoils src/public-headers.txt
echo 'hostlink/core/ByteOrder.h objects' >>src/public-headers.txt
refused "puts it into objects, but it lies in core"

include '"hostlink/HostLinkPrinter.h"' $lib/objects/HostLinkFrame.cpp
refused "$lib/objects/HostLinkFrame.cpp:1: objects must not include $lib/HostLinkPrinter.h of vocabulary"
include '"../HostLinkPhysicalLayer.h"' $lib/HostLinkFrame.h
refused "nowhere"
include '"HostLinkPhysicalLayer.h"' $lib/HostLinkFrame.h
refused "$lib/HostLinkFrame.h:1: objects must not include $lib/HostLinkPhysicalLayer.h of link"
include '<hostlink/physicalLayers/UartPhysicalLayer.h>' $lib/transport/HostLinkTransportLayer.cpp
refused "transport must not include $lib/physicalLayers/UartPhysicalLayer.h of physicalLayers"
include '<hostlink/objects/MessageStore.h>' src/hostsim/LinePacer.cpp
refused "hostsim must not include $lib/objects/MessageStore.h, which is not a public header"
include '"../HostLinkLib.h"' $lib/objects/HostLinkFrame.cpp
refused 'objects includes ../HostLinkLib.h past its view; write "hostlink/HostLinkLib.h"'
include '<log4cplus/logger.h>' $lib/objects/HostLinkFrame.cpp
refused "objects must not include <log4cplus/logger.h>: it may not log"
include '<mutex>' $lib/machines/UartStream.cpp
refused "machines must not include <mutex>: no threads here"
include '<poll.h>' src/hostsim/LinePacer.cpp
refused "hostsim must not include <poll.h>: no files here"
include '<CLI/CLI.hpp>' src/tools/SimulatorOptions.cpp
refused "tools must not include <CLI/CLI.hpp>: src/commandline does, for all"
include '<vector>' $lib/core/Frame.cpp
refused "core may include only"

# A name without a header.
spoils $lib/objects/Ground.cpp $lib/link/Upstairs.cpp
echo 'int upstairs(); int ground() { return upstairs(); }' >$lib/objects/Ground.cpp
echo 'int upstairs() { return 1; }' >$lib/link/Upstairs.cpp
built=build/$lib/CMakeFiles
for file in objects/Ground link/Upstairs; do
    mkdir -p "$built/room.dir/${file%/*}"
    c++ -c "$lib/$file.cpp" -o "$built/room.dir/$file.cpp.o"
done
refused "$lib/objects/Ground.cpp: objects must not use upstairs() of link" --links build
refused "build it first" --links nothing-here

rm -r build
diff -r "$whole" . || { echo "rooms_test: a case has spoiled more than it said" >&2 && exit 1; }
echo "what does not fit a room is refused"
