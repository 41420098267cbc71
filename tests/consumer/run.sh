#!/bin/sh
# Installs the build tree given into a fresh prefix, moves it, and builds and runs a C and a C++
# program against it through CMake and through pkg-config.
# Usage: run.sh BUILD_DIR BUILD_TYPE CC CXX SANITIZERS
set -eu
build=$1 type=$2 cc=$3 cxx=$4 sanitizers=$5
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
flags=${sanitizers:+-fsanitize=$sanitizers}

cmake --install "$build" --config "$type" --prefix "$work/staged" >"$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
mv "$work/staged" "$work/prefix"
prefix=$work/prefix

# The share folder that an installed program finds is the one it was installed with.
check() {
    name=$1 program=$2
    mkdir -p "$prefix/bin" && cp "$program" "$prefix/bin/consumer"
    found=$("$prefix/bin/consumer") || { echo "$name: failed"; exit 1; }
    [ "$found" = "$prefix/share/velorix" ] || { echo "$name: share folder is $found"; exit 1; }
    [ -f "$found/models/iasp91.tvel" ] || { echo "$name: no models in $found"; exit 1; }
    echo "$name: passed"
}

for language in C CXX; do
    tree=$work/cmake-$language
    cmake -S "$here" -B "$tree" -DCONSUMER_LANGUAGE=$language -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >"$work/log" 2>&1 &&
        cmake --build "$tree" >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    check "CMake, $language" "$tree/consumer"
done

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name velorix.pc)")
export PKG_CONFIG_PATH
cflags=$(pkg-config --cflags velorix)
libs=$(pkg-config --libs velorix)
# shellcheck disable=SC2086
"$cc" -std=c11 $flags $cflags "$here/consumer.c" -o "$work/c" $libs
check "pkg-config, C" "$work/c"
# shellcheck disable=SC2086
"$cxx" -std=c++20 $flags $cflags "$here/consumer.cpp" -o "$work/cxx" $libs
check "pkg-config, C++" "$work/cxx"

for program in velorix velorix-info; do
    [ -x "$prefix/bin/$program" ] || { echo "$program is not installed"; exit 1; }
done
