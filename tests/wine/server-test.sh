#!/usr/bin/env bash
# The COM server under Wine: registration, objects and unloading (server-test.exe check), then
# the column provider, info tip and overlays compared with lumeno columns, tip and overlay.
# Runs in a private WINEPREFIX that this script creates and stops again.
# Usage: server-test.sh BIN-DIR DATA-DIR   (WINE and WINESERVER name Wine's programs; by default
# wine and wineserver)
set -u
bin=$(cd "$1" && pwd) data=$(cd "$2" && pwd)
wine() { "${WINE:-wine}" "$@"; }
wineserver() { "${WINESERVER:-wineserver}" "$@"; }
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export XDG_CONFIG_HOME=$work/config # the command line's settings: defaults, as in the new prefix
cleanup() { wineserver -k >/dev/null 2>&1; rm -rf "$work"; }
trap cleanup EXIT
. "$(dirname "$0")/../support/checks.sh"
windows() { printf 'Z:%s' "${1//\//\\}"; }

# Wine's own services inherit the first process's output: start them with it redirected.
wineserver -p >/dev/null 2>&1
wine wineboot -i >/dev/null 2>&1
# Without this a dialog in a headless prefix waits for a display for ever.
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1

test=$bin/server-test.exe.so
dll=$(windows "$bin/lumeno.dll")
mkdir "$work/files"
cp "$data/sample.jpg" "$data/sample.tif" "$work/files/"
cp "$data/sample.jpg" "$work/files/copy.png"
printf 'not a picture' >"$work/files/junk.jpg"
files=("$work/files/sample.jpg" "$work/files/sample.tif" "$work/files/copy.png" "$work/files/junk.jpg")
pairs=()
for f in "${files[@]}"; do pairs+=("$f" "$(windows "$f")"); done

out=$(wine "$test" check "$dll" "$(windows "$work/files/sample.jpg")" 2>&1 | tr -d '\r')
echo "$out" | grep -v '^[0-9]* passed' || true
line=$(echo "$out" | grep -E '^[0-9]+ passed, [0-9]+ failed$' | tail -n 1)
if [ -n "$line" ]; then
  passed=$((passed + $(echo "$line" | cut -d' ' -f1)))
  failed=$((failed + $(echo "$line" | cut -d' ' -f3)))
else
  echo "FAIL: the check run printed no result"; failed=$((failed + 1))
fi

check "columns through COM match lumeno columns" \
  cmp -s <(wine "$test" columns "$dll" "${pairs[@]}" 2>/dev/null | tr -d '\r') <("$bin/lumeno" columns --json "${files[@]}")
for f in "$work/files/sample.jpg" "$work/files/sample.tif" "$work/files/copy.png"; do
  check "tip through COM matches lumeno tip for $(basename "$f")" \
    cmp -s <(wine "$test" tip "$dll" "$(windows "$f")" 2>/dev/null | tr -d '\r') <("$bin/lumeno" tip "$f")
done
check "overlays through COM match lumeno overlay" \
  cmp -s <(wine "$test" overlay "$dll" "${pairs[@]}" 2>/dev/null | tr -d '\r') <("$bin/lumeno" overlay "${files[@]}")
check "the sample JPEG gets the EXIF & XMP & IPTC overlay" \
  grep -q "sample.jpg	Lumeno EXIF & XMP & IPTC" <(wine "$test" overlay "$dll" "${pairs[@]}" 2>/dev/null | tr -d '\r')

finish
