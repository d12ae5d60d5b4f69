#!/usr/bin/env bash
# Search and scripting under Wine: the IPTC filter driven as the desktop search drives it
# (filter-test.exe), its texts compared with the Linux tool's lumeno iptc; the automation objects
# (EXIF.EXIFImage and its collections) from VBScript and JScript run by cscript, their output
# compared with lumeno dump. Each script ends with a sentinel line: a failing script stops
# without a word and cscript still exits 0.
# Usage: scripting-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
. "$here/prefix.sh"

dll=$(windows "$windir/lumeno.dll")
filter=$windir/filter-test.exe
mkdir "$work/files"
photos=(sample.jpg sample.tif camera/IPTC.jpg camera/PhotoMechanic.jpg camera/ExifTool.tif camera/GPS.jpg
        camera/MWG.jpg camera/Canon.jpg camera/Nikon.jpg)
for p in "${photos[@]}"; do cp "$data/$p" "$work/files/"; done

# --- the filter ---------------------------------------------------------------------------------
wine "$filter" check "$dll" "$(windows "$work/files/sample.jpg")" >"$work/filter-check.out" 2>&1
host_checks "$work/filter-check.out"

# The texts lumeno iptc shows, dates and times aside (they come as values) and the object data
# past 2:200, one line per value, line breaks as blanks as the filter test prints them.
iptc_texts() {
  "$linux" iptc "$1" 2>/dev/null | python3 -c '
import sys
skip = {"Release Date", "Release Time", "Expiration Date", "Expiration Time", "Date Created", "Time Created",
        "Digital Creation Date", "Digital Creation Time"}
for line in sys.stdin.read().splitlines():
    name, _, text = line.partition("\t")
    if name in skip or (name.startswith("2:") and int(name[2:]) >= 200):
        continue
    out, i = [], 0
    while i < len(text):
        if text[i] == "\\" and i + 1 < len(text):
            out.append({"n": " ", "r": " ", "t": "\t", "\\": "\\"}.get(text[i + 1], text[i + 1])); i += 2
        else:
            out.append(text[i]); i += 1
    if out:
        print("".join(out))'
}
for p in sample.jpg sample.tif IPTC.jpg PhotoMechanic.jpg ExifTool.tif GPS.jpg MWG.jpg; do
  f=$work/files/$p
  wine "$filter" chunks "$dll" "$(windows "$f")" >"$work/chunks.crlf" 2>&1
  status=$?
  tr -d '\r' <"$work/chunks.crlf" >"$work/chunks"
  check "the filter reads $p" [ $status -eq 0 ]
  check "the filter gives every IPTC text of $p, in order" \
    bash -c 'diff <(grep -v "	@" "$1" | cut -f2-) "$2"' _ "$work/chunks" <(iptc_texts "$f")
done
wine "$filter" chunks "$dll" "$(windows "$work/files/sample.jpg")" >"$work/sample.crlf" 2>&1
tr -d '\r' <"$work/sample.crlf" >"$work/sample.chunks"
check "the object name is the title" grep -qx 'Summary:2	Morning light' "$work/sample.chunks"
check "the by-line is the author" grep -qx 'Summary:4	A. Photographer' "$work/sample.chunks"
check "keywords are keywords" bash -c '[ "$(grep -c "^Summary:5	" "$1")" -eq 2 ]' _ "$work/sample.chunks"
check "the caption is the comments" grep -qx 'Summary:6	Sunrise over the lake' "$work/sample.chunks"
check "the city is the program's own property 90" grep -qx 'Lumeno:90	Annecy' "$work/sample.chunks"
# 2024-05-06 07:08:09 +02:00
check "the date created is the photo's date taken, a value" grep -qx 'Photo:36867	@1714972089' "$work/sample.chunks"
wine "$filter" chunks "$dll" "$(windows "$work/files/PhotoMechanic.jpg")" stream >"$work/stream.crlf" 2>&1
wine "$filter" chunks "$dll" "$(windows "$work/files/PhotoMechanic.jpg")" >"$work/file.crlf" 2>&1
check "a stream gives what its file gives" cmp -s "$work/stream.crlf" "$work/file.crlf"

