#!/usr/bin/env bash
# The property-sheet extension under Wine, driven as the file manager drives it (pages-test.exe):
# the object itself, the handler found through the registry, the three pages shown and pictured
# (kept in ARTIFACTS-DIR as PNG files, and checked not to be blank), and the IPTC page edited over
# several pictures, checked with exiftool. Then the settings sheet that the context menu's
# "Options..." opens: its pages pictured, a value it must refuse, one it stores.
# Usage: pages-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR ARTIFACTS-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
mkdir -p "$4" && artifacts=$(cd "$4" && pwd)
. "$(dirname "$0")/prefix.sh"

host=$windir/pages-test.exe
dll=$(windows "$windir/lumeno.dll")
mkdir "$work/files" "$work/pictures"
win() { windows "$work/files/$1"; }
pages_test() { wine "$host" "$@" 2>/dev/null | tr -d '\r'; }
iptc() { exiftool -s -s -s "-IPTC:$1" "$work/files/$2"; }
xmp() { exiftool -s -s -s "-XMP:$1" "$work/files/$2"; }

# --- the object, and the handler as the shell finds it -----------------------------------------------
cp "$data/sample.jpg" "$work/files/"
pages_test check "$dll" "$(win sample.jpg)" >"$work/check.out"
host_checks "$work/check.out"
wine reg add 'HKCR\.jpg' /ve /d jpegfile /f >/dev/null 2>&1
wine regsvr32 /s "$dll" >/dev/null 2>&1
check "the shell finds the registered handler of JPEGs, which adds three pages" \
  [ "$(pages_test registered "$(win sample.jpg)")" = "handlers found: yes, pages added: 3" ]

# --- the pages, pictured ------------------------------------------------------------------------------
pages_test show "$dll" "$(windows "$work/pictures")" "$(win sample.jpg)" >"$work/show.out"
check "three pages: EXIF, IPTC, XMP" \
  bash -c '[ "$(grep -c "^page " "$1")" = 3 ] && grep -q "^page EXIF:" "$1" && grep -q "^page IPTC:" "$1" &&
           grep -q "^page XMP:" "$1"' _ "$work/show.out"
for title in EXIF IPTC XMP; do
  colours=$(sed -n "s/^page $title: .*, \([0-9]*\) colours$/\1/p" "$work/show.out")
  # A blank page is one or two colours; text on a page brings its shades.
  check "the $title page is drawn (${colours:-no} colours)" [ "${colours:-0}" -ge 8 ]
  convert "$work/pictures/$title.bmp" "$artifacts/page-$title.png" 2>/dev/null
  check "the $title page's picture is kept" [ -s "$artifacts/page-$title.png" ]
done
wine reg add 'HKCU\Software\LumenoWorks\Lumeno\Shell' /v EnableExifProperties /t REG_DWORD /d 0 /f >/dev/null 2>&1
wine "$host" show "$dll" "$(windows "$work/pictures")" "$(win sample.jpg)" >"$work/no-exif.out" 2>&1
# What the program printed is shown when the check fails (it once failed in CI, not again since).
check "EnableExifProperties 0 leaves the EXIF page out" \
  bash -c '{ [ "$(grep -c "^page " "$1")" = 2 ] && ! grep -q "^page EXIF" "$1"; } || { tr -d "\r" <"$1" >&2; false; }' _ \
  "$work/no-exif.out"
wine reg delete 'HKCU\Software\LumenoWorks\Lumeno\Shell' /f >/dev/null 2>&1

# --- the IPTC page over several pictures -------------------------------------------------------------------
cp "$data/sample.jpg" "$work/files/second.jpg"
pages_test edit "$dll" 1012 "A new caption" "$(win sample.jpg)" "$(win second.jpg)" >"$work/edit.out"
check "typing into the caption turns the sheet's Apply on" grep -qx "apply enabled: yes" "$work/edit.out"
check "Apply writes the caption to both pictures" \
  bash -c '[ "$1" = "A new caption" ] && [ "$2" = "A new caption" ]' _ "$(iptc Caption-Abstract sample.jpg)" \
  "$(iptc Caption-Abstract second.jpg)"
