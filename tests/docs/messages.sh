#!/bin/sh
# messages.sh FOLDER: the page of messages knows every line that the engine logs.
set -eu
found=$(grep -ohE '"(velorix_|find_cluster|get_station)[a-z_]*:[^"]*\.\\n"' "$1"/lib/rt/libvelorix/grsubs/*.cpp |
    sed 's/^"//; s/\\n"$//' | sort -u)
printf '%s\n' "$found" | awk -v page="$1/docs/errors.md" '
    BEGIN { while ((getline line < page) > 0) text = text line "\n" }
    index(text, "`" $0 "`") == 0 { print page ": no row for: " $0; missing = 1 }
    END {
        if (NR < 40) { print "the search itself no longer finds them: " NR " messages"; exit 1 }
        exit missing
    }'
