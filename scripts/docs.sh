#!/bin/sh
# docs.sh: the reference as HTML in build/docs/html. A warning fails.
set -eu
cd "$(dirname "$0")/.."
mkdir -p build/docs
doxygen docs/Doxyfile
echo "Reference: build/docs/html/index.html"
