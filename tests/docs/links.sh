#!/bin/sh
# Every file that a page links to is there, and every page below docs/ is in docs/README.md.
# Usage: links.sh SOURCE_DIR
set -u
cd "$1" || exit 1
status=0
for page in README.md CONTRIBUTING.md CHANGELOG.md platform/README.md docs/*.md; do
    for link in $(grep -oE '\]\([^)#:]+[)#]' "$page" | sed 's/^](//; s/.$//'); do
        [ -e "$(dirname "$page")/$link" ] || { echo "$page: no $link"; status=1; }
    done
    case $page in
        docs/README.md) ;;
        docs/*) grep -qF "(${page#docs/})" docs/README.md ||
            { echo "docs/README.md does not name $page"; status=1; } ;;
    esac
done
exit $status
