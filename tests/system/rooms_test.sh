#!/bin/sh
# rooms_test.sh SOURCE_DIR: what check-stairs.py refuses, in a copy of the sources: a file in no room or in a wrong one, a
# room without a folder, an include up the stairs, a use up the stairs.
set -eu
source=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/tree"
cd "$folder/tree"

fresh() {
    rm -rf src examples firmware python scripts
    mkdir scripts
    cp -R "$source/src" "$source/examples" "$source/firmware" "$source/python" .
    cp "$source/scripts/check-stairs.py" scripts/
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
    fresh
}

# include HEADER FILE: as its first line.
include() {
    sed -i "1i #include $1" "$2"
}
lib=src/lib/hostlink

fresh
python3 -B scripts/check-stairs.py

touch $lib/Stray.cpp
refused "$lib/Stray.cpp: in no room"
touch $lib/Stray.h
refused "$lib/Stray.h: in no room. A public header has a row in src/public-headers.txt"
mkdir src/cellar && touch src/cellar/Stray.cc
refused "src/cellar/Stray.cc: in no room"
mv $lib/machines/UartStream.cpp $lib/objects/
refused "$lib/objects/UartStream.cpp:1: objects includes UartStream.h, which is nowhere"
mv $lib/transport/HostLinkTransportLayer.cpp $lib/objects/
refused "objects must not include $lib/HostLinkTransportLayer.h of transport"
echo 'cellar src/cellar - -' >>src/rooms.txt
refused "cellar has no folder src/cellar"
echo 'hostlink/Gone.h objects' >>src/public-headers.txt
refused "there is no src/lib/hostlink/Gone.h"
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
echo 'int upstairs(); int ground() { return upstairs(); }' >$lib/objects/Ground.cpp
echo 'int upstairs() { return 1; }' >$lib/link/Upstairs.cpp
built=build/$lib/CMakeFiles
for file in objects/Ground link/Upstairs; do
    mkdir -p "$built/room.dir/${file%/*}"
    c++ -c "$lib/$file.cpp" -o "$built/room.dir/$file.cpp.o"
done
refused "$lib/objects/Ground.cpp: objects must not use upstairs() of link" --links build
refused "build it first" --links nothing-here
echo "what does not fit a room is refused"
