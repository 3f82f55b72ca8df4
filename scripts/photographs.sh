# Photographs and the program, for scripts that simulate bursts to source (after packages.sh).

# photograph NAME: the file of one of Debian's wallpapers; nothing for "scene", which zolt-burst paints itself.
photograph() {
  [ "$1" = scene ] && return
  local files=(/usr/share/backgrounds/"$1"_by_*.jpg)
  [ -f "${files[0]}" ] || { echo "no photograph named $1 in /usr/share/backgrounds" >&2; return 1; }
  echo "${files[0]}"
}

# Sets ZOLT_BURST to the program, built if nobody named one.
build_zolt_burst() {
  [ -n "${ZOLT_BURST:-}" ] && return
  need $BUILD_PACKAGES
  local log
  log=$(mktemp)
  if ! { cmake --preset release -B build/demo -DZOLT_BUILD_TESTS=OFF -DZOLT_BUILD_BENCHMARKS=OFF &&
    cmake --build build/demo --target zolt-burst; } >"$log" 2>&1; then
    tail -n 40 "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
  ZOLT_BURST=build/demo/tools/zolt-burst
}

# forget_old_bursts FOLDER: drops FOLDER/bursts if another camera took them.
forget_old_bursts() {
  local sum
  sum=$(cat tools/simulate/{camera,demosaic,scene,tone_curve}.cpp tools/common/hash_random.h | sha256sum)
  [ "$(cat "$1/camera.sum" 2>/dev/null)" = "$sum" ] || rm -rf "$1/bursts" "$1"/*.state.json "$1/start"
  echo "$sum" >"$1/camera.sum"
}