# Hostile files: the fuzzers' findings and seeds, and bytes that are no picture: Load refuses
# or the chunks come whole; the process lives to print every file.
mkdir "$work/hostile"
cp "$data"/fuzz/*/* "$work/hostile/" 2>/dev/null
rm -f "$work/hostile/README.md"
head -c 5000 /dev/urandom >"$work/hostile/random.jpg"
printf '\xff\xd8\xff\xed\x00\x10Photoshop 3.0\x00' >"$work/hostile/cut-short.jpg"
: >"$work/hostile/empty.jpg"
hostile=()
for f in "$work/hostile"/*; do hostile+=("$(windows "$f")"); done
wine "$filter" load "$dll" "${hostile[@]}" >"$work/hostile.crlf" 2>&1
tr -d '\r' <"$work/hostile.crlf" >"$work/hostile.out"
check "the filter lives through ${#hostile[@]} hostile files" \
  bash -c '[ "$(grep -c "	" "$1")" -eq "$2" ]' _ "$work/hostile.out" "${#hostile[@]}"
check "no hostile file breaks the chunk protocol" bash -c '! grep -q " broken " "$1"' _ "$work/hostile.out"
check "random bytes are an unknown format" grep -q '^8004170c .*random.jpg' "$work/hostile.out"

# --- automation from scripts --------------------------------------------------------------------
windows_machine_keys
wine regsvr32 /s "$dll" >/dev/null 2>&1
check "regsvr32 registers the server" [ $? -eq 0 ]

# What the scripts print, from the Linux tool: each directory's name (the JSON dump's) where the
# text dump has its header, then the dump's lines; then the IPTC keywords and the title.
expected_dump() {
  "$linux" dump --json "$1" | python3 -c '
import json, subprocess, sys
names = [d["Name"] for d in json.load(sys.stdin)[0]["Directories"]]
text = subprocess.run([sys.argv[1], "dump", sys.argv[2]], capture_output=True, text=True).stdout
n = 0
for line in text.splitlines():
    if line.startswith("-----------"):
        print("== " + names[n]); n += 1
    elif line:
        print(line)
' "$linux" "$1"
  printf 'Keyword=%s\n' "$("$linux" iptc "$1" | awk -F '\t' '$1 == "Keyword" { v = v (v == "" ? "" : "; ") $2 } END { print v }')"
  printf 'Title=%s\n' "$("$linux" show --json "$1" | python3 -c 'import json,sys; print(json.load(sys.stdin)[0].get("Summary:Title", ""))')"
}
for language in vbs js; do
  for p in sample.jpg sample.tif Canon.jpg Nikon.jpg GPS.jpg IPTC.jpg; do
    f=$work/files/$p
    rm -f "$work/out.txt"
    wine cscript //nologo "$(windows "$here/scripts/dump.$language")" "$(windows "$f")" "$(windows "$work/out.txt")" \
      >"$work/cscript.out" 2>&1
    check "dump.$language runs to its end on $p" grep -q '^DONE' "$work/cscript.out" || cat "$work/cscript.out"
    check "dump.$language prints what lumeno dump prints for $p" \
      bash -c 'diff <(iconv -f UTF-16LE -t UTF-8 "$1" | sed "1s/^\xEF\xBB\xBF//" | tr -d "\r") <(printf "%s\n" "$2") | head -n 20
               cmp -s <(iconv -f UTF-16LE -t UTF-8 "$1" | sed "1s/^\xEF\xBB\xBF//" | tr -d "\r") <(printf "%s\n" "$2")' \
      _ "$work/out.txt" "$(expected_dump "$f")"
  done
done

sample=$(windows "$work/files/sample.jpg")
wine cscript //nologo "$(windows "$here/scripts/model.vbs")" "$sample" >"$work/model.crlf" 2>&1
tr -d '\r' <"$work/model.crlf" >"$work/model.out"
cat >"$work/model.expected" <<'END'
unopened: EXIF.EXIFImage: no file is open (call Open first)
missing: EXIF.EXIFImage: No such file or directory
count: 2
first: Primary Image, by name: EXIF 34665
make: 271 ASCII 5 Acme Acme
xres: 72 Double
version: 4 0232
fields: 10 Make
caption: Sunrise over the lake; keywords: sunrise; lake
file: True
bad index: there is no IFD 99 (there are 2, counted from 0)
negative index: there is no IFD -1 (there are 2, counted from 0)
bad name: there is no IFD called 'Nope'
bad dataset: unknown IPTC dataset 'Favourite colour'
on its own: 0 0
DONE
END
check "the VBScript model checks print what they should" \
  bash -c 'diff "$1" "$2"' _ "$work/model.expected" "$work/model.out"
wine cscript //nologo "$(windows "$here/scripts/model.js")" "$sample" >"$work/model-js.crlf" 2>&1
tr -d '\r' <"$work/model-js.crlf" >"$work/model-js.out"
printf '%s\n' "version: 4 0232" "count: 2 Roadrunner 7" "bad index: there is no IFD 99 (there are 2, counted from 0)" DONE \
  >"$work/model-js.expected"
check "the JScript model checks print what they should" bash -c 'diff "$1" "$2"' _ "$work/model-js.expected" "$work/model-js.out"

finish
