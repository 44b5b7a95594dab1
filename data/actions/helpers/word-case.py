#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Rewrites each line of standard input as one identifier in a style: camel, snake or kebab.

The words are the runs of letters and digits, split again where a lower-case letter or a digit
meets an upper-case one, and before the last capital of a run of capitals followed by a lower-case
letter ("parseHTTPResponse" is parse, HTTP, Response). Each line keeps its indentation, its trailing
blanks and its line break.
"""
import re
import sys

WORDS = re.compile(r"[^\W_]+")
HUMPS = re.compile(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])")
LINE = re.compile(r"(\s*)(.*?)(\s*)", re.S)
SEPARATORS = {"snake": "_", "kebab": "-"}


def words(text):
    return [word for run in WORDS.findall(text) for word in HUMPS.sub(" ", run).split()]


def identifier(text, style):
    lower = [word.lower() for word in words(text)]
    if style == "camel":
        return "".join(lower[:1] + [word[:1].upper() + word[1:] for word in lower[1:]])
    return SEPARATORS[style].join(lower)


if len(sys.argv) != 2 or sys.argv[1] not in ("camel", "snake", "kebab"):
    sys.exit("usage: word-case.py camel|snake|kebab")
text = sys.stdin.buffer.read().decode("utf-8")
lines = []
for line in text.splitlines(keepends=True):
    lead, body, trail = LINE.fullmatch(line).groups()
    lines.append(lead + identifier(body, sys.argv[1]) + trail)
sys.stdout.buffer.write("".join(lines).encode("utf-8"))
