# shellcheck shell=bash
# Shared by the scripts in script/. Source it; it sets project_root and changes into it.

project_root=$(cd -P "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$project_root"

say() {
  echo "$*"
}

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

# Prints the comment block at the head of the calling script.
print_help() {
  sed -n '2,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"
}

# quietly LOG COMMAND...: the output goes to the file, and to standard error when the command fails.
quietly() {
  local log=$1 status=0
  shift
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if ((status != 0)); then
    cat "$log" >&2
  fi
  return "$status"
}
