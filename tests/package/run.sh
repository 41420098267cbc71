#!/bin/sh
# Unpacks the Debian packages into an empty folder and uses what is there: programs on real stations
# and picks, man pages, and the library from programs of others.
# Usage: run.sh FOLDER_OF_PACKAGES [CC CXX]
set -eu
packages=$1 cc=${2:-cc} cxx=${3:-c++}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset VELORIX_SHARE VELORIX_PFPATH VELORIX_MODELPATH

for package in velorix libvelorix0 libvelorix-dev python3-velorix; do
    file=$(ls "$packages/${package}"_*.deb) || { echo "no package $package"; exit 1; }
    dpkg-deb -x "$file" "$work/root"
    depends=$(dpkg-deb -f "$file" Depends)
    case $package,$depends in
        libvelorix-dev,*libvelorix0*libsqlite3-dev*libpcre2-dev* | velorix,*libc6*libsqlite3-0* | \
            libvelorix0,*libc6*libsqlite3-0* | python3-velorix,*python3*python3-numpy*) ;;
        *) echo "$package depends on $depends"; exit 1 ;;
    esac
done
prefix=$work/root/usr

# The examples as they were installed, in a folder of one's own.
PATH="$prefix/bin:$PATH" sh "$prefix/share/velorix/examples/assoc/run.sh" "$work/out" > "$work/log" ||
    { cat "$work/log"; exit 1; }
events=$(grep -E "^[0-9]+ events$" "$work/log" | tail -n 1)
[ "${events% events}" -gt 10 ] || { echo "velorix-assoc found $events"; exit 1; }
echo "programs: $events from $(wc -l < "$prefix/share/velorix/examples/assoc/picks.csv") lines of picks"

for page in velorix.1 velorix-info.1 velorix-assoc.1 velorix-report.1 velorix-grid.5 velorix.toml.5; do
    name=${page%.?}
    man -M "$prefix/share/man" "$name" 2>&1 > "$work/page" | sed "s/^/$page: /"
    grep -q "^$(echo "$name" | tr '[:lower:]' '[:upper:]')(${page##*.})" "$work/page" ||
        { echo "man does not find $page"; exit 1; }
done
echo "man pages: found"

# The pages with their pictures; what they link to of the source alone is not asked for.
doc=$prefix/share/doc/velorix
for page in README.md CHANGELOG.md $(cd "$here/../.." && ls docs/*.md); do
    [ -s "$doc/$page" ] || { echo "no page $page"; exit 1; }
    for link in $(grep -oE '\]\([^)#:]+[)#]' "$doc/$page" | sed 's/^](//; s/.$//' |
            grep -E '\.png$|^docs/|^[a-z_]*\.md$'); do
        [ -e "$(dirname "$doc/$page")/$link" ] || { echo "$page: no $link"; exit 1; }
    done
done
echo "pages: found"

# The Python module, with Debian's interpreter, in place of the one that this source may have installed.
PYTHONPATH="$prefix/lib/python3/dist-packages" /usr/bin/python3 -c '
import sys, velorix
assert velorix.__file__.startswith(sys.argv[1]), velorix.__file__
print("Python:", len(velorix.associate(sys.argv[3], sys.argv[2])), "events")
' "$work/root" "$work/out/italy.vxg" "$prefix/share/velorix/examples/assoc/picks.csv" > "$work/python"
cat "$work/python"
grep -q "^Python: $events\$" "$work/python" || { echo "the Python module finds other events"; exit 1; }

libdir=$(dirname "$(find "$prefix" -name libvelorix.a)")
cflags="-I$prefix/include/velorix"
"$cc" -std=c11 "$cflags" "$prefix/share/velorix/examples/read_grid.c" -o "$work/read_grid" -L"$libdir" \
    -lvelorix
LD_LIBRARY_PATH=$libdir "$work/read_grid" "$work/out/italy.vxg" ARRO 0
ASSOCIATE_ARGUMENTS="$work/out/italy.vxg $prefix/share/velorix/examples/assoc/picks.csv" \
    sh "$here/../consumer/build_against.sh" "$prefix" "$cc" "$cxx" > "$work/built"
cat "$work/built"
grep -q "associator.*: $events\$" "$work/built" || { echo "the library finds other events"; exit 1; }
