#!/bin/sh
# Builds the program twice, without training, in different folders: the same compiler and flags make the same bytes,
# and no path of the machine gets into them. CXX names the compiler.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export CCACHE_DISABLE=1  # a second compilation is wanted

# copy FOLDER: what the program is built from.
copy() {
    mkdir -p "$1"
    (cd "$root" && tar -cf - CMakeLists.txt cmake docs packaging scripts README.md Source) | tar -xf - -C "$1"
}

# build SOURCE BUILD
build() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARN_TESTS=OFF -DTARN_PGO=OFF >/dev/null
    cmake --build "$2" --target tarn >/dev/null
}

copy "$scratch/first"
copy "$scratch/second/with a blank"
build "$scratch/first" "$scratch/first/build"
build "$scratch/second/with a blank" "$scratch/elsewhere"
if grep -aqF "$scratch" "$scratch/first/build/tarn"; then
    echo "the program names the folder that it was built in"
    exit 1
fi
if ! cmp "$scratch/first/build/tarn" "$scratch/elsewhere/tarn"; then
    echo "two builds of the same source differ"
    exit 1
fi
echo "two builds, the same $(wc -c <"$scratch/elsewhere/tarn") bytes, SHA-256 $(sha256sum <"$scratch/elsewhere/tarn" | cut -c1-12)"
