#!/bin/sh
# make_test.sh SOURCE_DIR: what make says and does before it builds. The project's Makefile and scripts stand in a folder of
# their own, and a cmake of the test's in place of the real one.
set -eu
source=$1
folder=$(mktemp -d)
background=
finish() {
    [ -z "$background" ] || kill $background 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT
mkdir "$folder/tree" "$folder/bin"
cp -r "$source/Makefile" "$source/scripts" "$folder/tree/"
cd "$folder/tree"
printf '#!/bin/sh\n' >scripts/install-packages.sh

fail() {
    echo "make_test: $*" >&2
    exit 1
}

# refused TEXT COMMAND...: the command fails, says TEXT, and does not come to cmake.
refused() {
    text=$1
    shift
    if "$@" >"$folder/said" 2>&1; then fail "not refused: $*"; fi
    grep -qF "$text" "$folder/said" || fail "'$text' is not in: $(cat "$folder/said")"
    [ ! -s "$folder/calls" ] || fail "$* has come to cmake"
}

# The stand-in notes its beginning and its end. In between the release build waits where there is a pipe to wait at.
cat >"$folder/bin/cmake" <<END
#!/bin/sh
echo begin >>"$folder/calls"
case "\$*" in *release*) [ ! -p "$folder/gate" ] || cat "$folder/gate" ;; esac
echo end >>"$folder/calls"
END
chmod +x "$folder/bin/cmake"
PATH=$folder/bin:$PATH

refused "there is no link 'foo'; LINK is uart, i2c or spi" make demo LINK=foo
touch build # where a folder cannot be made, whoever asks
refused "cannot write to $folder/tree/build" scripts/build.sh release
rm build

# waited PATTERN FILE COUNT: until so many lines of the file match; 200 s at most.
waited() {
    timeout 200 sh -c 'until [ "$(grep -c "$1" "$2" 2>/dev/null)" = "$3" ]; do :; done' sh "$@" || fail "no '$1' in $2"
}

mkdir -p build/release && touch build/release/build.ninja # as configured
mkfifo "$folder/gate"
scripts/build.sh release >"$folder/first" 2>&1 &
background=$!
waited begin "$folder/calls" 1
scripts/build.sh release >"$folder/second" 2>&1 &
background="$background $!"
waited 'waiting for another make' "$folder/second" 1
[ "$(cat "$folder/calls")" = begin ] || fail "the second make has begun before the first has ended"
mkdir -p build/dev && touch build/dev/build.ninja
timeout 200 scripts/build.sh dev >"$folder/beside" 2>&1 || fail "no other configuration can be built meanwhile"
: >"$folder/gate"
waited begin "$folder/calls" 3
: >"$folder/gate"
wait
background=
[ "$(tr '\n' ' ' <"$folder/calls")" = "begin begin end end begin end " ] || fail "not one after the other: $(cat "$folder/calls")"
grep -q 'takes some minutes' "$folder/first" || fail "the first build does not say that it takes long"
rm "$folder/gate" && touch build/release/.ninja_log
scripts/build.sh release >"$folder/third"
if grep -q minutes "$folder/third"; then fail "a later build says that it takes minutes"; fi
echo "make refuses first, waits for another make, and says what is true"
