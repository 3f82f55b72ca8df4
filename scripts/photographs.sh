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

# judged_burst ISO FRAMES PHOTO KIND: simulates a burst into $work/bursts unless it is there, and adds it to `folders`. KIND:
# phone (a phone's correlated noise), white, tripod (a phone's, nothing moves) or jpeg (the phone's burst, compressed).
judged_burst() {
  local folder=$work/bursts/$3-$4-$1-$2 options=() photo
  case $4 in white) options=(--white) ;; tripod) options=(--motion 0) ;; esac
  folders+=("$folder")
  [ -f "$folder/burst.json" ] && return
  if [ "$4" = jpeg ]; then
    cp -r "$work/bursts/$3-phone-$1-$2" "$folder"
    mogrify -format jpg -quality 90 -sampling-factor 2x2 "$folder"/frame*.png
    rm "$folder"/frame*.png
    sed -i 's/\(frame[^"]*\)\.png/\1.jpg/' "$folder/burst.json"
  else
    photo=$(photograph "$3")
    "$ZOLT_BURST" simulate ${photo:+"$photo"} -o "$folder" --iso "$1" --frames "$2" --crop 960x720 \
      --seed "$(($1 + $2))" --mean "${options[@]}"
  fi
}
