# Measurements that may fail without stopping the others: sourced by scripts/bench and its tests.
# shellcheck shell=bash
unmeasured=()

# measure FIGURES LOG TEXT COMMAND...: adds the figures that a command prints to FIGURES. A command that fails is
# reported, and what it printed until then still counts.
measure() {
  local figures=$1 log=$2 text=$3 status
  shift 3
  printf '%s ...' "$text"
  # Not before `||`, which would disable `set -e` inside the command.
  set +e
  (
    set -e
    "$@"
  ) >>"$figures" 2>"$log" </dev/null
  status=$?
  set -e
  if [ "$status" -eq 0 ]; then
    echo
    return 0
  fi
  printf ' failed with exit code %d:\n' "$status"
  tail -n 5 "$log"
  unmeasured+=("$text")
}

# print_table ASKED FIGURES: prints the table, also with figures missing, and then the measurements that failed.
print_table() {
  local text
  awk -f bench/table.awk "$1" "$2"
  for text in "${unmeasured[@]}"; do echo "Not measured: $text"; done
  [ ${#unmeasured[@]} -eq 0 ]
}
