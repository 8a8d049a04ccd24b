#!/bin/sh
# check-device-trees.sh: the overlays in packaging/device-tree compile, without a warning.
set -eu
cd "$(dirname "$0")/.."
for source in packaging/device-tree/*.dts; do
    said=$(dtc -@ -I dts -O dtb -o /dev/null "$source" 2>&1) || { echo "$said" >&2; exit 1; }
    [ -z "$said" ] || { echo "$said" >&2; exit 1; }
done
echo "The device tree overlays compile."
