#!/bin/sh
# Runs the tests of the Windows program under Wine: `test_windows.sh WINDOWS_BUILD LINUX_BUILD`. The Windows build has
# tests of its own, those that need no POSIX; conversations with tarn.exe are held by the tests of the Linux build.
set -u
windows=$(cd "$1" && pwd) || exit 1
linux=$(cd "$2" && pwd) || exit 1

wine=
for candidate in /usr/lib/wine/wine64 "$(command -v wine64)" "$(command -v wine)"; do
    [ -z "$wine" ] && [ -x "$candidate" ] && wine=$candidate
done
[ -n "$wine" ] || { echo "Wine is not installed" >&2; exit 1; }
export WINEPREFIX="$windows/wine" WINEDEBUG=-all LC_ALL=C.UTF-8
[ -x /usr/lib/wine/wineserver64 ] && export WINESERVER=/usr/lib/wine/wineserver64
# The server that all programs of this prefix share stays for a while, which makes their start fast.
mkdir -p "$WINEPREFIX"
"${WINESERVER:-wineserver}" -p60
"$wine" wineboot -u >/dev/null 2>&1

failed=0
check() {
    echo "== $*"
    "$@" || { echo "FAILED: $*"; failed=1; }
}

signature() {
    found=$(cd "$WINEPREFIX" && "$wine" "$windows/tarn.exe" "$@" -pbench -d 9 </dev/null |
            sed -n 's/.* nodes= \([0-9]*\),.*/\1/p')
    [ "$found" = "$expected" ] || { echo "$found nodes, not $expected"; return 1; }
}

# A stack of 16 bytes' alignment and vectors of 32 bytes: no aligned move may reach memory.
no_aligned_moves() {
    moves=$(x86_64-w64-mingw32-objdump -d "$windows/tarn.exe" | grep -cE 'vmov(dqa|aps|apd).*\(%')
    [ "$moves" = 0 ] || { echo "$moves aligned vector moves"; return 1; }
}

# The icon, the version and the manifest are there, and symbols are not.
resources() {
    strings -el "$windows/tarn.exe" | grep -q '^Tarn chess engine$' &&
        grep -aq '>UTF-8</activeCodePage>' "$windows/tarn.exe" && grep -aq 'IHDR' "$windows/tarn.exe" &&
        x86_64-w64-mingw32-nm "$windows/tarn.exe" 2>&1 | grep -q 'no symbols'
}

expected=513999 check signature
expected=448692 check signature -use_hce
check no_aligned_moves
check resources
check ctest --test-dir "$windows" --output-on-failure
export TARN_TEST_PROGRAM="$wine $windows/tarn.exe"
check "$linux/tests/test_protocol" --gtest_brief=1
exit $failed
