#!/bin/sh
# Makes the tests' own Python environment with ObsPy and what the Python package is used with, once, and
# prints its interpreter. Status 77, with a
# word, where the package index cannot be reached.
# Usage: environment.sh BUILD_FOLDER
set -u
folder=$1/obspy
python=$folder/bin/python
log=$1/obspy.log
if ! "$python" -c 'import obspy, pandas, xarray, mypy' 2> "$log"; then
    rm -rf "$folder"
    /usr/bin/python3 -m venv "$folder" >> "$log" 2>&1 &&
        "$python" -m pip install -q --disable-pip-version-check obspy lxml pandas xarray mypy >> "$log" 2>&1 || {
        echo "skipped: ObsPy cannot be installed here (see $log)" >&2
        exit 77
    }
fi
echo "$python"
