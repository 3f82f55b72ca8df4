# Debian packages of the project, for the scripts to source: `need PACKAGE...` installs what is missing and says so.

BUILD_PACKAGES="g++ cmake ninja-build pkg-config googletest libbenchmark-dev libavformat-dev libavcodec-dev libswscale-dev libavutil-dev libcli11-dev nlohmann-json3-dev libpugixml-dev libnlopt-dev libnlopt-cxx-dev libjpeg-dev zlib1g-dev libexiv2-dev libheif-dev libraw-dev libwebp-dev"
TEST_PACKAGES="qemu-user-static dpkg-dev libimage-exiftool-perl imagemagick libheif-examples ffmpeg webp"
PYTHON_PACKAGES="python3-dev python3-numpy pybind11-dev python3-pytest python3-mypy python3-pip python3-setuptools python3-wheel python3-venv python3-opencv python3-pil python3-skimage python3-matplotlib python3-tqdm python3-distributed"
GSTREAMER_PACKAGES="libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good"
CROSS_PACKAGES="g++-aarch64-linux-gnu g++-arm-linux-gnueabihf qemu-user-static"
CHECK_PACKAGES="clang-format clang-tidy git python3"
COUNT_PACKAGES="llvm-22"
FUZZ_PACKAGES="clang libclang-rt-14-dev"
PHOTO_PACKAGES="lomiri-wallpapers-16.04"
BROWSER_PACKAGES="chromium chromium-driver python3"

need() {
  local missing=()
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing Debian packages: ${missing[*]}"
  local sudo=
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get update -qq &&
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
