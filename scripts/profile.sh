#!/bin/sh
# Counts the instructions of a short benchmark run by function (callgrind). Unlike samples of time, the
# counts are the same in every run, also on a busy machine.
set -e
data=$(mktemp)
trap 'rm -f "$data"' EXIT
valgrind --tool=callgrind --callgrind-out-file="$data" "$1" -pbench -d 6 >/dev/null
callgrind_annotate "$data" | head -60
