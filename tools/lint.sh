#!/usr/bin/env bash
# Checks the format of every tracked C and C++ file, and runs clang-tidy over what has changed.
# Usage: lint.sh [BUILD_DIR]   (a configured build tree; default build/lint)
#   ALL=1          every source file
#   LINT_BASE=REV  changes since REV; default: since the branch left origin/main, on main itself the
#                  last commit. Uncommitted changes count, and so do sources that include a changed
#                  header.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/lint}
jobs=${JOBS:-$(nproc)}
sh tools/install_deps.sh clang-format clang-tidy

[ -f "$build/compile_commands.json" ] || { echo "lint: no compile_commands.json in $build" >&2; exit 1; }

mapfile -t tracked < <(git ls-files '*.h' '*.c' '*.cpp' | while read -r f; do [ -f "$f" ] && echo "$f"; done)
echo "clang-format: ${#tracked[@]} files"
status=0
for file in "${tracked[@]}"; do
    clang-format --dry-run -Werror "$file" 2>/dev/null ||
        { echo "$file is not formatted: run clang-format -i $file"; status=1; }
done

base() {
    if [ -n "${LINT_BASE:-}" ]; then
        echo "$LINT_BASE"
    elif fork=$(git merge-base HEAD origin/main 2>/dev/null) && [ "$fork" != "$(git rev-parse HEAD)" ]; then
        echo "$fork"
    else
        git rev-parse --verify -q HEAD~ || true
    fi
}

# Sources to look at: changed ones, and those that include a changed header by its file name.
changed() {
    local file
    git diff --name-only --diff-filter=d "$1" -- '*.h' '*.c' '*.cpp' | while read -r file; do
        case $file in
            *.h) git grep -lE "#include [<\"](.*/)?${file##*/}[>\"]" -- '*.c' '*.cpp' || true ;;
            *) echo "$file" ;;
        esac
    done | sort -u
}

since=""
[ "${ALL:-0}" = 1 ] || since=$(base)
if [ -n "$since" ]; then
    mapfile -t sources < <(changed "$since")
else
    mapfile -t sources < <(git ls-files '*.c' '*.cpp')
fi
# Only what the build compiles: programs of the consumer test belong to a project of their own.
mapfile -t sources < <(for file in "${sources[@]}"; do
    if grep -qF "\"$PWD/$file\"" "$build/compile_commands.json"; then echo "$file"; fi
done)
echo "clang-tidy: ${#sources[@]} files${since:+ changed since ${since:0:12}}"
[ ${#sources[@]} -eq 0 ] || printf '%s\0' "${sources[@]}" |
    xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p "$build" \
        --extra-arg=-Wno-unknown-warning-option 2>/dev/null || status=1
[ $status -eq 0 ] && echo "lint: clean"
exit $status
