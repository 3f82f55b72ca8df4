#!/bin/sh
# Makes the Debian packages of the build in folder $1 (sources in $2), installs them into an empty root, runs the program
# from there, builds a C program with what was installed, and takes all away again.
set -eu
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"

cpack --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
for package in "$work"/packages/*.deb; do dpkg-deb --info "$package" >>"$work/info"; done
# The libraries of the program are named with the versions that it was linked with.
for needs in 'Package: zolt-burst' 'Depends: .*libavcodec' 'libzolt-mfdenoise1 (= ' 'Package: libzolt-mfdenoise-dev'; do
  grep -q "$needs" "$work/info" || { echo "no '$needs' in:"; cat "$work/info"; exit 1; }
done

# An empty root has none of Debian's libraries; the system's serve.
in_root() { dpkg --root="$root" --force-depends --force-not-root --force-script-chrootless --log=/dev/null "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }
in_root --install "$work"/packages/*.deb
"$root/usr/bin/zolt-burst" --version | grep -q 'GPL-3.0-or-later only'
"$root/usr/bin/zolt-burst" simulate -o "$work/burst" --crop 264x200 --frames 3 >/dev/null
"$root/usr/bin/zolt-burst" denoise "$work/burst" -o "$work/clean.jpg" --json | grep -q '"merged": 3'
[ -s "$work/clean.jpg" ]
for file in man/man1/zolt-burst.1 bash-completion/completions/zolt-burst doc/zolt-burst/copyright doc/libzolt-mfdenoise1/copyright; do
  [ -s "$root/usr/share/$file" ] || { echo "no $file"; exit 1; }
done

library=$(find "$root/usr/lib" -name libzolt_mfdenoise.so)
export PKG_CONFIG_PATH="$(dirname "$library")/pkgconfig"
cc -std=c99 $(pkg-config --cflags zolt_mfdenoise) "$source/tests/package/user.c" -o "$work/user" $(pkg-config --libs zolt_mfdenoise)
LD_LIBRARY_PATH=$(dirname "$library") "$work/user" "$root/usr/share/zolt_mfdenoise/"
cc -std=c99 $(pkg-config --cflags zolt_burst) "$source/tests/package/burst_user.c" -o "$work/burst_user" $(pkg-config --libs zolt_burst)
LD_LIBRARY_PATH=$(dirname "$library") "$work/burst_user"

element=
[ ! -e "$root/usr/share/doc/gstreamer1.0-zoltburst" ] || element=gstreamer1.0-zoltburst
in_root --remove $element zolt-burst libzolt-mfdenoise-dev libzolt-mfdenoise1
left=$(find "$root/usr" -type f 2>/dev/null || true)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
