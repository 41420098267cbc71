# Splits a page into steps, files below the folder `out`: 001.cmd with a command and 001.want with
# what it prints, or 001.file with the content of a file and 001.name with its name.
#   Markdown  a block ```console: "$ " a command, "> " its next line, other lines its output;
#             a block whose first line names a file behind the language: that file
#   mdoc      a display .Bd -literal: as console
function begin() { step = sprintf("%s/%03d", out, ++count); want = 0 }
function put(line, kind) { print line > (step "." kind) }
/^```console$/ || /^\.Bd -literal/ { block = "console"; next }
/^```[a-z]+ [^ ]+$/ { block = "file"; begin(); put($2, "name"); printf "" > (step ".file"); next }
/^```/ || /^\.Ed/ { block = ""; next }
block == "file" { put($0, "file") }
block == "console" && /^\$ / { begin(); put(substr($0, 3), "cmd"); printf "" > (step ".want"); next }
block == "console" && /^> / { put(substr($0, 3), "cmd"); next }
block == "console" { sub(/^\\&/, ""); put($0, "want") }
