#!/usr/bin/env bash
# Fuzzes: builds the targets of fuzz/ with Clang and the sanitizers and runs each for a while, two at
# a time. What is interesting is kept in build/fuzz/corpus, where the next run goes on; inputs that
# break a promise come to build/fuzz/findings, and the script fails.
#
#   scripts/fuzz.sh SECONDS [TARGET]     TARGET is tiff, chain, text, arguments or recipe; all without it
#
# A finding is run again with build/fuzz/fuzz/quivo_fuzz_TARGET FILE, and made smaller with
#   build/fuzz/fuzz/quivo_fuzz_TARGET -minimize_crash=1 -max_total_time=60 FILE
# Once its cause is mended, it goes to fuzz/regressions/TARGET/, where a test replays it.
set -euo pipefail
cd "$(dirname "$0")/.."

all=(tiff chain text arguments recipe)
seconds=${1:-}
[[ $seconds =~ ^[1-9][0-9]*$ && $# -le 2 && " ${all[*]} " == *" ${2:-tiff} "* ]] || {
    echo "usage: scripts/fuzz.sh SECONDS [tiff|chain|text|arguments|recipe]" >&2
    exit 2
}
targets=("${all[@]}")
[[ $# -lt 2 ]] || targets=("$2")

scripts/setup.sh fuzz
log=$(scripts/build.sh fuzz 2>&1) || {
    echo "$log" >&2
    exit 1
}
build=$PWD/build/fuzz
quivo=$build/bin/quivo

# Small TIFF files of every kind, by our own writer and by libtiff's tools.
make_seeds() {
    local seeds=$build/seeds
    rm -rf "$seeds"
    mkdir -p "$seeds"
    cd "$seeds"
    local type codec
    for type in u8 i16 u64 f16 f32 f64; do
        "$quivo" convert mandelbrot:40x36 ours-$type.tif --type $type --tile 16 --quiet --all-levels
    done
    for codec in none lzw deflate zstd jpeg; do
        "$quivo" convert mandelbrot:40x36 ours-$codec.tif --compression $codec --tile 32 --quiet
    done
    # One channel, four, two slices, names; noise in planes of bytes, shorts, longs and floats.
    head -c 9000 <(seq -s " " 3000) >noise.raw
    local options=(-H 0 -c none)
    raw2tiff "${options[@]}" -w 24 -l 20 noise.raw grey.tif
    raw2tiff "${options[@]}" -w 24 -l 20 -b 3 -p rgb noise.raw rgb.tif
    raw2tiff "${options[@]}" -w 24 -l 20 -b 3 -p rgb -i band noise.raw planes.tif
    raw2tiff "${options[@]}" -w 24 -l 20 -b 4 noise.raw four.tif
    raw2tiff "${options[@]}" -w 24 -l 20 -p miniswhite noise.raw inverted.tif
    for type in short long float double; do
        raw2tiff "${options[@]}" -w 24 -l 20 -d $type noise.raw $type.tif
    done
    "$quivo" merge ours-names.tif "a <&> b=grey.tif" "c=inverted.tif" --tile 16 --quiet
    for codec in none packbits lzw:2 zip:2 jpeg zstd lzma webp lerc; do
        tiffcp -c $codec -t -w 16 -l 16 rgb.tif "tiles-${codec%:*}.tif"
        tiffcp -c $codec -s -r 16 rgb.tif "strips-${codec%:*}.tif"
    done
    for codec in zip:3 lzw:3; do tiffcp -c $codec -r 7 float.tif "float-${codec%:*}.tif"; done
    for codec in lzw packbits zip; do
        tiffcp -c $codec -B -t -w 16 -l 16 rgb.tif motorola-$codec.tif
        tiffcp -c $codec -p separate -r 9 rgb.tif separate-$codec.tif
        tiffcp -c $codec -8 -L -r 5 short.tif big-$codec.tif
    done
    tiffcp -c jpeg:r -r 16 rgb.tif jpeg-rgb.tif
    tiffcp grey.tif grey.tif inverted.tif pages.tif
    tiffmedian -C 16 rgb.tif palette.tif
    raw2tiff "${options[@]}" -w 24 -l 20 -b 3 -p ycbcr noise.raw ycbcr.tif
    tiffset -s 530 1 1 ycbcr.tif
    tiffcp -c packbits -r 1000 four.tif one-strip.tif
    tiffset -s 296 3 grey.tif
    tiffset -s 282 40000 grey.tif
    rm noise.raw
    cd - >/dev/null
}

# run TARGET: its log becomes build/fuzz/TARGET.log.
run() {
    local target=$1 corpus=$build/corpus/$1 options=()
    mkdir -p "$corpus" "$build/findings/$target"
    [[ $target != tiff ]] ||
        options=("$build/seeds" -dict=fuzz/tiff.dict -max_len=16384 -rss_limit_mb=2048)
    # What takes long is a finding, too; but this is time by the clock, and others use the machine.
    "$build/fuzz/quivo_fuzz_$target" "$corpus" "${options[@]}" -max_total_time="$seconds" \
        -timeout=60 -print_final_stats=1 -artifact_prefix="$build/findings/$target/" \
        >"$build/$target.log" 2>&1
}

[[ " ${targets[*]} " != *" tiff "* ]] || make_seeds
failed=()
for ((i = 0; i < ${#targets[@]}; i += 2)); do
    pids=()
    pair=("${targets[@]:i:2}")
    for target in "${pair[@]}"; do
        run "$target" &
        pids+=($!)
    done
    for j in "${!pids[@]}"; do wait "${pids[j]}" || failed+=("${pair[j]}"); done
done
for target in "${targets[@]}"; do
    awk -v t="$target" '/stat::number_of_executed_units/ {print t ": " $2 " executions"}' \
        "$build/$target.log"
done
for target in "${failed[@]}"; do
    echo "fuzz.sh: $target failed:" >&2
    grep -a -E -A12 "broken promise|ERROR: |runtime error: |uncaught exception" "$build/$target.log" |
        head -40 >&2 || tail -20 "$build/$target.log" >&2
done
[[ ${#failed[@]} -eq 0 ]]
