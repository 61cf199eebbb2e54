# Shared by the scripts: sourced, sets `root` and changes to it, so that they work from any folder.
# shellcheck shell=bash
set -euo pipefail
root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../.." && pwd)
cd "$root"
export LC_ALL=C.UTF-8
logs=build/logs
mkdir -p "$logs"

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# run_logged LOG TEXT COMMAND...: prints one line with TEXT and the time the command took. Its output goes to the log,
# the end of which is shown when the command fails.
run_logged() {
  local log=$logs/$1.log text=$2 begin=$SECONDS status=0
  shift 2
  printf '%s ...' "$text"
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ "$status" -eq 0 ]; then
    printf ' %d s\n' $((SECONDS - begin))
  else
    printf ' failed; the end of %s:\n' "$log"
    tail -n 40 "$log"
  fi
  return "$status"
}

# missing_packages PACKAGE[:ARCHITECTURE]...: prints those that are not installed; the default is this machine's
# architecture.
missing_packages() {
  local native known package name architecture
  native=$(dpkg --print-architecture)
  known=$'\n'$(dpkg-query -W -f '${Package} ${Architecture} ${db:Status-Status}\n' "$@" 2>/dev/null)$'\n' || true
  for package in "$@"; do
    name=${package%%:*} architecture=$native
    [[ $package != *:* ]] || architecture=${package##*:}
    [[ $known == *$'\n'"$name $architecture installed"$'\n'* || $known == *$'\n'"$name all installed"$'\n'* ]] ||
      echo "$package"
  done
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo -n true 2>/dev/null || [ -t 0 ] || die "installing packages needs root: run as root or allow sudo"
    sudo "$@"
  fi
}

apt_update() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=120 update; }
apt_install() {
  apt_update
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=120 \
    install --no-install-recommends "$@"
}

has_architecture() { dpkg --print-foreign-architectures | grep -qx "$1"; }

# need_architecture NAME: adds it to the architectures that apt installs packages of.
need_architecture() {
  ! has_architecture "$1" || return 0
  echo "Adding the package architecture $1"
  as_root dpkg --add-architecture "$1" || die "the architecture $1 could not be added"
}

# need_packages PACKAGE...: lists and installs those that are missing; fast and silent when none is.
need_packages() {
  local missing
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
    die "not a Debian system; install the equivalents of these packages by hand: $*"
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    die "these packages are missing and there is no sudo; as root run: apt-get install ${missing[*]}"
  fi
  [[ ${missing[*]} != *:armhf* ]] || need_architecture armhf
  printf 'Installing with apt: %s\n' "${missing[*]}"
  run_logged apt "Installing" apt_install "${missing[@]}" || die "the packages could not be installed"
}

build_packages=(
  cmake ninja-build g++ pkg-config ffmpeg
  libavcodec-dev libavformat-dev libavdevice-dev libswscale-dev libswresample-dev libjpeg62-turbo-dev
  libfreetype-dev libfontconfig-dev fonts-dejavu-core libzxing-dev libopencv-objdetect-dev
)
test_packages=(libgtest-dev libgmock-dev pulseaudio tesseract-ocr opencv-doc)
bench_packages=(libbenchmark-dev libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev)

# use_compiler_cache: makes later builds use ccache where it is installed. Precompiled headers are compared by their
# contents, not by their times. Depend mode spares a preprocessor run for each source that is not in the cache yet.
use_compiler_cache() {
  command -v ccache >/dev/null || return 0
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime CCACHE_DEPEND=1
}

# all_sources: every C and C++ file of the tree, also those that Git does not track or ignores.
all_sources() {
  find . -name '.?*' -prune -o -path ./build -prune -o -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) -printf '%P\n' | sort
}
