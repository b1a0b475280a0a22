#!/bin/sh
# Sees to it that what the build needs is there: `need_packages.sh g++ cmake ninja-build ...` takes
# Debian package names, looks whether each one's program or header is there already, and installs
# what is missing by apt-get: as root, or through sudo. Where it may not, it says what to install
# and fails.
set -u

present() {
    case $1 in
        g++) command -v "${CXX:-g++}" >/dev/null 2>&1 || command -v clang++ >/dev/null 2>&1 ;;
        clang) command -v clang++ >/dev/null 2>&1 ;;
        libclang-rt-*-dev) has_fuzzer ;;
        cmake) command -v cmake >/dev/null 2>&1 ;;
        linux-perf) command -v perf >/dev/null 2>&1 ;;
        ninja-build) command -v ninja >/dev/null 2>&1 ;;
        libgtest-dev) has_header gtest/gtest.h ;;
        libbenchmark-dev) has_header benchmark/benchmark.h ;;
        g++-mingw-w64-x86-64-posix) command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 ;;
        g++-aarch64-linux-gnu) command -v aarch64-linux-gnu-g++ >/dev/null 2>&1 ;;
        dpkg-dev) command -v dpkg-shlibdeps >/dev/null 2>&1 ;;
        qemu-user) command -v qemu-aarch64 >/dev/null 2>&1 ;;
        wine64) [ -x /usr/lib/wine/wine64 ] || command -v wine64 >/dev/null 2>&1 || command -v wine >/dev/null 2>&1 ;;
        *) command -v "$1" >/dev/null 2>&1 ;;
    esac
}

has_header() {
    compiler=${CXX:-g++}
    command -v "$compiler" >/dev/null 2>&1 || compiler=clang++
    echo "#include <$1>" | "$compiler" -std=c++20 -x c++ -E - >/dev/null 2>&1
}

has_fuzzer() {
    [ -f "$(clang++ -print-file-name=libclang_rt.fuzzer-x86_64.a 2>/dev/null)" ] ||
        ls "$(clang++ -print-resource-dir 2>/dev/null)"/lib/linux/libclang_rt.fuzzer-*.a >/dev/null 2>&1
}

missing_of() {
    for package in "$@"; do
        present "$package" || printf ' %s' "$package"
    done
}

missing=$(missing_of "$@")
[ -n "$missing" ] || exit 0

give_up() {
    echo "Tarn needs these Debian packages, which are missing here:$missing" >&2
    echo "$1; install them with: apt-get install$missing" >&2
    exit 1
}

command -v apt-get >/dev/null 2>&1 || give_up "There is no apt-get here"
if [ "$(id -u)" = 0 ]; then
    as_root=env
elif ! command -v sudo >/dev/null 2>&1; then
    give_up "This needs the rights of root, and there is no sudo"
elif [ -t 0 ]; then
    as_root="sudo env"       # a person is there to type a password
else
    as_root="sudo -n env"
fi

echo "Installing what is missing:$missing"
# Lists that can't be fetched may still be good enough, so only the installation counts.
$as_root DEBIAN_FRONTEND=noninteractive apt-get -q update || true
# shellcheck disable=SC2086  # the list is meant to fall into words
$as_root DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends $missing ||
    give_up "apt-get could not install them"

missing=$(missing_of "$@")
[ -z "$missing" ] || give_up "They were installed but are not found"
