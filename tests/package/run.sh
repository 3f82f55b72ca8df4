#!/bin/sh
# Installs the build in folder $1 (sources in $2) into a folder of its own and uses it from outside: through CMake's
# find_package and through pkg-config; then looks at what the library file itself promises.
set -eu
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/root" >/dev/null
library=$(find "$work/root" -name libzolt_mfdenoise.so)
tuning="$work/root/share/zolt_mfdenoise/"

cmake -S "$source/tests/package" -B "$work/user" -G Ninja -DCMAKE_PREFIX_PATH="$work/root" >/dev/null
cmake --build "$work/user" >/dev/null
"$work/user/package_user" "$tuning"

export PKG_CONFIG_PATH="$(dirname "$library")/pkgconfig"
flags="-Wall -Wextra -pedantic -Werror"
cc -std=c99 $flags $(pkg-config --cflags zolt_mfdenoise) "$source/tests/package/user.c" -o "$work/c99" \
  $(pkg-config --libs zolt_mfdenoise)
LD_LIBRARY_PATH=$(dirname "$library") "$work/c99" "$tuning"
c++ -std=c++11 $flags $(pkg-config --cflags zolt_mfdenoise) -fsyntax-only "$source/tests/package/header.cpp"

exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort | tr '\n' ' ')
[ "$exported" = "zolt_mfInitialize zolt_mfNoiseReduction zolt_mfUnInitialize " ] || { echo "exports: $exported"; exit 1; }
readelf -d "$library" | grep -q 'SONAME.*libzolt_mfdenoise\.so\.1\]' || { echo "soname is not libzolt_mfdenoise.so.1"; exit 1; }
if readelf -d "$library" | grep -q TEXTREL; then echo "text relocations"; exit 1; fi
readelf -lW "$library" | awk '$1 == "LOAD" && $NF != "0x4000" {print "a segment is not aligned to 16 KB: " $0; bad = 1} END {exit bad}'
