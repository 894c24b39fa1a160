#!/usr/bin/env bash
# The tests under valgrind: what is read before it is written, what is used after it is gone, what is
# never given back. Takes some minutes.
#
#   scripts/checks/valgrind.sh
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh checks
log=$(scripts/build.sh dev 2>&1) || {
    echo "$log" >&2
    exit 1
}
check() {
    echo "== $*"
    valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite,indirect,possible \
        --errors-for-leak-kinds=definite,indirect,possible --child-silent-after-fork=yes "$@" \
        >build/dev/valgrind.log 2>&1 || {
        tail -60 build/dev/valgrind.log >&2
        exit 1
    }
}
for program in build/dev/tests/quivo_*_tests build/dev/tests/*/quivo_*_tests; do
    QUIVO_LOAD_SECONDS=10 check "$program"
done
for target in text chain arguments; do
    check build/dev/fuzz/quivo_replay_$target fuzz/regressions/$target 100
done
# It has operators of new and delete of its own, which valgrind replaces one by one.
check --show-mismatched-frees=no build/dev/fuzz/quivo_replay_tiff fuzz/regressions/tiff 0
# The tool from its first to its last line.
out=build/dev/valgrind
mkdir -p "$out"
quivo=build/dev/bin/quivo
check $quivo convert mandelbrot:300x200 $out/a.tif --tile 64 --force --quiet
check $quivo convert $out/a.tif $out/b.tif --scale 0.3 --compression jpeg --force --quiet
check $quivo info $out/b.tif --json
check $quivo render $out/a.tif $out/a.png --size 100 --channels 'Red=blue;Green' --force
check $quivo read $out/a.tif --level 1 --output $out/a.npy --force
check $quivo split $out/a.tif "$out/{channel}.tif" --force --quiet
check $quivo merge $out/c.tif A=$out/Red.tif B=$out/Blue.tif --force --quiet
check $quivo verify $out/a.tif --against mandelbrot:300x200
check $quivo compare $out/a.tif $out/a.tif
