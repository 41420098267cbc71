#!/usr/bin/env python3
"""Puts style and script into the page, with their hashes in its content security policy, and cuts
it where the data go.

    assemble.py page.html style.css script.js OUT     # makes OUT.head and OUT.tail
"""
import base64
import hashlib
import sys


def source_of(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def main():
    page, style, script = (open(name, encoding="utf-8").read() for name in sys.argv[1:4])
    # What would end the element early cannot stand in it.
    if "</script" in script.lower() or "<!--" in script or "</style" in style.lower():
        sys.exit("the script or the style holds the end of its own element")
    for mark, text in (("@STYLE_HASH@", source_of(style)), ("@SCRIPT_HASH@", source_of(script)),
                       ("@STYLE@", style)):
        page = page.replace(mark, text)
    head, tail = page.split("@DATA@")
    tail = tail.replace("@SCRIPT@", script)
    for name, part in (("head", head), ("tail", tail)):
        with open(f"{sys.argv[4]}.{name}", "w", encoding="utf-8") as file:
            file.write(part)


if __name__ == "__main__":
    main()
