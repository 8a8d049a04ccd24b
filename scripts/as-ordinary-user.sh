#!/bin/sh
# as-ordinary-user.sh [--folder FOLDER]... COMMAND [ARGUMENT...]: for root, runs COMMAND as the user nobody, who gets build/,
# or these FOLDERs alone, for that time; for anybody else, just runs it. What such a user needs of the machine and may not
# have, a way to this folder and a /dev/fuse to open, is changed in a mount namespace of the command's own.
set -eu
folders=
while [ "${1:-}" = --folder ]; do
    folders="$folders $2"
    shift 2
done
if [ "$(id -u)" != 0 ]; then exec "$@"; fi
tree=$(cd "$(dirname "$0")/.." && pwd -P)
as_nobody() {
    setpriv --reuid nobody --regid nogroup --clear-groups "$@"
}

# first_closed PATH: the first folder of the path that nobody may pass, or nothing.
first_closed() {
    at=
    left=${1#/}/
    while [ -n "$left" ]; do
        at=$at/${left%%/*}
        left=${left#*/}
        as_nobody test -x "$at" || { echo "$at" && return; }
    done
}

case ${1:-} in
--inside)
    shift
    umask 022
    # A folder on the way here that others may not pass: an empty one with just this way in it takes its place.
    closed=$(first_closed "$tree")
    if [ -n "$closed" ] && [ "$closed" != "$tree" ]; then
        place=$(mktemp -d)
        mount -t tmpfs -o mode=755 none "$place"
        mkdir -p "$place${tree#"$closed"}"
        mount --bind "$tree" "$place${tree#"$closed"}"
        mount --move "$place" "$closed"
        rmdir "$place"
    fi
    as_nobody test -r "$tree/Makefile" || {
        echo "as-ordinary-user.sh: others may not read $tree: chmod -R go+rX there" >&2
        exit 1
    }
    node=$(mktemp -d)
    mount -t tmpfs -o mode=755 none "$node"
    mknod -m 666 "$node/fuse" c 10 229
    mount --bind "$node/fuse" /dev/fuse
    cd "$tree"
    # Nor has that user root's places for files.
    exec setpriv --reuid nobody --regid nogroup --clear-groups env -u TMPDIR -u XDG_CONFIG_HOME -u XDG_CACHE_HOME \
        -u XDG_RUNTIME_DIR HOME=/nonexistent "$@"
    ;;
"")
    echo "usage: as-ordinary-user.sh [--folder FOLDER]... COMMAND [ARGUMENT...]" >&2
    exit 2
    ;;
esac

owner=$(stat -c %u:%g "$tree")
give() { for folder in ${folders:-build}; do chown -R "$1" "$tree/$folder"; done; }
trap 'give "$owner"' EXIT
give nobody:nogroup
unshare --mount --propagation private "$0" --inside "$@"
