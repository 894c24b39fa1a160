#!/usr/bin/env bash
# Installs the Debian packages that are needed and missing.
#
#   scripts/setup.sh demo     build the library and the tool
#   scripts/setup.sh test     and the tests
#   scripts/setup.sh ci       and everything that continuous integration runs
#   scripts/setup.sh docs     build the reference of the public headers
#   scripts/setup.sh package  build the Debian packages
#   scripts/setup.sh fuzz     the fuzz targets and the tools that make their seeds
#   scripts/setup.sh checks   coverage, valgrind, clang-tidy and cppcheck
#   scripts/setup.sh bench    benchmarks, and the libraries that they are compared with
set -euo pipefail

purpose=${1:-}
packages=(g++ cmake ninja-build libtiff-dev libpugixml-dev libpng-dev libjpeg62-turbo-dev liblcms2-dev
    libcli11-dev nlohmann-json3-dev)
case $purpose in
    demo) ;;
    test) packages+=(libgtest-dev pkg-config python3) ;;
    ci)
        packages+=(libgtest-dev pkg-config python3 ccache clang clang-format libclang-rt-14-dev git
            doxygen dpkg-dev file libtiff-tools)
        ;;
    docs) packages=(doxygen python3) ;;
    fuzz) packages+=(ccache clang libclang-rt-14-dev libtiff-tools) ;;
    package) packages+=(dpkg-dev file) ;;
    checks)
        packages+=(libgtest-dev pkg-config python3 ccache clang clang-tidy cppcheck gcovr valgrind)
        ;;
    bench)
        packages+=(libbenchmark-dev pkg-config python3 git time libopencv-dev libgdal-dev
            libopenimageio-dev libvips-tools gnuplot-nox)
        ;;
    *)
        echo "usage: scripts/setup.sh demo|test|ci|docs|package|fuzz|checks|bench" >&2
        exit 2
        ;;
esac

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [[ $status == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || {
        echo "setup.sh: missing packages: ${missing[*]}; run this as root to install them" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "installing ${missing[*]}"
install=(env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends)
# A fresh machine has no package lists, one that slept has old ones: update where it is needed.
"${as_root[@]}" "${install[@]}" "${missing[@]}" >/dev/null 2>&1 || {
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" "${install[@]}" "${missing[@]}" >/dev/null
}
