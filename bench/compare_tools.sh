#!/usr/bin/env bash
# Runs the textrix command side by side with the standard tools on the same 64 MiB file of mixed
# text and prints, for each pair, both times, their ratio and textrix's peak memory against the
# input size.
#
#   bench/compare_tools.sh [build/textrix] [SIZE_MIB]
set -euo pipefail

textrix=$(realpath "${1:-build/textrix}")
size_mib=${2:-64}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TEXTRIX_DEFAULTS="$work/defaults" LC_ALL=C.UTF-8
input="$work/input.txt"

python3 - "$input" "$size_mib" <<'PY'
import random, sys
path, size = sys.argv[1], int(sys.argv[2]) << 20
random.seed(7)
words = ["alpha", "Beta", "gamma", "Delta", "café", "naïve", "Ärger", "Öl", "über", "señor",
         "façade", "x", "to", "be", "or", "not", "Zebra", "quartz", "🙂", "😀", "日本"]
lines, total = [], 0
while total < size:
    target = random.randint(20, 100)
    parts, length = [], 0
    while length < target:
        word = random.choice(words)
        parts.append(word)
        length += len(word) + 1
    indent = random.choice(["", "", "", "    ", "\t", "\t\t", "  \t"])
    gap = random.choice([" ", " ", " ", "  ", " \t "])
    line = indent + gap.join(parts) + "\n"
    lines.append(line)
    total += len(line.encode())
with open(path, "w", encoding="utf-8") as f:
    f.write("".join(lines))
PY
echo "input: $(du -h "$input" | cut -f1), $(wc -l < "$input") lines"

# Prints the best of three wall-clock times of a command, in seconds.
best_time() {
  local best=""
  for _ in 1 2 3; do
    local start end elapsed
    start=$(date +%s.%N)
    "$@" < "$input" > /dev/null
    end=$(date +%s.%N)
    elapsed=$(echo "$end - $start" | bc)
    if [ -z "$best" ] || [ "$(echo "$elapsed < $best" | bc)" -eq 1 ]; then best=$elapsed; fi
  done
  echo "$best"
}

peak_ratio() {
  local kib
  kib=$(/usr/bin/time -f %M "$textrix" "$1" < "$input" 2>&1 > /dev/null | tail -1)
  echo "scale=2; $kib * 1024 / $(stat -c %s "$input")" | bc
}

printf '%-24s %-30s %9s %9s %7s %8s\n' service tool textrix tool ratio memory
compare() {
  local service=$1
  shift
  local ours theirs
  ours=$(best_time "$textrix" "$service")
  theirs=$(best_time "$@")
  printf '%-24s %-30s %8.3fs %8.3fs %7.2f %7sx\n' "$service" "$*" "$ours" "$theirs" \
    "$(echo "scale=3; $ours / $theirs" | bc)" "$(peak_ratio "$service")"
}

compare detab expand -t4
compare entab unexpand -a -t4
compare rotate tr A-Za-z N-ZA-Mn-za-m
compare sort-ascending sort -f
compare unix-line-endings tr -d '\r'
compare remove-multiple-spaces tr -s ' \t' ' '
compare upper uconv -x upper
