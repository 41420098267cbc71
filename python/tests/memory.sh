#!/bin/sh
# Runs the package's tests of memory with the address sanitizer's library in front: writes and reads outside
# of what was allocated, and uses of what was freed, end the interpreter.
# Usage: memory.sh C++_COMPILER BUILD_FOLDER PYTHON
set -eu
compiler=$1 build=$2 python=$3
library=$("$compiler" -print-file-name=libasan.so)
case $library in
    /*) ;;
    *) echo "skipped: $compiler has no address sanitizer"; exit 77 ;;
esac
cd "$(dirname "$0")"
# The sanitizer looks for what throws exceptions when it is loaded: before the module brings it.
throws=$("$compiler" -print-file-name=libstdc++.so.6)
# The interpreter itself keeps memory to its end.
LD_PRELOAD="$library $throws" ASAN_OPTIONS=detect_leaks=0 PYTHONMALLOC=malloc PYTHONDONTWRITEBYTECODE=1 \
    PYTHONPATH=$build/python VELORIX_BIN=$build/bin "$python" -m unittest -q test_memory
