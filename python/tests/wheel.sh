#!/bin/sh
# Builds the wheel and the source archive, and uses the wheel: in an environment where nothing else is but
# numpy, and in the tests' own with ObsPy, pandas, matplotlib, xarray and mypy. Status 77, with a word, where
# the package index cannot be reached.
# Usage: wheel.sh BUILD_FOLDER SOURCE_FOLDER WARNINGS_ARE_ERRORS
set -eu
build=$1 source=$2 werror=$3
work=$build/wheel
log=$work/log
rm -rf "$work"
mkdir -p "$work"

fails() {
    cat "$log"
    echo "$1"
    exit 1
}

# An environment of the interpreter that the module is for: NAME PACKAGE...
environment() {
    folder=$work/$1
    shift
    /usr/bin/python3 -m venv "$folder" >> "$log" 2>&1 &&
        "$folder/bin/python" -m pip install -q --disable-pip-version-check "$@" >> "$log" 2>&1 || {
        echo "skipped: $* cannot be installed here (see $log)"
        exit 77
    }
}

full=$(sh "$source/tests/obspy/environment.sh" "$build") || exit $?
environment builder scikit-build-core pybind11
# The compiler of the build, so that a compiler cache knows what it has compiled.
CC=cc CXX=c++ "$work/builder/bin/python" -m pip wheel -q --no-deps --no-build-isolation -w "$work/out" \
    --config-settings build-dir="$work/cmake" --config-settings cmake.define.VELORIX_WERROR="$werror" "$source" >> "$log" 2>&1 ||
    fails "no wheel"
(cd "$source" && "$work/builder/bin/python" -c "from scikit_build_core.build import build_sdist as b; b('$work/out')") \
    >> "$log" 2>&1 || fails "no source archive"
tar -tzf "$work"/out/velorix-*.tar.gz > "$work/files"
for file in CMakeLists.txt LICENSE python/velorix/__init__.py python/src/module.cpp web/coastlines.txt; do
    grep -q "^velorix-[0-9.]*/$file\$" "$work/files" || fails "the source archive lacks $file"
done

export VELORIX_BIN="$build/bin" PYTHONDONTWRITEBYTECODE=1 MPLBACKEND=Agg
environment empty "$work"/out/velorix-*.whl
cd "$source/python/tests"
"$work/empty/bin/python" -m unittest -q test_travel_times test_grids test_optional
"$full" -m pip install -q --disable-pip-version-check --no-deps --force-reinstall "$work"/out/velorix-*.whl \
    >> "$log" 2>&1 || fails "the wheel cannot be installed"
"$full" -m unittest -q test_optional
cd "$work"
"$full" -m mypy.stubtest velorix --ignore-missing-stub --allowlist "$source/python/tests/stubtest.txt" ||
    fails "the stubs differ"
sh "$source/tests/docs/run_python.sh" "$full" "$build/bin" "$source/docs/python.md"
