#!/usr/bin/env bash
# Builds the reference of the public headers, and the guides beside it, in build/docs/html. Whatever
# Doxygen warns of (an undocumented name, an unknown page) is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh docs
rm -rf build/docs
mkdir -p build/docs/html
docs/check_docs.py
doxygen docs/Doxyfile
# The guides link their programs.
cp -r examples build/docs/examples
cp -r examples build/docs/html/examples
echo "build/docs/html/index.html"
