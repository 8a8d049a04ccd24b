# one-make.sh, for scripts that change build/: sourced, from the project's folder. One make at a time, or two would build
# the same files at once. The lock is on the folder itself, so that it needs no file, and goes with the script.
mkdir -p build 2>/dev/null && [ -w build ] || {
    echo "$(basename "$0"): cannot write to $(pwd)/build: give this user the right to, or work in a copy of the tree" >&2
    exit 1
}
exec 9<.
flock --nonblock 9 || {
    echo "waiting for another make in this folder" >&2
    flock 9
}
