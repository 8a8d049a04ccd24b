#!/bin/sh
# rig_test.sh BUILD_DIRECTORY LINK DEVICE: the checker on a bus of the rig. Runs inside the rig.
set -eu
build=$1
link=$2
device=$3
set -- --link "$link" --device "$device" --gpio 17 --response-timeout 20000
for name in bus-one-edge bus-announce bus-read-again bus-after-nack bus-nothing-to-say bus-write-while-low bus-bad-write \
    own-form refused-once get-in-order; do
    set -- "$@" --only "$name"
done
"$build/bin/zent-hostcheck" "$@"
