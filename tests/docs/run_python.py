"""Runs the blocks ```python of a page one after another; a block ```text behind one is what it prints, with
`...` for text that may differ. Usage: run_python.py PAGE"""
import contextlib
import io
import re
import sys

page = open(sys.argv[1], encoding="utf-8").read()
blocks = re.findall(r"^```python\n(.*?)^```\n(?:```text\n(.*?)^```)?", page, re.M | re.S)
assert blocks, "no code on the page"
names = {"__name__": "page"}
for code, wanted in blocks:
    out = io.StringIO()
    with contextlib.redirect_stdout(out):
        exec(compile(code, sys.argv[1], "exec"), names)
    pattern = ".*".join(re.escape(part) for part in wanted.split("..."))
    if not re.fullmatch(pattern, out.getvalue(), re.S):
        sys.exit(f"{sys.argv[1]}: other output than on the page\n{code}\n--- page\n{wanted}--- run\n{out.getvalue()}")
print(f"{sys.argv[1]}: {len(blocks)} blocks ran as shown")
