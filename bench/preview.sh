#!/usr/bin/env bash
# Moving to the next picture in the preview, under Wine: 30 twelve-megapixel JPEGs (4000 x 3000,
# made by bench's make-corpus) opened in the preview (viewer-test.exe bench), stepped through with
# the Right key, each step timed from the key to the new picture's pixels on screen:
#  1. as a user looking at each picture for 0.4 s (the next one is decoded ahead meanwhile);
#  2. as a user holding the key down (a step every 33 ms, faster than pictures decode).
# Usage: bench/preview.sh [BUILD-DIR] [WINDOWS-BUILD-DIR]   (run scripts/build and
# scripts/build-windows first)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build} windir=$(cd "${2:-build-windows}" && pwd)
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
trap 'wineserver -k >/dev/null 2>&1; rm -rf "$work"' EXIT
wineserver -p >/dev/null 2>&1 || true
wine wineboot -i >/dev/null 2>&1 || true
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
wineserver -w || true
mkdir -p "$work/photos"
"$build/bin/make-corpus" rotate "$work/photos" 30 >/dev/null
files=()
for f in "$work/photos"/*; do
  [ -e "$f" ] && files+=("Z:${f//\//\\}")
done
echo "${#files[@]} pictures of $(exiftool -s -s -s -ImageSize "${f}"), preview window of the null display (1024 x 768 screen)"
wine "$windir/viewer-test.exe" bench "Z:${windir//\//\\}\\lumeno.dll" "${files[@]}" 2>/dev/null | tr -d '\r'
