#!/bin/sh
# Unpacks every package in build/dist (`make dist`) and runs what is in it. Where this machine can't run a program, it
# says so. Exit status 1 and a line for each fault.
#   test_dist.sh [FOLDER]
set -u
cd "$(dirname "$0")/.." || exit 2
root=$PWD
dist=${1:-build/dist}
scratch=$(mktemp -d) || exit 2
trap 'rm -rf "$scratch"' EXIT
faults=0
fault() { echo "FAULT: $1"; faults=$((faults + 1)); }

cd "$dist" || exit 2
dist=$PWD
sha256sum --quiet -c SHA256SUMS || fault "SHA-256 sums"
for file in tarn*; do
    grep -q "  $file\$" SHA256SUMS || fault "$file has no SHA-256 sum"
done

# runs NAME COMMAND...: the command is a Tarn; it tells its version and counts nodes, and writes no file.
nodes=
runs() {
    name=$1
    shift
    mkdir "$scratch/empty" && cd "$scratch/empty" || exit 2
    "$@" --version </dev/null >"$scratch/version" 2>/dev/null || fault "$name: --version ends with status $?"
    grep -q '^Tarn [0-9.]* by ' "$scratch/version" || fault "$name: no version"
    "$@" bench 7 </dev/null >"$scratch/bench" 2>/dev/null || fault "$name: bench ends with status $?"
    found=$(tr -d '\r' <"$scratch/bench" | sed -n '$s/ nodes [0-9]* nps$//p')
    [ -n "$nodes" ] || nodes=$found
    if [ -z "$found" ]; then fault "$name: no benchmark"
    elif [ "$found" != "$nodes" ]; then fault "$name: $found nodes, not $nodes"
    else echo "$name: $(tr -d '\r' <"$scratch/version" | sed -n 's/^processor: //p'), $found nodes at depth 7"; fi
    cd "$dist" || exit 2
    rmdir "$scratch/empty" || { fault "$name: left a file behind"; rm -rf "$scratch/empty"; }
}

# stripped NAME PROGRAM: no symbols, no paths of this machine.
stripped() {
    case $(file -b "$2") in
        *"not stripped"* | *debug_info*) fault "$1: not stripped" ;;
    esac
    if grep -aqF "$root" "$2"; then fault "$1: names the folder it was built in"; fi
}

# runner_of ARCHIVE: the command in front of its program; "none" where there is no way to run it.
runner_of() {
    case $1 in
        *windows*) command -v wine64 || command -v wine || echo none ;;
        *arm64*)
            if [ "$(uname -m)" = aarch64 ]; then echo env
            else command -v qemu-aarch64 || echo none; fi ;;
        *v4*) grep -q avx512vl /proc/cpuinfo && echo env || echo none ;;
        *v3*) grep -q avx2 /proc/cpuinfo && echo env || echo none ;;
        *) echo env ;;
    esac
}

test_archive() {
    folder=${1%.tar.gz}
    folder=$scratch/${folder%.zip}
    case $1 in
        *.zip) unzip -q "$1" -d "$scratch" ;;
        *) tar -xzf "$1" -C "$scratch" ;;
    esac || fault "$1 can't be unpacked"
    program=$folder/tarn
    case $1 in *windows*) program=$folder/tarn.exe ;; esac
    [ -f "$program" ] && [ -f "$folder/README.md" ] && [ -d "$folder/docs" ] || fault "$1: not complete"
    stripped "$1" "$program"
    case $1 in *linux*) file -b "$program" | grep -q 'statically linked' || fault "$1: not static" ;; esac
    runner=$(runner_of "$1")
    if [ "$runner" = none ]; then echo "$1: unpacked; this machine can't run it"
    else runs "$1" "$runner" "$program"; fi
}

# hardened PROGRAM: position-independent, relocations read-only, no library but those of the C library.
hardened() {
    readelf -hW "$1" | grep -q 'Type: *DYN' || fault "$1: not position-independent"
    readelf -dW "$1" | grep -q BIND_NOW || fault "$1: relocations are not bound at start"
    readelf -lW "$1" | grep -q GNU_RELRO || fault "$1: relocations stay writable"
    readelf -sW --dyn-syms "$1" | grep -q __stack_chk_fail || fault "$1: no stack protection"
    readelf -dW "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^(lib[cm]|ld-linux.*)\.so' &&
        fault "$1: needs more than the C library"
}

# The start script takes the newer build if it runs here, and the baseline if it does not.
test_start_script() {
    for works in true false; do
        mkdir "$scratch/choice"
        printf '#!/bin/sh\necho v3 "$@"\n%s\n' "$works" >"$scratch/choice/tarn-x86-64-v3"
        printf '#!/bin/sh\necho baseline "$@"\n' >"$scratch/choice/tarn-x86-64"
        chmod +x "$scratch"/choice/*
        sed "s|^folder=.*|folder=$scratch/choice|" "$1" >"$scratch/choice/tarn"
        said=$(sh "$scratch/choice/tarn" -d 3)
        case $works in
            true) [ "$said" = "v3 -d 3" ] || fault "start script: '$said' where v3 runs" ;;
            false) [ "$said" = "baseline -d 3" ] || fault "start script: '$said' where v3 does not run" ;;
        esac
        rm -rf "$scratch/choice"
    done
}

test_deb() {
    tree=$scratch/deb
    dpkg-deb -x "$1" "$tree" || fault "$1 can't be unpacked"
    dpkg-deb -f "$1" Depends | grep -qE '^libc6 \([^,|]*\)$' || fault "$1: depends on more than libc6"
    for program in "$tree"/usr/libexec/tarn/tarn-x86-64 "$tree"/usr/libexec/tarn/tarn-x86-64-v3; do
        stripped "$1" "$program"
        hardened "$program"
        if "$program" --version >/dev/null 2>&1; then runs "$1, ${program##*/}" "$program"
        else echo "$1, ${program##*/}: this machine can't run it"; fi
    done
    test_start_script "$tree/usr/games/tarn"
    for part in share/man/man6/tarn.6.gz share/doc/tarn/copyright share/doc/tarn/changelog.Debian.gz \
        share/doc/tarn/README.md share/games/plugins/uci/tarn.eng; do
        [ -f "$tree/usr/$part" ] || fault "$1: /usr/$part is missing"
    done
    [ -x "$tree/usr/games/tarn" ] || fault "$1: /usr/games/tarn is missing"
    if command -v lintian >/dev/null; then
        lintian --allow-root --fail-on error,warning "$1" || fault "$1: lintian"
    else
        echo "$1: no lintian here, not checked by it"
    fi
}

export WINEPREFIX="$scratch/wine" WINEDEBUG=-all
for file in tarn*.tar.gz tarn*.zip; do
    [ -f "$file" ] && test_archive "$file"
done
for file in tarn*.deb; do
    [ -f "$file" ] && test_deb "$file"
done
[ -n "$nodes" ] || fault "no package was run"
[ "$faults" = 0 ] && echo "all packages are in order"
[ "$faults" = 0 ]
