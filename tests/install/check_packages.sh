#!/usr/bin/env bash
# Installs the Debian packages of build/package, uses them as a user would, removes them and looks
# for what they left. Needs root, and a machine without these packages: it gets back what it was.
set -euo pipefail
cd "$(dirname "$0")/../.."

if [[ $(id -u) -ne 0 ]]; then
    echo "check_packages.sh: skipped, only root can install packages"
    exit 0
fi
names=(quivo-tools)
for library in core tiff synthetic display chains; do
    names+=("libquivo${library}1" "libquivo$library-dev")
done
fail() {
    echo "check_packages.sh: $*" >&2
    exit 1
}
list_leftovers() {
    find /usr /etc /var/lib/dpkg/info -xdev -path /usr/src -prune -o -iname '*quivo*' -print
    ldconfig -p | grep -i quivo || true
}

packages=()
for name in "${names[@]}"; do
    package=$(echo build/package/"${name}"_*_"$(dpkg --print-architecture)".deb)
    [[ -f $package ]] || fail "no $package, scripts/package.sh makes it"
    packages+=("$package")
done
before=$(list_leftovers)
[[ -z $before ]] || fail "this machine has QuivoCore already:"$'\n'"$before"
work=$(mktemp -d)
trap 'dpkg --purge "${names[@]}" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
if command -v lintian >/dev/null; then
    lintian --fail-on error,warning "${packages[@]}" >"$work/log" 2>&1 ||
        fail "lintian objects:"$'\n'"$(<"$work/log")"
fi
dpkg --install "${packages[@]}" >"$work/log" 2>&1 || fail "not installable:"$'\n'"$(<"$work/log")"

version=$(dpkg-query -W -f='${Version}' libquivocore1)
[[ $(quivo --version) == "quivo $version" ]] || fail "quivo --version: $(quivo --version)"
[[ $(command -v quivo) == /usr/bin/quivo ]] || fail "another quivo: $(command -v quivo)"
quivo convert mandelbrot:300x200 "$work/set.tif" --quiet
quivo info "$work/set.tif" --json >/dev/null
for name in "${names[@]}"; do
    [[ $name == *1 ]] || continue
    ! dpkg --remove "$name" >/dev/null 2>&1 || fail "others do not depend on $name"
done

consumer=tests/install/consumer
cmake -S $consumer -B "$work/build" -DWITH_TIFF=ON >/dev/null
cmake --build "$work/build" >/dev/null
read -ra flags < <(pkg-config --cflags --libs "QuivoTiff = $version")
c++ -std=c++20 $consumer/tiff.cpp -o "$work/build/by_pkg_config" "${flags[@]}"
for program in QuivoCore_consumer QuivoTiff_consumer by_pkg_config; do
    "$work/build/$program" "$work/out.tif" || fail "$program fails"
done

dpkg --purge "${names[@]}" >"$work/log" 2>&1 || fail "not removable:"$'\n'"$(<"$work/log")"
after=$(list_leftovers)
[[ -z $after ]] || fail "left behind:"$'\n'"$after"
echo "check_packages.sh: ${#packages[@]} packages installed, used and removed"
