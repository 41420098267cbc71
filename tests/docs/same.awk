# same.awk WANT GOT: status 0 when GOT is as WANT says, in which a line "..." stands for any number
# of lines.
function matches(w, g) {
    while (w <= wants && want[w] != "...") {
        if (g > gots || want[w] != got[g]) return 0
        w++
        g++
    }
    if (w > wants) return g == gots + 1
    for (; g <= gots + 1; g++) if (matches(w + 1, g)) return 1
    return 0
}
{ sub(/ +$/, "") }
FILENAME == ARGV[1] { want[++wants] = $0; next }
{ got[++gots] = $0 }
END { exit !matches(1, 1) }
