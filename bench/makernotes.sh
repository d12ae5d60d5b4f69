#!/usr/bin/env bash
# Makers' notes decoded at speed: `lumeno dump` of 2,000 copies of a camera JPEG with a Canon
# maker note (decoded: settings, shot information, focal length, file information) against
# `exiv2 -pa`, which decodes makers' notes too; one process each, best of three, page cache warm.
# Usage: bench/makernotes.sh [BUILD-DIR] [FILES]   (default build/ and 2000; run scripts/build first)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
count=${2:-2000}
sample=tests/data/camera/Canon.jpg
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for i in $(seq -w 1 "$count"); do cp "$sample" "$work/IMG_$i.JPG"; done
files=("$work"/*.JPG)
cat "${files[@]}" >/dev/null
"$build/bin/lumeno" dump "${files[0]}" | grep -q "CANON CAMERASETTINGS IFD" || { echo "the note is not decoded" >&2; exit 1; }

best() { # best NAME COMMAND...: the fastest of three runs, in seconds
  local best=""
  for _ in 1 2 3; do
    local start; start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 || true
    local s; s=$(awk -v s="$start" -v e="$(date +%s.%N)" 'BEGIN { print e - s }')
    best=$(awk -v a="$s" -v b="${best:-$s}" 'BEGIN { print (a < b ? a : b) }')
  done
  echo "$best"
}
lumeno=$(best "$build/bin/lumeno" dump "${files[@]}")
exiv2=$(best exiv2 -pa "${files[@]}")
awk -v n="$count" -v l="$lumeno" -v e="$exiv2" 'BEGIN {
  printf "dump %d Canon JPEGs with their maker notes: lumeno %.0f files/s, exiv2 -pa %.0f files/s: lumeno %.1fx as fast (goal: 6x)\n",
         n, n / l, n / e, e / l }'
