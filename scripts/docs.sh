#!/usr/bin/env bash
# Builds the reference of the public headers, and the guides beside it, in build/docs/html. Whatever
# Doxygen warns of (an undocumented name, a link to nowhere) is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh docs
rm -rf build/docs
mkdir -p build/docs
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
