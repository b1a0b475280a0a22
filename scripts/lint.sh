#!/bin/sh
# Checks layout (clang-format), names, unused includes and a short list of bugs (clang-tidy).
#   lint.sh [FILE...]    the given sources, or all of them
# Prints each finding and fails when there is one. The names of the tools can be set: CLANG_FORMAT, CLANG_TIDY.
set -u
cd "$(dirname "$0")/.." || exit 2
CLANG_FORMAT=${CLANG_FORMAT:-clang-format}
CLANG_TIDY=${CLANG_TIDY:-clang-tidy-19}
folder=build/lint
findings=$(mktemp)
trap 'rm -f "$findings"' EXIT

[ $# -gt 0 ] || set -- $(git ls-files '*.cpp' '*.h')
"$CLANG_FORMAT" --dry-run -Werror "$@" || echo "layout: run $CLANG_FORMAT -i on the files above" >>"$findings"

cmake -S . -B $folder -G Ninja -DCMAKE_BUILD_TYPE=Everyday -DTARN_TESTS=OFF -DTARN_TRAINING=ON >/dev/null || exit 2
sources=$(printf '%s\n' "$@" | grep -E '^(Source|training)/.*\.cpp$' | grep -v '^Source/platform/windows/')
# Warnings about headers that come in through another header are not wanted: only unused ones count. The standard
# library calls deprecated functions of its own in std::stable_sort.
printf '%s\n' $sources |
    xargs -r -P "$(nproc)" -n 4 "$CLANG_TIDY" --quiet --extra-arg=-Wno-deprecated-declarations -p $folder 2>/dev/null |
    grep -E '(error|warning):' | grep -v 'no header providing' | sed "s|$PWD/||" | sort -u >>"$findings"

if [ -s "$findings" ]; then
    cat "$findings"
    echo "lint: $(wc -l <"$findings") findings"
    exit 1
fi
echo "lint: $# files, no findings"
