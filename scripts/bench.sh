#!/usr/bin/env bash
# Builds the benchmarks, runs all of them and prints one table.
#
#   scripts/bench.sh                  the table, and build/bench/results.json
#   scripts/bench.sh --compare REV    this state and another one in turn, as ratios of their times
#   scripts/bench.sh ... --filter RE  only those whose names match
set -euo pipefail
cd "$(dirname "$0")/.."

revision=
filter=.
while [[ $# -gt 0 ]]; do
    case $1 in
        --compare) revision=${2:?which revision?} ;;
        --filter) filter=${2:?which names?} ;;
        *)
            echo "usage: scripts/bench.sh [--compare REV] [--filter RE]" >&2
            exit 2
            ;;
    esac
    shift 2
done

scripts/setup.sh bench
scripts/build.sh bench >/dev/null
out=build/bench

# run BINARY FILE: one pass over all benchmarks, on one processor but for those with threads.
run() {
    "$1" --benchmark_filter="$filter" --benchmark_out="$2" --benchmark_out_format=json \
        >/dev/null 2>$out/run.log || {
        cat $out/run.log >&2
        exit 1
    }
}

if [[ -z $revision ]]; then
    run $out/benchmarks/quivo_benchmarks $out/results.json
    python3 benchmarks/bench_table.py $out/results.json
    exit
fi

other=build/bench-$(git rev-parse --short "$revision")
[[ -d $other/source ]] || git worktree add --detach --force "$PWD/$other/source" "$revision" >/dev/null
# The benchmarks of today over the library of that revision.
rm -rf "$other/source/benchmarks"
cp -r benchmarks "$other/source/"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$other/source" -B "$other/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DQUIVO_BUILD_BENCHMARKS=ON -DQUIVO_WITH_TIFF=ON "${launcher[@]}" >/dev/null
grep -q QUIVO_BUILD_BENCHMARKS "$other/source/CMakeLists.txt" || {
    echo "bench.sh: $revision is older than the benchmarks" >&2
    exit 1
}
cmake --build "$other/build" -j2 >/dev/null
results=()
for pass in 1 2 3; do
    run $out/benchmarks/quivo_benchmarks "$out/this-$pass.json"
    run "$other/build/benchmarks/quivo_benchmarks" "$out/other-$pass.json"
    results+=("$out/this-$pass.json" "$out/other-$pass.json")
done
python3 benchmarks/bench_table.py --compare "${results[@]}"
git worktree remove --force "$PWD/$other/source"
