#!/bin/bash
# Runs fuzz targets in turn: `fuzz.sh SECONDS [TARGET...]`, all of them without a name. The inputs that libFuzzer
# keeps go to build/fuzz/corpus/TARGET, what a target finds to build/fuzz/findings. Fails when a target finds something.
set -u
cd "$(dirname "$0")/.." || exit 2
root=$PWD
program=$root/build/fuzz/tests/fuzz/tarn-fuzz
seconds=$1
shift
[ $# -gt 0 ] || set -- $("$program" --list)

# The targets write many small files: in memory where that is possible. A target that crashes leaves its own there.
scratch=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" tarn-fuzz.XXXXXX) || exit 2
trap 'rm -rf "$scratch"' EXIT
trap 'exit 130' INT TERM

# Prints what came of one target. Returns 1 when it found something.
run_target() {
    local target=$1 corpus=$root/build/fuzz/corpus/$1 findings=$root/build/fuzz/findings log=$root/build/fuzz/$1.log
    local folders=("$corpus") options=() folder
    mkdir -p "$corpus" "$findings"
    for folder in seeds regression; do
        [ -d "$root/tests/fuzz/$folder/$target" ] && folders+=("$root/tests/fuzz/$folder/$target")
    done
    [ -f "$root/tests/fuzz/$target.dict" ] && options+=("-dict=$root/tests/fuzz/$target.dict")
    # Standard error is the program's; libFuzzer keeps a copy for its own messages.
    if TMPDIR=$scratch "$program" "--target=$target" -close_fd_mask=2 -timeout=25 -print_final_stats=1 \
        "-max_total_time=$seconds" "-artifact_prefix=$findings/$target-" "${options[@]}" "${folders[@]}" \
        >"$log" 2>&1 </dev/null; then
        awk -v target="$target" '/stat::number_of_executed_units/ {runs = $2} / cov: / {sub(/.* cov: /, ""); cov = $1}
            END {printf "%-14s %9d inputs, %d places of the code reached\n", target, runs, cov}' "$log"
        return 0
    fi
    echo "$target: FOUND SOMETHING; $log has the whole report"
    grep -E 'check failed|runtime error|ERROR|^    #[0-9]+ .*/(Source|tests)/.*[.](cpp|h):|Test unit' "$log" | head -20
    return 1
}

failed=()
for target in "$@"; do
    run_target "$target" || failed+=("$target")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz: ${failed[*]} found something; the inputs are in build/fuzz/findings"
    exit 1
fi
echo "fuzz: $# targets of $seconds s each found nothing"
