#!/bin/sh
# Draws the travel-time curves of a model as a PNG. Needs gnuplot (Debian: gnuplot-nox).
# Usage: plot_curves.sh MODEL DEPTH_KM OUTPUT.png [BUILD_DIR]
set -eu
[ $# -ge 3 ] || { echo "usage: $0 model depth_km output.png [build_dir]" >&2; exit 2; }
build=${4:-build/release}
curves=$(mktemp)
trap 'rm -f "$curves"' EXIT
"$build"/bin/velorix-curves "$1" "$2" > "$curves"
gnuplot <<PLOT
set terminal pngcairo size 900,640 font "sans,10"
set output "$3"
set title "Travel times, $1, source at $2 km"
set xlabel "distance (degrees)"
set ylabel "time (minutes)"
set xrange [0:180]
set xtics 20
set yrange [0:32]
set grid lc rgb "#dddddd"
set key outside right samplen 1
set for [i=1:19] linetype i lc palette frac (i-1)/18.0
unset colorbox
set palette rgb 33,13,10
plot for [p in "Pg Pb Pn p P Pdiff PKiKP PKPdf PKPbc PKPab Sg Sb Sn s S Sdiff SKS SKiKS SKIKS"] \\
    "$curves" using 1:(strcol(3) eq p ? \$2/60 : NaN) with points pt 7 ps 0.35 title p
PLOT
