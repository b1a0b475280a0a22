#!/bin/sh
# Includes point down only, no files include each other in a ring, and the operating system is named
# in Source/platform alone.
#   check_includes.sh SOURCE_FOLDER    checks; prints each breach and fails if there is one
#   check_includes.sh --self-test      a small tree with one breach of each kind: all must be found
set -u

# Folders from the lowest floor to the highest. A file includes its own folder and lower floors;
# folders joined by a comma share a floor and never include each other. "main" is what lies in the
# source folder itself.
FLOORS="platform base board formats eval,tablebase,book search control tools main"

# Rings that are still there, as the names of their members without folders, in alphabetical order. Each
# goes with the move that breaks it; nothing new is added.
RINGS_FOR_NOW="
"

# Headers of an operating system, and of the library's own threads, which would bypass
# platform/threads.
SYSTEM_HEADERS='^[[:space:]]*#[[:space:]]*include[[:space:]]*<(sys/.*|unistd\.h|fcntl\.h|poll\.h|sched\.h|pthread\.h|termios\.h|dirent\.h|dlfcn\.h|signal\.h|csignal|time\.h|io\.h|conio\.h|direct\.h|process\.h|windows\.h|timeapi\.h|mmsystem\.h|thread|mutex|shared_mutex|condition_variable|future|filesystem)>'
SYSTEM_MACROS='(_WIN32|_WIN64|__MINGW|_MSC_VER|__linux|__unix|__APPLE__|__FreeBSD|_POSIX_)'

