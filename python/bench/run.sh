#!/bin/sh
# velorix beside PyOcto and GaMMA on the same picks, and its travel times beside ObsPy's, in a Python
# environment of their own below the build folder.
# Usage: run.sh BUILD_FOLDER [FOLDER]   (with stations.txt, picks.csv and velorix.toml; default: examples/assoc)
set -eu
build=$1
here=$(cd "$(dirname "$0")" && pwd)
data=${2:-$here/../../examples/assoc}
folder=$build/peers
python=$folder/bin/python
if ! "$python" -c 'import gamma, obspy, pyocto' 2> /dev/null; then
    rm -rf "$folder"
    /usr/bin/python3 -m venv "$folder"
    "$python" -m pip install -q --disable-pip-version-check 'numpy<2' obspy pandas pyproj pyocto GMMA
fi
# Debian's numpy is of the same kind as the environment's: the module of the build tree can be used.
PYTHONPATH=$build/python exec "$python" "$here/peers.py" "$data" "$build/bin"
