# seeds.sh, for scripts that try one seed after another: sourced with their arguments, which become
#   preset    --preset, release unless given
#   first     --seed, empty unless given
#   seeds     --seeds, how many; empty unless given
# or, where neither --seeds nor --time has a number, or there is something else, the script's own head as a help.
# `more_seeds DONE`: whether so many are too few yet, by their number or by the time; at least one is tried.
preset=release
first=
seeds=
seconds=
while [ $# -gt 1 ]; do
    case $1 in
    --preset) preset=$2 ;;
    --seed) first=$2 ;;
    --seeds) seeds=$2 ;;
    --time) seconds=$2 ;;
    *) break ;;
    esac
    shift 2
done
case $#:${first:-0}:${seeds:-0}${seconds:-0} in
0:*:*[!0-9]* | 0:*[!0-9]*:* | 0:*:00 | [!0]*)
    sed -n '2,/^set -eu/{/^#/s/^# \{0,1\}//p}' "$0" >&2
    exit 2
    ;;
esac
# Seconds on a clock that nobody sets.
now() {
    read -r up _ </proc/uptime
    echo "${up%.*}"
}
end=$(($(now) + ${seconds:-0}))

more_seeds() {
    [ "$1" -lt "${seeds:-1}" ] || [ "$(now)" -lt "$end" ]
}