check "... and the XMP description that mirrors it" [ "$(xmp Description second.jpg)" = "A new caption" ]
check "... leaving the other fields as they were" [ "$(iptc ObjectName second.jpg)" = "Morning light" ]

# Two pictures that disagree on the caption: the page shows it blank, and a change of another
# field leaves each picture's own caption alone.
exiftool -q -overwrite_original -IPTC:Caption-Abstract="Only the second" "$work/files/second.jpg"
pages_test edit "$dll" 1011 "Shared headline" "$(win sample.jpg)" "$(win second.jpg)" >"$work/mixed.out"
check "a field the pictures disagree on is blank, and the page says why" grep -q "^status: Blank fields differ" "$work/mixed.out"
check "the headline is written to both" \
  bash -c '[ "$1" = "Shared headline" ] && [ "$2" = "Shared headline" ]' _ "$(iptc Headline sample.jpg)" "$(iptc Headline second.jpg)"
check "each keeps its own caption" \
  bash -c '[ "$1" = "A new caption" ] && [ "$2" = "Only the second" ]' _ "$(iptc Caption-Abstract sample.jpg)" \
  "$(iptc Caption-Abstract second.jpg)"

# A picture gone by the time Apply is pressed is named; the other is still written.
cp "$data/sample.jpg" "$work/files/third.jpg"
pages_test edit "$dll" 1018 "Grenoble" --vanish "$(win third.jpg)" "$(win sample.jpg)" "$(win third.jpg)" >"$work/gone.out"
check "the picture that could not be written is named in the page" grep -q "^status: Could not write third.jpg" "$work/gone.out"
check "the other picture is written" [ "$(iptc City sample.jpg)" = "Grenoble" ]

# The fields as they stand, kept as a template from the page.
pages_test template "$dll" "From the page" "Caption for the template" "$(win sample.jpg)" >"$work/template.out"
check "Save as template... from the IPTC page" grep -qx 'status: Template "From the page" saved.' "$work/template.out"
wine "$windir/lumeno.exe" template show "From the page" 2>/dev/null | tr -d '\r' >"$work/template.show"
check "... keeps the fields shown, typed ones included" \
  bash -c 'grep -q "Caption.*Caption for the template" "$1" && grep -q "City.*Grenoble" "$1"' _ "$work/template.show"
check "... and writes no picture" [ "$(iptc Caption-Abstract sample.jpg)" = "A new caption" ]

# --- the settings sheet ------------------------------------------------------------------------------
wine reg delete 'HKCU\Software\LumenoWorks' /f >/dev/null 2>&1
wine "$windir/menu-test.exe" options "$dll" "$(windows "$work/pictures")" "$(win sample.jpg)" 2>/dev/null |
  tr -d '\r' >"$work/options.out"
for title in General Display Captions Annotate Galleries Preview "Columns and tips" "Slide Show"; do
  colours=$(sed -n "s/^page $title: \([0-9]*\) colours$/\1/p" "$work/options.out")
  check "the settings page $title is drawn (${colours:-no} colours)" [ "${colours:-0}" -ge 8 ]
  convert "$work/pictures/options-$title.bmp" "$artifacts/options-${title// /-}.png" 2>/dev/null
done
check "a number that is no number: \"Invalid Value!\"" grep -qx "message: Invalid Value!" "$work/options.out"
check "... and the field has the focus again" grep -qx "focus on the field: yes" "$work/options.out"
wine reg query 'HKCU\Software\LumenoWorks\Lumeno' /s 2>/dev/null | tr -d '\r' | grep -E '^ +[A-Za-z]' >"$work/stored"
check "OK stores the one value changed, and no default" \
  bash -c '[ "$(cat "$1")" = "    ThumbnailCacheSize    REG_DWORD    0x1f4" ] || { cat "$1"; false; }' _ "$work/stored"

finish
