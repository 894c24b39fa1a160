#!/usr/bin/env bash
# Makes FILE.v, an RGB picture of bytes: a fractal landscape with noise like a camera's.
#
#   benchmarks/bench_picture.sh WIDTH HEIGHT FILE.v
set -euo pipefail

width=$1 height=$2 file=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
vips fractsurf "$work/land.v" "$width" "$height" 2.2
vips linear "$work/land.v" "$work/grey.v" 0.045 128
for channel in 1 2 3; do
    vips gaussnoise "$work/noise.v" "$width" "$height" --sigma 3 --mean 0
    vips add "$work/grey.v" "$work/noise.v" "$work/sum.v"
    vips cast "$work/sum.v" "$work/channel$channel.v" uchar
done
vips bandjoin "$work/channel1.v $work/channel2.v $work/channel3.v" "$work/rgb.v"
vips copy "$work/rgb.v" "$file" --interpretation srgb
