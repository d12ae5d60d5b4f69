#!/usr/bin/env bash
# "My Galleries" under Wine: a gallery of 10,000 camera JPEGs (bench's make-corpus, each with its
# capture date) put in the store by the Windows tool, then reached from the desktop folder, its
# pictures enumerated and sorted by date taken through CompareIDs, as the file manager's view
# does (namespace-test.exe bench): first in a new process (the server loaded and the store
# opened on the way), then twice with both there, as the file manager keeps them.
# Usage: bench/galleries.sh [BUILD-DIR] [WINDOWS-BUILD-DIR] [COUNT]   (run scripts/build and
# scripts/build-windows first)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build} windir=$(cd "${2:-build-windows}" && pwd) count=${3:-10000}
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
trap 'wineserver -k >/dev/null 2>&1; rm -rf "$work"' EXIT
wineserver -p >/dev/null 2>&1 || true
wine wineboot -i >/dev/null 2>&1 || true
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
wineserver -w || true
mkdir -p "$work/photos"
"$build/bin/make-corpus" rename "$work/photos" "$count" >/dev/null
tool() { wine "$windir/lumeno.exe" "$@" >"$work/tool.log" 2>&1 || { echo "lumeno $1 $2 failed:"; tail -n 5 "$work/tool.log"; exit 1; }; }
tool gallery create Big
files=()
for f in "$work/photos"/*; do
  files+=("Z:${f//\//\\}")
  if [ "${#files[@]}" -eq 500 ]; then
    tool gallery add Big -j 2 "${files[@]}"
    files=()
  fi
done
[ "${#files[@]}" -eq 0 ] || tool gallery add Big -j 2 "${files[@]}"
wine regsvr32 /s "Z:${windir//\//\\}\\lumeno.dll" >/dev/null 2>&1 || true
wine "$windir/namespace-test.exe" bench Big 2>/dev/null | tr -d '\r'

