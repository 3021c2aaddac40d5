#!/usr/bin/env bash
# Installs a build, moves what was installed, and builds and runs the project of this folder against
# it by both roads: find_package and pkg-config.
#
#   check.sh BUILD_DIR COMPILER VERSION [FLAG...]    the flags the library was instrumented with
set -euo pipefail
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
build=$1 compiler=$2 version=$3
shift 3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/first" >"$work/log"
mv "$work/first" "$work/moved"
library=$(find "$work/moved" -name libzynkernn.so)
lib=$(dirname "$library")
[[ $(readlink "$library") == libzynkernn.so."${version%%.*}" ]] ||
    { echo "libzynkernn.so is no link to the library of its major version"; exit 1; }

echo "find_package:"
cmake -S "$here" -B "$work/user" -G Ninja -D CMAKE_PREFIX_PATH="$work/moved" \
    -D CMAKE_CXX_COMPILER="$compiler" -D CMAKE_CXX_FLAGS="$*" -D WANTED_VERSION="$version" >"$work/log" ||
    { cat "$work/log"; exit 1; }
cmake --build "$work/user"
"$work/user/package_user"

echo "pkg-config:"
export PKG_CONFIG_PATH=$lib/pkgconfig
pkg-config --exact-version="$version" zynkernn
read -ra flags <<<"$(pkg-config --cflags --libs zynkernn)"
"$compiler" -std=c++20 "$@" "$here/main.cpp" "${flags[@]}" -o "$work/plain_user"
LD_LIBRARY_PATH=$lib "$work/plain_user"

echo "the program of the README:"
sed -n '/^## A first program/,/^[A-Z]/s/^    //p' "$here/../../README.md" >"$work/readme.cpp"
"$compiler" -std=c++20 "$@" "$work/readme.cpp" "${flags[@]}" -o "$work/readme"
[[ $(LD_LIBRARY_PATH=$lib "$work/readme") == "Travel expenses, priority 4" ]]
