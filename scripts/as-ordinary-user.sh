#!/bin/sh
# as-ordinary-user.sh [--folder FOLDER] COMMAND [ARGUMENT...]: for root, runs COMMAND as the user nobody, who gets build/, or
# FOLDER alone, for that time; for anybody else, just runs it. What such a user needs of the machine and may not have, a way
# to this folder and a /dev/fuse to open, is changed in a mount namespace of the command's own.
set -eu
folder=build
if [ "${1:-}" = --folder ]; then
    folder=$2
    shift 2
fi
if [ "$(id -u)" != 0 ]; then exec "$@"; fi
tree=$(cd "$(dirname "$0")/.." && pwd -P)

case ${1:-} in
--inside)
    shift
    # Folders on the way here that others may not pass: an empty one with just this way in it takes the first one's place.
    if ! setpriv --reuid nobody --regid nogroup --clear-groups test -x "$tree"; then
        way=$(mktemp -d)
        mount --bind "$tree" "$way"
        top=/$(echo "$tree" | cut -d / -f 2)
        mount -t tmpfs -o mode=755 none "$top"
        mkdir -p "$tree"
        mount --move "$way" "$tree"
        rmdir "$way"
    fi
    node=$(mktemp -d)
    mount -t tmpfs -o mode=755 none "$node"
    mknod -m 666 "$node/fuse" c 10 229
    mount --bind "$node/fuse" /dev/fuse
    cd "$tree"
    exec setpriv --reuid nobody --regid nogroup --clear-groups env HOME=/nonexistent "$@"
    ;;
"")
    echo "usage: as-ordinary-user.sh [--folder FOLDER] COMMAND [ARGUMENT...]" >&2
    exit 2
    ;;
esac

owner=$(stat -c %u:%g "$tree")
trap 'chown -R "$owner" "$tree/$folder"' EXIT
chown -R nobody:nogroup "$tree/$folder"
unshare --mount --propagation private "$0" --inside "$@"
