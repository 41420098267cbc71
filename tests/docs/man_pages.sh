#!/bin/sh
# Compares the man pages with the programs and their sources: usage lines, options, keys, column names.
# Usage: man_pages.sh PROGRAM_FOLDER SOURCE_DIR
set -u
bin=$1 source=$2
man=$source/docs/man
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
complain() { echo "$1"; status=1; }

# words NAME: the words on standard input, sorted, as the file NAME.
words() { sort -u > "$work/$1"; }
# some NAME: complains when there are no words. (A pipe into it would lose the status.)
some() { [ -s "$work/$1" ] || complain "$1: nothing was found"; }
# same WANT GOT, within WANT GOT
same() {
    some "$1"
    diff -u --label "$1" --label "$2" "$work/$1" "$work/$2" || status=1
}
within() {
    some "$1"
    missing=$(comm -23 "$work/$1" "$work/$2")
    [ -z "$missing" ] || complain "$1 lack in $2: $(echo "$missing" | tr '\n' ' ')"
}
# page PAGE: its words, macros and punctuation taken away.
page() { sed 's/^\.[A-Z][A-Za-z]* //' "$man/$1" | tr ' ,;:()' '\n\n\n\n\n\n\n'; }
rendered() { LC_ALL=C.UTF-8 MANWIDTH=200 man -l "$man/$1" 2> "$work/warnings" | tr -s ' '; }

for file in velorix.1 velorix-info.1 velorix-assoc.1 velorix-report.1 velorix-grid.5 velorix.toml.5; do
    MANROFFOPT=-ww rendered "$file" > "$work/$file"
    [ -s "$work/$file" ] || complain "$file: cannot be shown"
    [ ! -s "$work/warnings" ] || { complain "$file:"; cat "$work/warnings"; }
done

usage=$("$bin/velorix" 2>&1 | sed 's/usage: //')
grep -qF -- "$usage" "$work/velorix.1" || complain "velorix.1: its synopsis is not '$usage'"

# The options of a program as its --help has them and as the page's synopsis and lists have them; the
# help does not tell of itself.
apart_from_help() { grep -vx -e --help -e -h -e --; }
for program in velorix-info velorix-assoc velorix-report; do
    "$bin/$program" --help | grep -oE -- '(^|[ [,])--?[a-z][a-z-]*' | tr -d ' [,' |
        sed 's/^--pf$/-pf/' | apart_from_help | words "$program --help"
    awk '/^\.(It|Op) Fl|^\.Fl -/ {
        for (i = 1; i <= NF; i++) {
            if ($i ~ /^\.?(It|Op|Fl|Ar|Cm|Ns)$/) macro = $i
            else if (macro ~ /Fl$/ && $i != "," && $i != "|") print "-" $i
        } }' "$man/$program.1" | apart_from_help | words "$program.1"
done
same "velorix-info --help" velorix-info.1
same "velorix-assoc --help" velorix-assoc.1
same "velorix-report --help" velorix-report.1

# Keys that the grid builders know, in both pages about them.
sed -n '/ keys\[\] = {/,/};/p' "$source"/lib/rt/libvelorix/setupgrid/*.cpp | grep -oE '"[A-Za-z_]+"' |
    tr -d '"' | words "keys of grids"
page velorix.toml.5 | words velorix.toml.5
grep -oE '`[A-Za-z_]+`' "$source/docs/parameter_file.md" | tr -d '`' | words parameter_file.md
within "keys of grids" velorix.toml.5
within "keys of grids" parameter_file.md

# Keys that velorix-assoc shows for a grid, and the columns of CSV files that it knows.
(cd "$source/examples/file_grid" && "$bin/velorix" ../data/demo) > "$work/grid" 2> "$work/log"
"$bin/velorix-assoc" --grids "$work/grid" --show-parameters | sed -n 's/^\([A-Za-z_]*\) = .*/\1/p' |
    words "keys of velorix-assoc"
page velorix-assoc.1 | words "words of velorix-assoc.1"
within "keys of velorix-assoc" "words of velorix-assoc.1"
grep -oE '\{k[A-Za-z]+, "[a-z_]+"\}' "$source/lib/rt/libvelorixassoc/picks/pick_columns.cpp" |
    sed 's/.*"\(.*\)".*/\1/' | words "columns of CSV"
within "columns of CSV" "words of velorix-assoc.1"

# Offsets, types and fields of the header, in the man page and in docs/grid_heap.md.
sed -n 's/^\.It \([0-9]*\) Ta \([^ ]*\)\( bytes\)* Ta \([A-Za-z_]*\) Ta.*/\1 \4/p' "$man/velorix-grid.5" |
    words "header in velorix-grid.5"
sed -n 's/^| \([0-9, ]*\) | [^|]* | \(`[^|]*\) |.*/\1|\2/p' "$source/docs/grid_heap.md" | tr -d '` ' |
    awk -F'|' '{ n = split($1, at, ","); split($2, field, ","); for (i = 1; i <= n; i++) print at[i], field[i] }' |
    words "header in grid_heap.md"
same "header in grid_heap.md" "header in velorix-grid.5"
exit $status
