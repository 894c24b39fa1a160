#!/usr/bin/env bash
# Eight threads read through a chain over one cache whose source changes, under the thread sanitizer.
#
#   tests/checks/load.sh [SECONDS]     60 without it
set -euo pipefail
cd "$(dirname "$0")/../.."

seconds=${1:-60}
[[ $seconds =~ ^[1-9][0-9]*$ && $# -le 1 ]] || {
    echo "usage: tests/checks/load.sh [SECONDS]" >&2
    exit 2
}
scripts/setup.sh ci
log=$(scripts/build.sh tsan 2>&1) || {
    echo "$log" >&2
    exit 1
}
QUIVO_LOAD_SECONDS=$seconds build/tsan/tests/quivo_thread_tests --gtest_filter='Load.*'
