#!/usr/bin/env bash
# The tool's main job beside libvips: a strip TIFF of 20480 x 8640 RGB pixels, a fractal landscape
# with noise like a camera's, becomes a tiled pyramid. Runs in turn, five of each, prints medians.
#
#   benchmarks/bench_convert.sh [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${1:-5}
scripts/setup.sh bench
scripts/build.sh release >/dev/null
quivo=$PWD/build/release/bin/quivo
picture=$PWD/benchmarks/bench_picture.sh
mkdir -p build/bench/convert
cd build/bench/convert

# A quarter of the file's height and a fifth of its width, repeated: far more than a compressor
# looks back.
if [[ ! -s source.tif ]]; then
    "$picture" 4096 4320 colours.v
    vips replicate colours.v whole.v 5 2
    vips tiffsave whole.v new.tif --compression none
    mv new.tif source.tif
    rm -f -- *.v
fi

# measure LOG COMMAND...: appends "seconds kilobytes" of one run.
measure() {
    local log=$1
    shift
    /usr/bin/time -a -o "$log" -f "%e %M" "$@" >/dev/null
}

# median LOG FIELD
median() { sort -g -k "$2" "$1" | awk -v f="$2" '{v[NR] = $f} END {print v[int((NR + 1) / 2)]}'; }

echo "| compression | quivo | vips | ratio | file over vips' | quivo's peak memory | vips' |"
echo "|---|---|---|---|---|---|---|"
for compression in none deflate jpeg; do
    case $compression in
        none) ours=() theirs=() ;;
        deflate) ours=() theirs=(--predictor horizontal) ;;
        jpeg) ours=(--quality 90) theirs=(--Q 90) ;;
    esac
    rm -f ours.log theirs.log
    for ((run = 0; run < runs; ++run)); do
        rm -f ours.tif theirs.tif
        measure ours.log "$quivo" convert source.tif ours.tif --compression $compression "${ours[@]}"
        measure theirs.log vips tiffsave source.tif theirs.tif --compression $compression \
            "${theirs[@]}" --tile --pyramid --tile-width 256 --tile-height 256
    done
    awk -v c=$compression -v a="$(median ours.log 1)" -v b="$(median theirs.log 1)" \
        -v ma="$(median ours.log 2)" -v mb="$(median theirs.log 2)" \
        -v sa="$(stat -c %s ours.tif)" -v sb="$(stat -c %s theirs.tif)" \
        'BEGIN {printf "| %s | %.2f s | %.2f s | %.2f | %.2f | %.0f MB | %.0f MB |\n",
                c, a, b, a / b, sa / sb, ma / 1e3, mb / 1e3}'
done
rm -f ours.tif theirs.tif
