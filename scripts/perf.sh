#!/bin/sh
# Samples a benchmark run of the given program and prints the functions that take the most time.
set -e
data=$(mktemp)
trap 'rm -f "$data"' EXIT
perf record -q -o "$data" "$1" -pbench -d 13 >/dev/null
perf report -q -i "$data" --stdio --no-children --percent-limit 0.5 --sort symbol 2>/dev/null
