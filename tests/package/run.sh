#!/bin/sh
# Installs the build in folder $1 (sources in $2) into a folder of its own and uses it from outside: through CMake's
# find_package and through pkg-config; then looks at what the library files themselves promise.
set -eu
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/root" >/dev/null
library=$(find "$work/root" -name libzolt_mfdenoise.so)
tuning="$work/root/share/zolt_mfdenoise/"
cmp "$source/LICENSE" "$work/root/share/doc/zolt_mfdenoise/LICENSE"

cmake -S "$source/tests/package" -B "$work/user" -G Ninja -DCMAKE_PREFIX_PATH="$work/root" >/dev/null
cmake --build "$work/user" >/dev/null
"$work/user/package_user" "$tuning"

"$work/user/burst_user"

export PKG_CONFIG_PATH="$(dirname "$library")/pkgconfig"
flags="-Wall -Wextra -pedantic -Werror"
cc -std=c99 $flags $(pkg-config --cflags zolt_mfdenoise) "$source/tests/package/user.c" -o "$work/c99" \
  $(pkg-config --libs zolt_mfdenoise)
LD_LIBRARY_PATH=$(dirname "$library") "$work/c99" "$tuning"
cc -std=c99 $flags $(pkg-config --cflags zolt_burst) "$source/tests/package/burst_user.c" -o "$work/burst_c99" \
  $(pkg-config --libs zolt_burst)
LD_LIBRARY_PATH=$(dirname "$library") "$work/burst_c99"
c++ -std=c++11 $flags $(pkg-config --cflags zolt_mfdenoise) -fsyntax-only "$source/tests/package/header.cpp"

exports() { nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' '; }
[ "$(exports "$library")" = "zolt_mfInitialize zolt_mfNoiseReduction zolt_mfUnInitialize " ] || { echo "exports: $(exports "$library")"; exit 1; }
declared=$(grep -o 'zolt_burst_[a-z0-9_]*(' "$source/include/zolt_burst.h" | tr -d '(' | sort -u | tr '\n' ' ')
layer=$(dirname "$library")/libzolt_burst.so
[ "$(exports "$layer")" = "$declared" ] || { echo "exports: $(exports "$layer"), declared: $declared"; exit 1; }

# What each library file itself promises.
for file in "$library" "$layer"; do
  name=$(basename "$file")
  readelf -d "$file" | grep -q "SONAME.*$name\.1\]" || { echo "soname is not $name.1"; exit 1; }
  if readelf -d "$file" | grep -q TEXTREL; then echo "$name: text relocations"; exit 1; fi
  if readelf -d "$file" | grep NEEDED | grep -vE 'lib(stdc\+\+|m|c|gcc_s|pthread)\.so|ld-linux'; then echo "$name: needs more than the runtime"; exit 1; fi
  readelf -lW "$file" | awk '$1 == "LOAD" && $NF != "0x4000" {print "a segment is not aligned to 16 KB: " $0; bad = 1} END {exit bad}'
done
