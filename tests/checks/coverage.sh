#!/usr/bin/env bash
# Which lines and branches of the product the tests run, folder by folder, and in
# build/coverage/report/index.html line by line.
#
#   tests/checks/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh checks
log=$(scripts/build.sh coverage 2>&1) || {
    echo "$log" >&2
    exit 1
}
find build/coverage -name '*.gcda' -delete
ctest --preset coverage >build/coverage/tests.log || {
    tail -40 build/coverage/tests.log >&2
    exit 1
}
mkdir -p build/coverage/report
# Branches to where an exception leaves are the compiler's, not ours.
gcovr --root . --object-directory build/coverage --filter include/ --filter src/ \
    --filter storage/ --filter formats/ --filter apps/ --exclude-throw-branches --exclude-unreachable-branches \
    --json-summary build/coverage/summary.json --html-details build/coverage/report/index.html \
    build/coverage/CMakeFiles/quivo_{objects,kernels}.dir build/coverage/{storage,formats,apps,tests,fuzz}
python3 - <<'SUMMARY'
import json, os, collections
totals = collections.defaultdict(lambda: [0, 0, 0, 0])
for file in json.load(open("build/coverage/summary.json"))["files"]:
    folder = os.path.dirname(file["filename"])
    for name in (folder, "all"):
        counts = totals[name]
        for i, key in enumerate(["line_covered", "line_total", "branch_covered", "branch_total"]):
            counts[i] += file[key]
percent = lambda part, whole: f"{100 * part / whole:.1f} %" if whole else ""
print("| folder | lines | branches |\n|---|---|---|")
for name, (lines, all_lines, branches, all_branches) in sorted(totals.items()):
    print(f"| {name} | {percent(lines, all_lines)} of {all_lines} "
          f"| {percent(branches, all_branches)} of {all_branches} |")
SUMMARY
