# Common ground of the scripts: sourced, sets `root` and goes there, so that they work from any folder.
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

# run_logged LOG TEXT COMMAND...: one line with what is done and how long it took; all output goes to the log,
# whose end is shown when the command fails.
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

# installed PACKAGE[:ARCHITECTURE]: of this machine's architecture when none is given.
installed() {
  local wanted="${1##*:}"
  [[ $1 == *:* ]] || wanted=$(dpkg --print-architecture)
  dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$1" 2>/dev/null | grep -Eqx "($wanted|all) installed"
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo -n true 2>/dev/null || [ -t 0 ] || die "installing packages needs root: run as root or allow sudo"
    sudo "$@"
  fi
}

apt_install() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=120 update
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=120 \
    install --no-install-recommends "$@"
}

# need_packages PACKAGE...: installs what is missing of them and says so; quick and silent when nothing is.
need_packages() {
  local package missing=()
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
    die "this is no Debian; install yourself what these packages hold: $*"
  for package in "$@"; do
    installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    die "these packages are missing and there is no sudo; as root run: apt-get install ${missing[*]}"
  fi
  if [[ ${missing[*]} == *:armhf* ]] && ! dpkg --print-foreign-architectures | grep -qx armhf; then
    echo "Adding the package architecture armhf"
    as_root dpkg --add-architecture armhf
  fi
  printf 'Installing with apt: %s\n' "${missing[*]}"
  run_logged apt "Installing" apt_install "${missing[@]}" || die "the packages could not be installed"
}

build_packages=(
  cmake ninja-build g++ pkg-config ffmpeg
  libavcodec-dev libavformat-dev libavdevice-dev libswscale-dev libswresample-dev libjpeg62-turbo-dev
)
