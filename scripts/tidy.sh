#!/usr/bin/env bash
# clang-tidy (what it is asked for, and why not for more: .clang-tidy) and cppcheck over the product.
# Both have to find nothing. Takes minutes: CLI11 and the analyzer are slow.
#
#   scripts/tidy.sh [FILE...]     only these sources
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh checks
cmake --preset tidy >/dev/null
sources=("$@")
[[ $# -gt 0 ]] || mapfile -t sources < <(git ls-files 'src/*.cpp' 'storage/*.cpp' 'formats/*.cpp' 'apps/*.cpp')

# Parameters by value are moved, or are those of a signature that users derive from.
cppcheck --enable=warning,performance,portability --std=c++20 --language=c++ --inline-suppr --quiet \
    -j2 --error-exitcode=1 --suppress=passedByValue --suppress=missingIncludeSystem -I. -Iinclude -Isrc \
    -Iformats/tiff/include -Iformats/tiff/src -Iapps/quivo "${sources[@]}"
# It counts on stderr the warnings that it does not show.
log=build/tidy/clang-tidy.log
printf '%s\0' "${sources[@]}" |
    xargs -0 -P2 -n1 clang-tidy -p build/tidy --quiet >"$log" 2>"$log.err" || {
    grep -E -A3 'error:|warning:' "$log" >&2 || cat "$log.err" >&2
    exit 1
}
echo "cppcheck and clang-tidy: nothing in ${#sources[@]} sources"
