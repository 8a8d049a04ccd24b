#!/bin/sh
# Lists the project's C and C++ files.
set -eu
cd "$(dirname "$0")/.."
git ls-files --cached --others --exclude-standard '*.h' '*.hpp' '*.c' '*.cpp' | while read -r file; do
    [ ! -f "$file" ] || echo "$file"
done
