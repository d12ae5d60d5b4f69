# Sourced by the end-to-end test scripts: named checks counted to one verdict.
#   check DESCRIPTION COMMAND...   runs COMMAND; a failure prints "FAIL: DESCRIPTION"
#   finish                         prints the counts; its status is the verdict
#   private_folders                a temporary folder $tmp, removed at exit, holding the settings
#                                  and the gallery store, so nothing touches the user's own
passed=0 failed=0
check() {
  local what=$1; shift
  if "$@"; then passed=$((passed + 1)); else echo "FAIL: $what"; failed=$((failed + 1)); fi
}
finish() {
  echo "$passed passed, $failed failed"
  [ "$failed" -eq 0 ]
}
private_folders() {
  tmp=$(mktemp -d)
  trap 'rm -rf "$tmp"' EXIT
  export XDG_CONFIG_HOME=$tmp/config XDG_DATA_HOME=$tmp/data
}
