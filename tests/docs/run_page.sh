#!/bin/sh
# Runs the commands that a page shows, in their order, and compares what they print with the page.
# They start in a folder that holds a copy of examples/, with the programs in the search path.
# Usage: run_page.sh PROGRAM_FOLDER PAGE
set -u
bin=$1 page=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/steps" "$work/start"
awk -v out="$work/steps" -f "$here/steps.awk" "$page"
cp -r "$here/../../examples" "$work/start"
cd "$work/start" || exit 1
export PATH="$bin:$PATH" LC_ALL=C VELORIX_BIN="$bin"
unset VELORIX_SHARE VELORIX_PFPATH VELORIX_MODELPATH

fail() {
    echo "$page: $1"
    sed 's/^/$ /' "$step.cmd"
    diff -u --label page "$step.want" --label run "$work/got"
    exit 1
}

commands=0
for name in "$work"/steps/*.name "$work"/steps/*.cmd; do [ -e "$name" ] && echo "${name%.*}"; done |
    sort > "$work/order"
while read -r step <&3; do
    if [ -e "$step.name" ]; then
        cp "$step.file" "$(cat "$step.name")" || exit 1
        continue
    fi
    commands=$((commands + 1))
    # In this shell, so that the next command starts where this one went.
    . "$step.cmd" > "$work/got" 2>&1 < /dev/null || fail "a command failed (status $?)"
    awk -f "$here/same.awk" "$step.want" "$work/got" || fail "other output than on the page"
done 3< "$work/order"
[ "$commands" -gt 0 ] || { echo "$page: no command was found"; exit 1; }
echo "$page: $commands commands ran as shown"
