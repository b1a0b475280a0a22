#!/bin/sh
# Runs the tests of the ARM64 program under qemu-aarch64: `test_arm64.sh BUILD`. The emulator is ten to thirty times
# slower than the processor, so that long tests are left out; what is left out is printed with the reason.
set -u
build=$(cd "$1" && pwd) || exit 1
if [ "$(uname -m)" = aarch64 ]; then qemu=env
else qemu="$(command -v qemu-aarch64) -L /usr/aarch64-linux-gnu" || { echo "no qemu-aarch64" >&2; exit 1; }; fi
export TARN_TEST_PROGRAM="$qemu $build/tarn"

failed=0
check() {
    echo "== $1 ${2:-}"
    "$@" || { echo "FAILED: $1 ${2:-}"; failed=1; }
}

signature() {
    found=$($qemu "$build/tarn" "$@" -pbench -d 9 </dev/null | sed -n 's/.* nodes= \([0-9]*\),.*/\1/p')
    [ "$found" = "$expected" ] || { echo "$found nodes, not $expected"; return 1; }
}

# Tests that let a copy of the test program die: such a copy sometimes waits for minutes in the emulator.
copies='*DeathTest*:NetworkTest.NamesAreComparedWhole:LostPages.OfOtherMemoryAreFatal'
echo "left out everywhere, as the emulator may stall in a copy of a program with threads: $copies"

# tests NAME [PATTERNS REASON]: the test program of that name without the tests that the patterns name.
tests() {
    [ $# = 1 ] || echo "test_$1: left out, as $3: $2"
    timeout 900 $qemu "$build/tests/test_$1" --gtest_brief=1 --gtest_filter="-$copies:${2:-}"
}

# only NAME PATTERNS REASON: the tests that the patterns name.
only() {
    echo "test_$1: only $2; $3"
    timeout 900 $qemu "$build/tests/test_$1" --gtest_brief=1 --gtest_filter="$2"
}

expected=513999 check signature
expected=448692 check signature -use_hce
for name in platform base formats board book main; do check tests "$name"; done
check tests eval '*NoMemory*' "the emulator does not keep the limit of memory that it sets"
check tests control 'Perft*' "they take long"
check tests search "Root.TheSame*:Root.PositionsFull*:\
*/hce_d1:*/hce_d3:*/hce_d4:*/hce_d5:*/hce_d6:*/hce_d9:*/hce_d11*:*selectivity*:*contempt*:\
*/net_random_d3:*/net_random_d5:*/net_early_d7" "they take long; the searches that remain are of each kind"
check tests tablebase 'Index.Numbering*:Damage.*:ReferenceValues*' \
    "they take long, or set a limit of memory that the emulator does not keep"
check only tools "Anepd*:SuiteJudge*:Mkbook2*:GoldenTools*:Pgn*:ScanPgn*:Prune*:LongNames*:Epd*:LoadRecords*:BinToEpd*:\
TrainingGame*:ConvertTraining*:Benchmark.SignatureWithoutANetwork" \
    "the others start the program many times, send signals or set limits that the emulator does not keep"
exit $failed
