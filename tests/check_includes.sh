#!/bin/sh
# Includes point down only, and the operating system is named in Source/platform alone.
#   check_includes.sh SOURCE_FOLDER    checks; prints each breach and fails when there is one
#   check_includes.sh --self-test      a small tree with one breach of each kind: all must be found
set -u

# The rooms that the files of a room may include. control/output and control/settings are a room of
# their own, "base", as everyone prints lines and reads settings.
may_include() {
    case $1 in
        platform) echo "platform" ;;
        base) echo "platform base" ;;
        board) echo "platform base board" ;;
        eval) echo "platform base board eval" ;;
        book) echo "platform base board book" ;;
        tablebase) echo "platform base board tablebase" ;;
        search) echo "platform base board eval tablebase search" ;;
        control | tools) echo "platform base board eval book tablebase search control tools" ;;
        *) echo "" ;;
    esac
}

room_of() {
    case $1 in
        control/output.* | control/settings.*) echo base ;;
        *) echo "${1%%/*}" ;;
    esac
}

# Headers of an operating system, and of the library's own threads, which would go past
# platform/threads.
SYSTEM_HEADERS='^[[:space:]]*#[[:space:]]*include[[:space:]]*<(sys/.*|unistd\.h|fcntl\.h|poll\.h|sched\.h|pthread\.h|termios\.h|dirent\.h|dlfcn\.h|signal\.h|csignal|time\.h|io\.h|conio\.h|direct\.h|process\.h|windows\.h|timeapi\.h|mmsystem\.h|thread|mutex|shared_mutex|condition_variable|future|filesystem)>'
SYSTEM_MACROS='(_WIN32|_WIN64|__MINGW|_MSC_VER|__linux|__unix|__APPLE__|__FreeBSD|_POSIX_)'

check() {
    cd "$1" || exit 2
    breaches=0
    files=$(find . -name '*.h' -o -name '*.cpp' -o -name '*.S' | sed 's|^\./||' | sort)
    [ -n "$files" ] || { echo "no source files under $1"; exit 2; }
    for file in $files; do
        room=$(room_of "$file")
        allowed=$(may_include "$room")
        [ -n "$allowed" ] || say "$file: a folder without a floor"
        for header in $(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file"); do
            [ -f "$header" ] || say "$file: \"$header\" is no path below the source folder"
            case " $allowed " in
                *" $(room_of "$header") "*) ;;
                *) say "$file: may not include \"$header\", which stands above it or beside it" ;;
            esac
        done
        lines=$(grep -nE "$SYSTEM_MACROS" "$file") && say "$file: asks for the operating system: $lines"
        case $file in
            platform/posix/* | platform/windows/*) ;;
            *) lines=$(grep -nE "$SYSTEM_HEADERS" "$file") && say "$file: a header of the system: $lines" ;;
        esac
        case $file in
            *.h) grep -q '^#pragma once' "$file" || say "$file: no #pragma once" ;;
        esac
    done
    # The two halves of the platform hold the same files.
    for half in platform/posix/*.cpp platform/windows/*.cpp; do
        for other in posix windows; do
            [ -f "platform/$other/${half##*/}" ] || say "platform/$other: has no ${half##*/}"
        done
    done
    echo "$(echo "$files" | wc -l) files, $breaches breaches"
    [ "$breaches" = 0 ]
}

say() {
    echo "$1"
    breaches=$((breaches + 1))
}

# A tree that is sound but for one breach of each kind.
self_test() {
    tree=$(mktemp -d) || exit 2
    trap 'rm -rf "$tree"' EXIT
    mkdir -p "$tree/platform/posix" "$tree/platform/windows" "$tree/board" "$tree/control" "$tree/search" "$tree/attic"
    echo '#include <poll.h>' >"$tree/platform/posix/a.cpp"
    echo '#include <windows.h>' >"$tree/platform/windows/a.cpp"
    printf '#pragma once\n' >"$tree/control/output.h"
    printf '#pragma once\n#include "board/x.h"\n' >"$tree/search/s.h"
    printf '#pragma once\n#include "control/output.h"\n' >"$tree/board/x.h"
    if ! (check "$tree") >"$tree/out.txt"; then
        echo "a sound tree was refused:"; cat "$tree/out.txt"; exit 1
    fi
    echo '#include "search/s.h"' >"$tree/board/upward.cpp"
    echo '#include "missing.h"' >"$tree/search/lost.cpp"
    echo '#include <unistd.h>' >"$tree/search/posix.cpp"
    echo '#ifdef _WIN32' >"$tree/search/ifdef.cpp"
    echo '// nothing' >"$tree/search/guardless.h"
    echo '// nothing' >"$tree/attic/old.cpp"
    echo '// nothing' >"$tree/platform/posix/half.cpp"
    if (check "$tree") >"$tree/out.txt"; then
        echo "a tree with breaches passed:"; cat "$tree/out.txt"; exit 1
    fi
    for wanted in board/upward.cpp search/lost.cpp search/posix.cpp search/ifdef.cpp search/guardless.h \
        attic/old.cpp 'platform/windows: has no half.cpp'; do
        grep -q "^$wanted" "$tree/out.txt" || { echo "not found: $wanted"; cat "$tree/out.txt"; exit 1; }
    done
    echo "all breaches found"
}

case ${1:-} in
    --self-test) self_test ;;
    '') echo "usage: check_includes.sh SOURCE_FOLDER | --self-test" >&2; exit 2 ;;
    *) check "$1" ;;
esac
