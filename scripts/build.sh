#!/usr/bin/env bash
# Configures and builds one preset of CMakePresets.json: scripts/build.sh PRESET
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:?which preset? see CMakePresets.json}
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake --preset "$preset" "${launcher[@]}" >"/tmp/quivo-configure-$$.log" 2>&1 || {
    cat "/tmp/quivo-configure-$$.log" >&2
    exit 1
}
rm -f "/tmp/quivo-configure-$$.log"
cmake --build --preset "$preset" -j2
