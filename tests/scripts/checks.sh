# Checks for tests of the scripts: sourced. A test ends with `end_checks`.
# shellcheck shell=bash
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
checked=0 unmet=0

# check WHAT COMMAND...: the command must succeed; WHAT names a failed check.
check() {
  local what=$1
  shift
  checked=$((checked + 1))
  "$@" || {
    echo "failed: $what"
    unmet=$((unmet + 1))
  }
}
says() { grep -qF -- "$2" "$1" || { cat "$1"; false; }; } # FILE TEXT
is() { [ "$1" = "$2" ] || { echo "$1, not $2"; false; }; }

# stand_in NAME: a program of this name, with the script on standard input, comes first in PATH.
stand_in() {
  mkdir -p "$work/bin"
  { echo '#!/bin/bash'; cat; } >"$work/bin/$1"
  chmod +x "$work/bin/$1"
  PATH=$work/bin:$PATH
}

# stand_in_installed: a dpkg-query for which every package is installed.
stand_in_installed() {
  stand_in dpkg-query <<'END'
native=$(dpkg --print-architecture)
for name in "${@:4}"; do
  case $name in
  *:*) echo "${name%%:*} ${name##*:} installed" ;;
  *) echo "$name $native installed" ;;
  esac
done
END
}

end_checks() {
  echo "$((checked - unmet)) of $checked checks passed"
  [ "$checked" -gt 0 ] && [ "$unmet" -eq 0 ]
}
