#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# Title: URL-Encode
# Description: Percent-encodes each byte of the selection's UTF-8 but letters, digits and -._~
# Accepts: plain
# Returns: plain
# Message: Error: Couldn't URL-encode string.
import sys
import urllib.parse

sys.stdout.write(urllib.parse.quote(sys.stdin.buffer.read(), safe=""))
