#!/usr/bin/env bash
# From a clean clone to a pyramid: installs what is missing, builds, turns a generated image of
# 16384 x 16384 pixels into a tiled pyramid TIFF, and shows what it made.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh demo
scripts/build.sh release

quivo=build/release/bin/quivo
out=build/demo
mkdir -p "$out"
echo
echo "== a 16384 x 16384 image, computed while it is read, becomes a pyramid of tiles"
"$quivo" convert mandelbrot:16384x16384 "$out/mandelbrot.tif" --force
echo
echo "== what is in it"
"$quivo" info "$out/mandelbrot.tif"
echo
echo "== two looks at it"
"$quivo" render "$out/mandelbrot.tif" "$out/thumbnail.png" --size 1024 --force
"$quivo" render "$out/mandelbrot.tif" "$out/close-up.png" --level 0 --box 7504,6344,1024,1024 \
    --force
cat <<EOF

The pyramid:   $out/mandelbrot.tif
The pictures:  $out/thumbnail.png (all of it), $out/close-up.png (1024 x 1024 pixels of level 0)
The tool:      $quivo --help
EOF
