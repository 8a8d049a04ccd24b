#!/bin/sh
# Whatever silences an analyser or leaves a line out of a measurement says why, on its own line: "MARK(check): reason".
set -eu
cd "$(dirname "$0")/.."

marks='NOLINT(NEXTLINE|BEGIN)?|cppcheck-suppress|GCOVR_EXCL_[A-Z_]*(LINE|START)|suppress:'
found=$(git grep -nE "$marks" -- '*.cpp' '*.h' '*.c' | grep -v NOLINTEND | grep -vE "($marks)(\([^)]*\)|  *[A-Za-z]+)? ?[:;] [^ ].+" || true)
if [ -n "$found" ]; then
    printf 'These lines silence a finding without a reason:\n%s\n' "$found" >&2
    exit 1
fi
echo "Each suppression has its reason."
