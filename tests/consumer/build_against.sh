#!/bin/sh
# Builds and runs a C and a C++ program against the velorix installed below PREFIX: with the shared and
# with the static library, through CMake and through pkg-config.
# Usage: build_against.sh PREFIX CC CXX [FLAG...]
set -eu
prefix=$1 cc=$2 cxx=$3
shift 3
flags=$*
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
libdir=$(dirname "$(find "$prefix" -name libvelorix.a)")
export LD_LIBRARY_PATH="$libdir" PKG_CONFIG_PATH="$libdir/pkgconfig"

# A program beside the installed ones finds the share folder that was installed with them.
check() {
    name=$1 kind=$2 program=$3
    cp "$program" "$prefix/bin/consumer"
    found=$("$prefix/bin/consumer") || { echo "$name, $kind: failed"; exit 1; }
    loaded=$(ldd "$prefix/bin/consumer")
    rm "$prefix/bin/consumer"
    [ "$found" = "$prefix/share/velorix" ] || { echo "$name, $kind: share folder is $found"; exit 1; }
    [ -f "$found/models/iasp91.tvel" ] || { echo "$name, $kind: no models in $found"; exit 1; }
    case $kind,$loaded in
        shared,*"$libdir/libvelorix.so."*) ;;
        static,*libvelorix*) echo "$name: the static program loads libvelorix"; exit 1 ;;
        static,*) ;;
        *) echo "$name: the shared program does not load $libdir/libvelorix.so"; exit 1 ;;
    esac
    echo "$name, $kind: passed"
}

for language in C CXX; do
    tree=$work/cmake-$language
    cmake -S "$here" -B "$tree" -DCONSUMER_LANGUAGE=$language -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" > "$work/log" 2>&1 &&
        cmake --build "$tree" >> "$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    for kind in shared static; do check "CMake, $language" $kind "$tree/$kind"; done
done

"$work/cmake-CXX/associate" > /dev/null || { echo "associate fails"; exit 1; }
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++20 $flags $(pkg-config --cflags velorixassoc) "$here/associate.cpp" -o "$work/associate" \
    $(pkg-config --libs velorixassoc)
"$work/associate" ${ASSOCIATE_ARGUMENTS-} > "$work/associated"
echo "associator, CMake and pkg-config: $(cat "$work/associated")"

cflags=$(pkg-config --cflags velorix)
for kind in shared static; do
    libs=$(pkg-config --libs velorix)
    # Where both libraries are there, the linker takes the shared one unless the file is named.
    [ $kind = shared ] || libs=$(pkg-config --static --libs velorix | sed 's/-lvelorix/-l:libvelorix.a/')
    # shellcheck disable=SC2086
    "$cc" -std=c11 $flags $cflags "$here/consumer.c" -o "$work/c" $libs
    check "pkg-config, C" $kind "$work/c"
    # shellcheck disable=SC2086
    "$cxx" -std=c++20 $flags $cflags "$here/consumer.cpp" -o "$work/cxx" $libs
    check "pkg-config, C++" $kind "$work/cxx"
done
