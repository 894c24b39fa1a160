#!/usr/bin/env bash
# Cost against size: images of 1 to 1024 million RGB pixels become pyramids, and a region is read
# from each. Draws build/bench/size/size.png: time per pixel and peak memory over the size.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
scripts/build.sh release >/dev/null
quivo=$PWD/build/release/bin/quivo
picture=$PWD/benchmarks/bench_picture.sh
mkdir -p build/bench/size
cd build/bench/size

# The same 1024 x 1024 pixels of a landscape with noise, repeated: every pixel costs the same.
"$picture" 1024 1024 pattern.v

# median COMMAND...: "seconds megabytes" of the median of three runs.
median() {
    rm -f runs.log
    for _ in 1 2 3; do /usr/bin/time -a -o runs.log -f "%e %M" "$@" >/dev/null 2>&1; done
    sort -g runs.log | awk 'NR == 2 {print $1, $2 / 1000}'
}

echo "# megapixels; seconds and MB of none, deflate, jpeg; of a process that reads 512 x 512 pixels" |
    tee size.dat
for edge in 1 2 4 8 16 32; do
    vips replicate pattern.v whole.v $edge $edge
    vips tiffsave whole.v source.tif --compression none
    row=$(awk -v e=$edge 'BEGIN {print e * e * 1.048576}')
    for compression in none deflate jpeg; do
        row+=" $(median "$quivo" convert source.tif pyramid.tif --force --compression $compression)"
    done
    at=$((edge * 1024 / 2 - 256))
    row+=" $(median "$quivo" read pyramid.tif --box $at,$at,512,512 --output region.f64 --force)"
    echo "$row" | tee -a size.dat
done
rm -f -- *.v *.tif region.f64

gnuplot <<'PLOT'
set terminal png size 900,420 font "sans,10"
set output "size.png"
set multiplot layout 1,2
set logscale x
set xrange [0.7:2000]
set xlabel "million pixels (RGB, 8 bits)"
set key top right
set yrange [0:*]
set title "quivo convert: nanoseconds per pixel"
plot "size.dat" using 1:($2/$1*1e3) with linespoints title "none", \
     "" using 1:($4/$1*1e3) with linespoints title "deflate", \
     "" using 1:($6/$1*1e3) with linespoints title "jpeg"
set key top left
set title "peak memory, MB"
plot "size.dat" using 1:3 with linespoints title "convert, none", \
     "" using 1:5 with linespoints title "convert, deflate", \
     "" using 1:7 with linespoints title "convert, jpeg", \
     "" using 1:9 with linespoints title "read 512 x 512"
PLOT
echo "build/bench/size/size.png"
