#!/bin/sh
# Nothing in the tree points outside it: no path of one machine, no open end.
set -eu
cd "$(dirname "$0")/.."

found=$(git grep -nIE '(^|[^A-Za-z.<])/(home|root|work|Users)/|\b(TODO|FIXME|XXX)\b' -- . ':!scripts/check-words.sh' || true)
if [ -n "$found" ]; then
    printf 'These lines hold a path of one machine or an open end:\n%s\n' "$found" >&2
    exit 1
fi
echo "No machine paths, no open ends."
