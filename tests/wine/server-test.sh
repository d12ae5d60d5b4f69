#!/usr/bin/env bash
# The COM server (the Windows build's lumeno.dll) under Wine: registered by regsvr32 in a fresh
# prefix and unregistered again with the registry left as it was; registration, objects and
# unloading checked key by key (server-test.exe check); the column provider, info tip and
# overlays compared with the Linux tool's lumeno columns, tip and overlay.
# Usage: server-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
. "$(dirname "$0")/prefix.sh"

test=$windir/server-test.exe
dll=$(windows "$windir/lumeno.dll")
mkdir "$work/files"
cp "$data/sample.jpg" "$data/sample.tif" "$work/files/"
cp "$data/sample.jpg" "$work/files/copy.png"
printf 'not a picture' >"$work/files/junk.jpg"
files=("$work/files/sample.jpg" "$work/files/sample.tif" "$work/files/copy.png" "$work/files/junk.jpg")
pairs=()
for f in "${files[@]}"; do pairs+=("$f" "$(windows "$f")"); done

# --- regsvr32, as a user's installation registers the server ----------------------------------
windows_machine_keys
reg_snapshot "$work/before.reg"
wine regsvr32 /s "$dll" >/dev/null 2>&1
check "regsvr32 registers the server in a fresh prefix" [ $? -eq 0 ]
reg_snapshot "$work/registered.reg"
check "registration writes the classes" grep -q 'LumenoColumnProvider' "$work/registered.reg"
check "registration names the server's own file" grep -qiF "$(printf '%s' "$dll" | sed 's/\\/\\\\/g')" "$work/registered.reg"
wine regsvr32 /u /s "$dll" >/dev/null 2>&1
check "regsvr32 /u unregisters the server" [ $? -eq 0 ]
reg_snapshot "$work/after.reg"
check "unregistration leaves the registry as it was before" \
  bash -c 'diff "$1" "$2" | head -n 20; cmp -s "$1" "$2"' _ "$work/before.reg" "$work/after.reg"

# --- key by key, objects, unloading -------------------------------------------------------------
wine "$test" check "$dll" "$(windows "$work/files/sample.jpg")" >"$work/check.out" 2>&1
host_checks "$work/check.out"

# --- the shell's answers against the tool's ----------------------------------------------------
through_com() { # through_com NAME ARGS...: server-test's answer, in $work/NAME without CRs
  wine "$test" "$@" >"$work/$1.crlf" 2>/dev/null
  tr -d '\r' <"$work/$1.crlf" >"$work/$1"
}
through_com columns "$dll" "${pairs[@]}"
check "columns through COM match lumeno columns" cmp -s "$work/columns" <("$linux" columns --json "${files[@]}")
for f in "$work/files/sample.jpg" "$work/files/sample.tif" "$work/files/copy.png"; do
  through_com tip "$dll" "$(windows "$f")"
  check "tip through COM matches lumeno tip for $(basename "$f")" cmp -s "$work/tip" <("$linux" tip "$f")
done
through_com overlay "$dll" "${pairs[@]}"
check "overlays through COM match lumeno overlay" cmp -s "$work/overlay" <("$linux" overlay "${files[@]}")
check "the sample JPEG gets the EXIF & XMP & IPTC overlay" grep -q "sample.jpg	Lumeno EXIF & XMP & IPTC" "$work/overlay"

finish
