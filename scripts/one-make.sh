# one-make.sh, for scripts that change build/: sourced, from the project's folder. `one_make FOLDER` lets one make at a time
# work in that folder below build/, or two would build the same files at once; `one_make` alone lets nobody else work in any.
# The locks are on the folders themselves, so that they need no file, and go with the script.
mkdir -p build 2>/dev/null && [ -w build ] || {
    echo "$(basename "$0"): cannot write to $(pwd)/build: give this user the right to, or work in a copy of the tree" >&2
    exit 1
}

# lock_waiting DESCRIPTOR KIND
lock_waiting() {
    flock --nonblock "$2" "$1" || {
        echo "waiting for another make in this folder" >&2
        flock "$2" "$1"
    }
}

one_make() {
    exec 9<.
    if [ $# -eq 0 ]; then
        lock_waiting 9 --exclusive
        return
    fi
    lock_waiting 9 --shared
    mkdir -p "$1"
    exec 8<"$1"
    lock_waiting 8 --exclusive
}
