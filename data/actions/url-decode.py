#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# Title: URL-Decode
# Description: Turns each %XX back into its byte; the bytes must make UTF-8 text.
# Accepts: plain
# Returns: plain
# Message: Error: Couldn't URL-decode string.
import sys
import urllib.parse

decoded = urllib.parse.unquote_to_bytes(sys.stdin.buffer.read())
try:
    decoded.decode("utf-8")
except UnicodeDecodeError:
    sys.exit("Error: The decoded bytes are not UTF-8 text.")
sys.stdout.buffer.write(decoded)
