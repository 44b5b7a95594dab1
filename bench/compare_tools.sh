#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the textrix command side by side with the standard tools on the same 64 MiB file of mixed
# text and prints, for each pair, both times (best of three), their ratio against its goal, and
# textrix's peak memory against the input size. Then sorts four times as much text, to show how
# sorting grows.
#
#   bench/compare_tools.sh [build/textrix] [SIZE_MIB]
set -euo pipefail

textrix=$(realpath "${1:-build/textrix}")
size_mib=${2:-64}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TEXTRIX_DEFAULTS="$work/defaults" LC_ALL=C.UTF-8
input="$work/input.txt"

# Writes SIZE_MIB of mixed text to FILE, the same for the same seed.
generate() {
  python3 - "$1" "$2" "$3" <<'PY'
import random, sys
path, size = sys.argv[1], int(sys.argv[2]) << 20
random.seed(int(sys.argv[3]))
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
}
generate "$input" "$size_mib" 7
echo "input: $(du -h "$input" | cut -f1), $(wc -l < "$input") lines"

# Prints the best of three wall-clock times of a command reading FILE, in seconds.
best_time() {
  local file=$1 best=""
  shift
  for _ in 1 2 3; do
    local start end elapsed
    start=$(date +%s.%N)
    "$@" < "$file" > /dev/null
    end=$(date +%s.%N)
    elapsed=$(echo "$end - $start" | bc)
    if [ -z "$best" ] || [ "$(echo "$elapsed < $best" | bc)" -eq 1 ]; then best=$elapsed; fi
  done
  echo "$best"
}

peak_ratio() {
  local kib
  kib=$(/usr/bin/time -f %M "$textrix" "$1" < "$input" 2>&1 > /dev/null | tail -1)
  printf '%.2f' "$(echo "scale=3; $kib * 1024 / $(stat -c %s "$input")" | bc)"
}

printf '%-24s %-30s %9s %9s %7s %6s %8s\n' service tool textrix tool ratio goal memory
# compare SERVICE GOAL TOOL [ARGUMENT...]: the goal is the highest ratio that meets it.
compare() {
  local service=$1 goal=$2
  shift 2
  local ours theirs ratio verdict
  ours=$(best_time "$input" "$textrix" "$service")
  theirs=$(best_time "$input" "$@")
  ratio=$(echo "scale=3; $ours / $theirs" | bc)
  verdict=$([ "$(echo "$ratio <= $goal" | bc)" -eq 1 ] && echo "" || echo "  missed")
  printf '%-24s %-30s %8.3fs %8.3fs %7.2f %6s %7sx%s\n' "$service" "$*" "$ours" "$theirs" \
    "$ratio" "$goal" "$(peak_ratio "$service")" "$verdict"
}

compare rotate 2 tr A-Za-z N-ZA-Mn-za-m
compare unix-line-endings 2 tr -d '\r'
compare remove-line-endings 2 tr '\n' ' '
compare remove-multiple-spaces 1 tr -s ' \t' ' '
compare detab 1 expand -t4
compare entab 0.7 unexpand -a -t4
compare trim-left 0.5 sed 's/^[ \t]*//'
compare upper 0.2 uconv -x upper
compare capitalize-words 0.4 uconv -x title
compare sort-ascending 0.35 sort -f
compare statistics 0.5 wc -lwm
compare reformat 0.5 fmt -w 72
compare remove-attachments 10 cat

larger="$work/larger.txt"
generate "$larger" $((4 * size_mib)) 8
small_sort=$(best_time "$input" "$textrix" sort-ascending)
large_sort=$(best_time "$larger" "$textrix" sort-ascending)
printf 'sort-ascending over %d MiB: %.3fs, %.2fx the time of %d MiB (goal 4.4)\n' \
  $((4 * size_mib)) "$large_sort" "$(echo "scale=3; $large_sort / $small_sort" | bc)" "$size_mib"