# Prints a line "FILE HEADER" for each include of a project header.
list_includes() {
    find . \( -name '*.h' -o -name '*.cpp' -o -name '*.S' \) -exec \
        awk 'match($0, /^[ \t]*#[ \t]*include[ \t]*"[^"]*"/) {
                 header = substr($0, RSTART, RLENGTH); gsub(/^[^"]*"|"$/, "", header)
                 file = FILENAME; sub(/^\.\//, "", file); print file, header }' {} + | sort
}

# Reads those lines; prints a breach for each include that points up or sideways and for each ring.
# A room is a header with its source; the halves of a platform file are one room.
check_graph() {
    awk -v floors="$FLOORS" -v rings="$RINGS_FOR_NOW" '
        function room_of(file) {
            sub(/\.[A-Za-z]+$/, "", file); sub(/^platform\/(posix|windows)\//, "platform/", file)
            return file
        }
        function folder_of(file) {
            return file ~ /\// ? substr(file, 1, index(file, "/") - 1) : "main"
        }
        function number_of(room) {
            if (!(room in number)) { number[room] = ++rooms; name[rooms] = room }
            return number[room]
        }
        BEGIN {
            count = split(floors, floor_list, " ")
            for (i = 1; i <= count; ++i) {
                folders = split(floor_list[i], folder, ",")
                for (j = 1; j <= folders; ++j) floor[folder[j]] = i
            }
            known = split(rings, known_ring, "\n")
        }
        {
            from = folder_of($1); to = folder_of($2)
            if (!(from in floor) || !(to in floor)) {
                print $1 ": a folder without a floor (" (from in floor ? to : from) ")"
            } else if (from != to && floor[to] >= floor[from]) {
                print $1 ": may not include \"" $2 "\", which is on a higher floor or beside it"
            }
            a = number_of(room_of($1)); b = number_of(room_of($2))
            if (a != b) reaches[a, b] = 1
        }
        END {
            for (k = 1; k <= rooms; ++k)
                for (i = 1; i <= rooms; ++i)
                    if ((i, k) in reaches)
                        for (j = 1; j <= rooms; ++j)
                            if ((k, j) in reaches) reaches[i, j] = 1
            for (i = 1; i <= rooms; ++i) {
                if (!((i, i) in reaches) || reported[i]) continue
                members = ""; unknown = 0; ring = 0
                for (j = 1; j <= rooms; ++j) {
                    if (!((i, j) in reaches && (j, i) in reaches)) continue
                    reported[j] = 1
                    members = members " " name[j]
                    short = name[j]; sub(/^.*\//, "", short)
                    if (ring == 0)
                        for (k = 1; k <= known; ++k)
                            if (index(" " known_ring[k] " ", " " short " ")) ring = k
                    if (ring == 0 || !index(" " known_ring[ring] " ", " " short " ")) unknown = 1
                }
                if (unknown) print name[i] ": a ring of files:" members
                else found[ring] = 1
            }
            for (k = 1; k <= known; ++k)
                if (known_ring[k] != "" && !found[k])
                    print "note: no ring any more, remove it from RINGS_FOR_NOW: " known_ring[k]
        }'
}

check() {
    cd "$1" || exit 2
    breaches=0
    files=$(find . -name '*.h' -o -name '*.cpp' -o -name '*.S' | sed 's|^\./||' | sort)
    [ -n "$files" ] || { echo "no source files under $1"; exit 2; }
    list_includes | while read -r file header; do
        [ -f "$header" ] || echo "$file: \"$header\" is no path below the source folder"
    done >"$scratch/found.txt"
    list_includes | check_graph >>"$scratch/found.txt"
    for file in $files; do
        lines=$(grep -nE "$SYSTEM_MACROS" "$file") && echo "$file: asks for the operating system: $lines"
        case $file in
            platform/posix/* | platform/windows/*) ;;
            *) lines=$(grep -nE "$SYSTEM_HEADERS" "$file") && echo "$file: a header of the system: $lines" ;;
        esac
        case $file in
            *.h) grep -q '^#pragma once' "$file" || echo "$file: no #pragma once" ;;
        esac
        case " $(echo "$FLOORS" | tr ',' ' ') " in
            *" ${file%%/*} "*) ;;
            *) case $file in */*) echo "$file: a folder without a floor" ;; esac ;;
        esac
    done >>"$scratch/found.txt"
    # The two halves of the platform hold the same files.
    for half in platform/posix/*.cpp platform/windows/*.cpp; do
        for other in posix windows; do
            [ -f "platform/$other/${half##*/}" ] || echo "platform/$other: has no ${half##*/}"
        done
    done >>"$scratch/found.txt"
    sort -u "$scratch/found.txt"
    breaches=$(sort -u "$scratch/found.txt" | grep -vc '^note: ')
    echo "$(echo "$files" | wc -l) files, $breaches breaches"
    [ "$breaches" = 0 ]
}

# A tree that is sound, then one breach of each kind in it: each must be found, and nothing else.
self_test() {
    tree=$scratch/tree
    mkdir -p "$tree/platform/posix" "$tree/platform/windows" "$tree/board" "$tree/eval/network" "$tree/book" \
        "$tree/search" "$tree/attic"
    RINGS_FOR_NOW="
known_a known_b
gone_a gone_b
"
    mkdir -p "$tree/tools"
    echo '#include <poll.h>' >"$tree/platform/posix/a.cpp"
    echo '#include <windows.h>' >"$tree/platform/windows/a.cpp"
    printf '#pragma once\n' >"$tree/tools/t.h"
    printf '#pragma once\n#include "board/x.h"\n#include "eval/e.h"\n' >"$tree/search/s.h"
    printf '#include "search/s.h"\n' >"$tree/search/s.cpp"
    printf '#pragma once\n' >"$tree/board/x.h"
    printf '#pragma once\n' >"$tree/eval/e.h"
    printf '#include "eval/e.h"\n' >"$tree/eval/network/n.cpp"
    printf '#pragma once\n#include "search/known_b.h"\n' >"$tree/search/known_a.h"
    printf '#pragma once\n' >"$tree/search/known_b.h"
    printf '#include "search/known_a.h"\n' >"$tree/search/known_b.cpp"
    printf '#include "tools/t.h"\n' >"$tree/main.cpp"
    if ! (check "$tree") >"$scratch/out.txt"; then
        echo "a sound tree was refused:"; cat "$scratch/out.txt"; exit 1
    fi
    grep -q '^note: no ring any more.*gone_a gone_b' "$scratch/out.txt" || { echo "no note of a ring that is gone"; exit 1; }

    echo '#include "search/s.h"' >"$tree/board/upward.cpp"
    echo '#include "eval/e.h"' >"$tree/book/sideways.cpp"
    echo '#include "tools/t.h"' >"$tree/search/to_tools.cpp"
    echo '#include "missing.h"' >"$tree/search/lost.cpp"
    echo '#include <unistd.h>' >"$tree/search/posix.cpp"
    echo '#ifdef _WIN32' >"$tree/search/ifdef.cpp"
    echo '// nothing' >"$tree/search/guardless.h"
    echo '// nothing' >"$tree/attic/old.cpp"
    echo '// nothing' >"$tree/platform/posix/half.cpp"
    # A ring of three in which only a source file closes the circle, and a known one that has grown.
    printf '#pragma once\n#include "search/ring_b.h"\n' >"$tree/search/ring_a.h"
    printf '#pragma once\n#include "search/ring_c.h"\n' >"$tree/search/ring_b.h"
    printf '#pragma once\n' >"$tree/search/ring_c.h"
    printf '#include "search/ring_a.h"\n' >"$tree/search/ring_c.cpp"
    printf '#pragma once\n#include "search/known_a.h"\n' >"$tree/search/newcomer.h"
    printf '#include "search/newcomer.h"\n' >>"$tree/search/known_b.cpp"
    if (check "$tree") >"$scratch/out.txt"; then
        echo "a tree with breaches passed:"; cat "$scratch/out.txt"; exit 1
    fi
    wanted=0
    while read -r start; do
        wanted=$((wanted + 1))
        grep -q "^$start" "$scratch/out.txt" || { echo "not found: $start"; cat "$scratch/out.txt"; exit 1; }
    done <<END
board/upward.cpp: may not include
book/sideways.cpp: may not include
search/to_tools.cpp: may not include
search/lost.cpp: "missing.h" is no path
search/posix.cpp: a header of the system
search/ifdef.cpp: asks for the operating system
search/guardless.h: no #pragma once
attic/old.cpp: a folder without a floor
platform/windows: has no half.cpp
search/[a-z_]*: a ring of files:.*search/ring_a.*search/ring_b
search/[a-z_]*: a ring of files:.*newcomer
END
    # The missing header counts twice: it is no file, and it is on no lower floor.
    grep -q " $((wanted + 1)) breaches\$" "$scratch/out.txt" || { echo "more found than there is:"; cat "$scratch/out.txt"; exit 1; }
    echo "all $wanted breaches found"
}

scratch=$(mktemp -d) || exit 2
trap 'rm -rf "$scratch"' EXIT
case ${1:-} in
    --self-test) self_test ;;
    '') echo "usage: check_includes.sh SOURCE_FOLDER | --self-test" >&2; exit 2 ;;
    *) check "$1" ;;
esac
