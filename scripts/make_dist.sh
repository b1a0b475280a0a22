#!/bin/sh
# Makes the packages in build/dist and their SHA-256 sums:
#   make_dist.sh [PACKAGE ...]     without names all: linux-x86-64 linux-x86-64-v3 linux-x86-64-v4 linux-arm64
#                                  windows-x86-64 windows-x86-64-v3 deb
# TRAINED=yes trains the builds for Linux on x86-64 on the benchmark first, where this processor can run them (5 to 7 %
# faster, takes twice as long). The packages of the same source by the same compilers have the same bytes, except
# trained ones.
set -eu
cd "$(dirname "$0")/.."
dist=$PWD/build/dist
script=$PWD/scripts/make_dist.sh
case ${TRAINED:-no} in
    yes) trained=ON ;;
    no) trained=OFF ;;
    *) echo "TRAINED is yes or no" >&2; exit 1 ;;
esac
# The time of all packed files: that of the newest entry of the package's changelog.
SOURCE_DATE_EPOCH=$(date -d "$(sed -n 's/^ -- .*>  //p;T;q' packaging/debian/changelog)" +%s)
export SOURCE_DATE_EPOCH

# build NAME TARN_ARCH OPTION...: configures and builds build/dist-NAME.
build() {
    name=$1
    arch=$2
    shift 2
    echo "== $name"
    cmake -S . -B "build/dist-$name" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARN_TESTS=OFF -DTARN_ARCH="$arch" "$@" \
        >/dev/null
    cmake --build "build/dist-$name" --target tarn
}

# pack NAME GENERATOR: a package of what was built.
pack() {
    (cd "build/dist-$1" && cpack -G "$2" -B "$dist/work" >/dev/null)
    mv "$dist"/work/tarn* "$dist/"
    rm -rf "$dist/work"
}

# Whether a build for this TARN_ARCH is to be trained; this machine must be able to run it.
training_of() {
    if [ "$1" = x86-64-v4 ] && ! grep -q avx512vl /proc/cpuinfo; then echo OFF
    else echo "$trained"; fi
}

# make_package PACKAGE
make_package() {
    package=$1
    arch=${package#*-}
    case $package in
        linux-arm64)
            build "$package" armv8-a -DTARN_PACKAGE=archive -DTARN_STATIC=ON --toolchain cmake/aarch64.cmake
            pack "$package" TGZ ;;
        linux-*)
            build "$package" "$arch" -DTARN_PACKAGE=archive -DTARN_STATIC=ON "-DTARN_PGO=$(training_of "$arch")"
            pack "$package" TGZ ;;
        windows-*)
            build "$package" "$arch" -DTARN_PACKAGE=archive --toolchain cmake/mingw.cmake
            pack "$package" ZIP ;;
        deb)
            build deb-v3 x86-64-v3 -DTARN_PACKAGE=archive -DTARN_HARDEN=ON "-DTARN_PGO=$trained"
            build deb x86-64 -DTARN_PACKAGE=deb -DTARN_HARDEN=ON "-DTARN_PGO=$trained" \
                "-DTARN_SECOND_PROGRAM=$PWD/build/dist-deb-v3/tarn"
            pack deb DEB ;;
        *) echo "no package is called $package" >&2; exit 1 ;;
    esac
}

mkdir -p "$dist"
if [ "${1:-}" = --one ]; then
    make_package "$2"
    exit
fi

# Each in a process of its own: what fails does not keep the others from being made.
failed=
for package in ${*:-linux-x86-64 linux-x86-64-v3 linux-x86-64-v4 linux-arm64 windows-x86-64 windows-x86-64-v3 deb}; do
    "$script" --one "$package" || failed="$failed $package"
done

cd "$dist"
rm -f SHA256SUMS
sha256sum tarn* >SHA256SUMS
cat SHA256SUMS
[ -z "$failed" ] || { echo "not made:$failed" >&2; exit 1; }
