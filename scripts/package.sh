#!/usr/bin/env bash
# Builds the Debian packages into build/package: libquivocore1 and its companions, their -dev
# packages and quivo-tools, each as NAME_VERSION_ARCHITECTURE.deb. tests/install/check_packages.sh tries them.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh package
scripts/build.sh package
umask 022
# The date in the packages is that of the commit, so that they can be made again.
if [[ -z ${SOURCE_DATE_EPOCH:-} ]] && commit=$(git log -1 --format=%ct 2>/dev/null); then
    export SOURCE_DATE_EPOCH=$commit
fi
cd build/package
rm -f ./*.deb
# cpack goes on, and ends well, where one of our scripts fails.
if ! cpack >cpack.log 2>&1 || grep -q 'CMake Error' cpack.log; then
    cat cpack.log >&2
    rm -f ./*.deb
    exit 1
fi
ls -l ./*.deb
