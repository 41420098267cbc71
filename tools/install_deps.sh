#!/bin/sh
# Installs, through apt-get, the Debian packages that the build needs and that are missing.
set -u
need="g++ cmake make pkg-config libtomlplusplus-dev libsqlite3-dev libgtest-dev libgmock-dev libbenchmark-dev"
missing=""
for package in $need "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0
if ! command -v apt-get >/dev/null 2>&1; then
    echo "velorix needs these Debian packages (or what your system calls them):$missing" >&2
    exit 1
fi
if [ "$(id -u)" -eq 0 ]; then run=""; elif command -v sudo >/dev/null 2>&1; then run="sudo"; else
    echo "Please install, as root: apt-get install$missing" >&2
    exit 1
fi
echo "Installing$missing" >&2
$run apt-get update -qq >/dev/null
DEBIAN_FRONTEND=noninteractive $run apt-get install -y -qq $missing >/dev/null || {
    echo "Could not install$missing" >&2
    exit 1
}
