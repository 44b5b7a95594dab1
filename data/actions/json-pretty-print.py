#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# Title: Pretty-Print JSON
# Description: Indents JSON by two spaces a level, keys in the order they came.
# Accepts: plain
# Returns: plain
# Message: Error: Couldn't pretty-print JSON.
"""Reads JSON on standard input and writes it indented; a line break at the end stays."""
import json
import sys

text = sys.stdin.buffer.read().decode("utf-8")
try:
    value = json.loads(text)
except json.JSONDecodeError as error:
    sys.exit(f"Error: Not JSON: {error.msg} at line {error.lineno}, column {error.colno}.")
ending = "\n" if text.endswith("\n") else ""
sys.stdout.buffer.write((json.dumps(value, indent=2, ensure_ascii=False) + ending).encode("utf-8"))
