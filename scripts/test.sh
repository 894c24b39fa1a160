#!/usr/bin/env bash
# From a clean clone to all tests: installs what is missing, builds, runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh test
scripts/build.sh dev
ctest --preset dev
