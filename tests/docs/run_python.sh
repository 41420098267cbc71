#!/bin/sh
# Runs the Python of a page in a copy of examples/assoc and compares what it prints with the page.
# Usage: run_python.sh PYTHON PROGRAM_FOLDER PAGE
set -eu
python=$1 bin=$2 page=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$here/../../examples/assoc" "$work/start"
cd "$work/start"
PATH="$bin:$PATH" MPLBACKEND=Agg "$python" "$here/run_python.py" "$page"
