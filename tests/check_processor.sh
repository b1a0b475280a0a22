#!/bin/sh
# A program started on a processor without its instructions says so in one line and exits with status 1.
#   check_processor.sh PROGRAM TARN_ARCH      exits with 77 where there is no qemu-x86_64 to play old processors
set -u
program=$1
arch=$2
command -v qemu-x86_64 >/dev/null 2>&1 || { echo "no qemu-x86_64: skipped"; exit 77; }
directory=$(mktemp -d) || exit 2
trap 'rm -rf "$directory"' EXIT

# run MODEL: the program's status; its output is in $directory.
run() {
    echo quit | qemu-x86_64 -cpu "$1" "$program" >"$directory/out" 2>"$directory/err"
    status=$?
    # The emulator reports features that it cannot play.
    grep -v '^qemu-x86_64: warning' "$directory/err" >"$directory/lines"
}

refused() {
    run "$1"
    [ "$status" = 1 ] || { echo "$1: status $status instead of 1"; exit 1; }
    [ ! -s "$directory/out" ] || { echo "$1: something on standard output"; exit 1; }
    [ "$(wc -l <"$directory/lines")" = 1 ] && grep -q "^Tarn: .* $2[ ;]" "$directory/lines" ||
        { echo "$1: not the one line that names $2:"; cat "$directory/lines"; exit 1; }
}

accepted() {
    run "$1"
    [ "$status" = 0 ] && [ ! -s "$directory/lines" ] ||
        { echo "$1: status $status"; cat "$directory/lines"; exit 1; }
}

case $arch in
    x86-64) accepted Nehalem ;;
    x86-64-v3) refused Nehalem avx2; accepted Haswell ;;
    x86-64-v4) refused Nehalem avx2; refused Haswell avx512f ;;
    *) echo "nothing to check for $arch"; exit 77 ;;
esac
