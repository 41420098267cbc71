#!/bin/sh
# A grid made by the tool, picks made from its own travel times at one node, and the event located
# there: by the C++ example of this build and by the C example against the installed library.
# Usage: locate_example.sh BUILD_DIR SOURCE_DIR CC SANITIZERS
set -eu
build=$1 source=$2 cc=$3 sanitizers=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }

cat > "$work/grid.toml" <<'TOML'
[grids.local]
mode = "edp"
time = "2016-08-24"
refsta = "ANMO"
type = "3d"
nx = 9
xmin = -4.0
xmax = 4.0
ny = 7
ymin = -3.0
ymax = 3.0
depths = [5, 20]
method = "tttaup"
model = "iasp91"
compute_P = true
compute_S = true
TOML
"$build/bin/velorix" -pf "$work/grid.toml" "$source/examples/data/demo" > "$work/grid.vxg" 2> "$work/log" ||
    { cat "$work/log"; exit 1; }

# Node 95 is column 5, row 3 of the second depth; one far pick is noise.
node=95
"$build/bin/velorix-info" --times "$node" "$work/grid.vxg" > "$work/times.csv" 2> "$work/log" ||
    { cat "$work/log"; exit 1; }
{
    echo 'arrivals = """'
    # file,grid,node,lat,lon,depth,sta,distance,p,s of the ten nearest stations
    tail -n +2 "$work/times.csv" | sort -t, -k8,8n | head -10 | awk -F, '{
        printf "%s BHZ P %.3f 10\n%s BHN S %.3f 10\n", $7, 1472000000 + $9, $7, 1472000000 + $10 }'
    echo 'ANMO BHZ P 1472000900.0 10'
    echo '"""'
} > "$work/picks.toml"
[ "$(grep -c ' P ' "$work/picks.toml")" -ge 4 ] || { cat "$work/picks.toml"; fail "too few picks"; }

"$build/bin/locate" "$work/grid.vxg" "$work/picks.toml" > "$work/located" || fail "locate failed"
"$build/bin/read_grid" "$work/grid.vxg" ANMO "$node" > "$work/node"
lat=$(sed 's/.*node [0-9]* (\([^ ]*\) .*/\1/' "$work/node")
lon=$(sed 's/.*node [0-9]* ([^ ]* \([^,]*\),.*/\1/' "$work/node")
grep -q "^local: time 1472000000.00[01] lat $lat lon $lon depth 20.0 " "$work/located" ||
    { cat "$work/node" "$work/located"; fail "located elsewhere"; }
if grep -q 'time 1472000900' "$work/located"; then fail "the noise is associated"; fi

cmake --install "$build" --prefix "$work/prefix" > "$work/log" 2>&1 || { cat "$work/log"; exit 1; }
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name velorix.pc)")
LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")
export PKG_CONFIG_PATH LD_LIBRARY_PATH
# shellcheck disable=SC2046,SC2086
"$cc" -std=c11 ${sanitizers:+-fsanitize=$sanitizers} $(pkg-config --cflags velorix) \
    "$source/examples/locate_event.c" -o "$work/locate_event" $(pkg-config --libs velorix)
"$work/locate_event" "$work/grid.vxg" "$work/picks.toml" > "$work/in_c"
cmp "$work/located" "$work/in_c" || fail "the C program says something else"
cat "$work/located"
