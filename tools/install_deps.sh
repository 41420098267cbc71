#!/bin/sh
# Installs, through apt-get, the Debian packages that the build needs and that are missing.
# Usage: install_deps.sh [PACKAGE...]   (further packages beside those of the build)
set -u
need="g++ ccache cmake make pkg-config libtomlplusplus-dev libsqlite3-dev libpcre2-dev libgtest-dev libgmock-dev libbenchmark-dev
nlohmann-json3-dev node-d3 esbuild libpugixml-dev libcli11-dev libxml2-dev man-db python3 python3-jsonschema python3-venv
python3-dev python3-numpy pybind11-dev"

if ! command -v dpkg-query >/dev/null 2>&1; then
    # Whether they are there is for CMake to find out.
    echo "Not a Debian system: velorix needs what Debian calls $need $*" >&2
    exit 0
fi

missing=""
for package in $need "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
        missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root=""
elif command -v sudo >/dev/null 2>&1; then
    as_root="sudo"
else
    echo "Please install, as root: apt-get install$missing" >&2
    exit 1
fi
echo "Installing$missing" >&2
$as_root apt-get update -qq >/dev/null || echo "apt-get update failed; trying with the lists at hand" >&2
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing >/dev/null || {
    echo "Could not install$missing" >&2
    exit 1
}
