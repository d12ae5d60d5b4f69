#!/usr/bin/env bash
# The context-menu extension under Wine, driven as the file manager drives it (menu-test.exe):
# the object itself, the menu it adds for a selection (texts, grey entries, verbs, help texts),
# and its entries run by offset, by ANSI and by Unicode verb, each leaving the files as the
# Linux tool's command of the same name leaves them.
# Usage: menu-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
. "$(dirname "$0")/prefix.sh"

host=$windir/menu-test.exe
dll=$(windows "$windir/lumeno.dll")
mkdir "$work/files" "$work/linux"
cp "$data/sample.jpg" "$data/sample.tif" "$work/files/"
win() { windows "$work/files/$1"; }
# menu_test ARGS...: the host's output without CRs
menu_test() { wine "$host" "$@" 2>/dev/null | tr -d '\r'; }
# linux_too COMMAND ARGS... FILE: the same files in $work/linux, changed by the Linux tool
linux_too() { (cd "$work/linux" && "$linux" "$@" >/dev/null 2>&1); }
same_files() { # the two folders hold the same files, byte for byte but for the text exports'
  # line ends (CR LF on Windows)
  local f name
  [ "$(cd "$work/files" && ls)" = "$(cd "$work/linux" && ls)" ] || { echo "files: $(cd "$work/files" && ls)"; return 1; }
  for f in "$work/files"/*; do
    name=$(basename "$f")
    case $name in
      *.txt) cmp -s <(tr -d '\r' <"$f") "$work/linux/$name" ;;
      *) cmp -s "$f" "$work/linux/$name" ;;
    esac || { echo "differs: $name"; return 1; }
  done
}

# --- the object ----------------------------------------------------------------------------------
menu_test check "$dll" "$(win sample.jpg)" >"$work/check.out"
host_checks "$work/check.out"

# --- the menu ----------------------------------------------------------------------------------
tab=$'\t'
menu_test menu "$dll" "$(win sample.jpg)" >"$work/jpeg.menu"
cat >"$work/jpeg.expected" <<END
commands: 17
Lumeno >
  Preview images...${tab}#0${tab}preview${tab}Preview images...
  Run slide show...${tab}#1${tab}slideshow${tab}Run slide show...
  -
  Rename based on EXIF date${tab}#2${tab}rename${tab}Rename based on EXIF date
  Rotate JPEG +90${tab}#3${tab}rotateRight${tab}Rotate JPEG +90
  Rotate JPEG -90${tab}#4${tab}rotateLeft${tab}Rotate JPEG -90
  Export EXIF to text file${tab}#5${tab}exportExif${tab}Export EXIF to text file
  Export IPTC to text file${tab}#6${tab}exportIptc${tab}Export IPTC to text file
  Export XMP to text file${tab}#7${tab}exportXmp${tab}Export XMP to text file
  Synchronize with database${tab}#8${tab}synchronize${tab}Synchronize with database
  Create Lumeno slide show${tab}#9${tab}createSlideShowCD${tab}Create Lumeno slide show
  -
  Edit metadata...${tab}#10${tab}annotateAdd${tab}Edit the IPTC information of the selected pictures
  Remove metadata${tab}#11${tab}annotateRemove${tab}Remove the IPTC information from the selected pictures
  Cut metadata${tab}#12${tab}annotateCut${tab}Copy the picture's IPTC information and remove it from the picture
  Copy metadata${tab}#13${tab}annotateCopy${tab}Copy the picture's IPTC information
  Paste metadata [grey]${tab}#14${tab}annotatePaste${tab}Write the copied IPTC information into the selected pictures
  Create template...${tab}#15${tab}annotateCreateTemplate${tab}Keep the picture's IPTC information as a template
  Apply template > [grey]
  Remove template > [grey]
  -
  Options...${tab}#16${tab}options${tab}Change the settings of Lumeno
END
check "the menu of a JPEG: entries, verbs and help texts in ANSI and Unicode" \
  bash -c 'diff "$1" "$2" | head -n 20; cmp -s "$1" "$2"' _ "$work/jpeg.expected" "$work/jpeg.menu"
menu_test menu "$dll" "$(win sample.jpg)" "$(win sample.tif)" >"$work/both.menu"
check "with a TIFF selected the JPEG rotations are grey" grep -q '^  Rotate JPEG +90 \[grey\]' "$work/both.menu"
check "with two files selected copying one record is grey" grep -q '^  Copy metadata \[grey\]' "$work/both.menu"
check "renaming a JPEG and a TIFF applies" grep -q "^  Rename based on EXIF date$tab" "$work/both.menu"
wine reg add 'HKCU\Software\LumenoWorks\Lumeno\Shell' /v EnableAnnotateMenu /t REG_DWORD /d 0 /f >/dev/null 2>&1
menu_test menu "$dll" "$(win sample.jpg)" >"$work/plain.menu"
check "EnableAnnotateMenu 0 leaves the annotation entries out" \
  bash -c '! grep -q "metadata" "$1" && grep -q "Options" "$1"' _ "$work/plain.menu"
wine reg add 'HKCU\Software\LumenoWorks\Lumeno\Shell' /v EnableLumenoMenu /t REG_DWORD /d 0 /f >/dev/null 2>&1
check "with both parts off there is no menu" \
  bash -c '[ "$(cat "$1")" = "commands: 0" ]' _ <(menu_test menu "$dll" "$(win sample.jpg)")
wine reg delete 'HKCU\Software\LumenoWorks\Lumeno\Shell' /f >/dev/null 2>&1

# --- the commands, against the Linux tool's --------------------------------------------------------
cp "$work/files/"* "$work/linux/"
check "Rotate JPEG +90 by offset" [ "$(menu_test invoke "$dll" '#3' "$(win sample.jpg)")" = 0x00000000 ]
linux_too rotate cw sample.jpg
check "... turns the JPEG as 'lumeno rotate cw' does" same_files
check "Rotate JPEG -90 by Unicode verb" [ "$(menu_test invoke "$dll" 'W:rotateLeft' "$(win sample.jpg)")" = 0x00000000 ]
linux_too rotate ccw sample.jpg
check "... turns it back as 'lumeno rotate ccw' does" same_files
check "a grey entry is not run: rotating a TIFF" \
  [ "$(menu_test invoke "$dll" rotateRight "$(win sample.tif)")" = 0x80004005 ]
for kind in exif iptc xmp; do
  verb=export$(echo "${kind:0:1}" | tr a-z A-Z)${kind:1}
  check "$verb by ANSI verb" [ "$(menu_test invoke "$dll" "$verb" "$(win sample.jpg)" "$(win sample.tif)")" = 0x00000000 ]
  linux_too export "$kind" sample.jpg sample.tif
done
check "... the exports are the Linux tool's" same_files

store=$WINEPREFIX/drive_c/users/$(id -un)/AppData/Roaming/LumenoWorks/Lumeno
check "Synchronize with database" [ "$(menu_test invoke "$dll" synchronize "$(win sample.jpg)")" = 0x00000000 ]
check "... stores the picture's record" bash -c 'LC_ALL=C grep -q sample.jpg "$1/Gallery.GDB"' _ "$store"
check "... and no thumbnail" bash -c '! LC_ALL=C grep -q $'"'"'\xff\xd8\xff'"'"' "$1/Thumbnails.GDB"' _ "$store"
check "with Ctrl held" [ "$(menu_test invoke "$dll" '^synchronize' "$(win sample.jpg)")" = 0x00000000 ]
check "... the thumbnail too" bash -c 'LC_ALL=C grep -q $'"'"'\xff\xd8\xff'"'"' "$1/Thumbnails.GDB"' _ "$store"

# --- the annotation entries ------------------------------------------------------------------------
mkdir "$work/notes"
cp "$data/sample.jpg" "$work/notes/a.jpg"
cp "$data/sample.jpg" "$work/notes/b.jpg"
cp "$data/sample.jpg" "$work/notes/c.jpg"
exiftool -q -overwrite_original -IPTC:all= "$work/notes/b.jpg"
exiftool -q -overwrite_original -IPTC:all= -IPTC:Keywords=own "$work/notes/c.jpg"
note() { windows "$work/notes/$1"; }
record() { "$linux" iptc "$work/notes/$1" 2>&1; }
keywords() { exiftool -s -s -s -sep ', ' -IPTC:Keywords "$work/notes/$1"; }
original=$(record a.jpg)
check "Copy metadata of a picture without a record: nothing to copy" \
  [ "$(menu_test invoke "$dll" annotateCopy "$(note b.jpg)")" = 0x80004005 ]
check "Copy metadata" [ "$(menu_test invoke "$dll" annotateCopy "$(note a.jpg)")" = 0x00000000 ]
check "... then, in another process, Paste is offered" \
  bash -c 'grep -q "^  Paste metadata$(printf "\t")" <<<"$1"' _ "$(menu_test menu "$dll" "$(note b.jpg)")"
check "Paste metadata" [ "$(menu_test invoke "$dll" annotatePaste "$(note b.jpg)")" = 0x00000000 ]
check "... gives the picture the copied record" [ "$(record b.jpg)" = "$original" ]
check "Remove metadata" [ "$(menu_test invoke "$dll" annotateRemove "$(note b.jpg)")" = 0x00000000 ]
check "... leaves no record" [ -z "$(exiftool -s -s -s -IPTC:all "$work/notes/b.jpg")" ]
check "Cut metadata" [ "$(menu_test invoke "$dll" annotateCut "$(note a.jpg)")" = 0x00000000 ]
check "... takes the record away" [ -z "$(exiftool -s -s -s -IPTC:all "$work/notes/a.jpg")" ]
check "... and pasting puts it back elsewhere" \
  [ "$(menu_test invoke "$dll" annotatePaste "$(note b.jpg)")" = 0x00000000 ]
check "... whole" [ "$(record b.jpg)" = "$original" ]

check "Create template..., named in its dialog" \
  [ "$(menu_test invoke "$dll" annotateCreateTemplate --answer Holiday "$(note b.jpg)")" = 0x00000000 ]
check "... is a template the tool lists" \
  bash -c '[ "$(wine "$1" template list 2>/dev/null | tr -d "\r")" = Holiday ]' _ "$windir/lumeno.exe"
check "... and the menu offers" \
  bash -c 'grep -q "^    Holiday$(printf "\t")" <<<"$1"' _ "$(menu_test menu "$dll" "$(note c.jpg)")"
check "Apply template" [ "$(menu_test invoke "$dll" annotateApplyTemplate "$(note c.jpg)")" = 0x00000000 ]
check "... adds its keywords to the picture's own" [ "$(keywords c.jpg)" = "own, sunrise, lake" ]
check "... and sets its other fields" [ "$(exiftool -s -s -s -IPTC:City "$work/notes/c.jpg")" = Annecy ]
check "Remove template" [ "$(menu_test invoke "$dll" annotateRemoveTemplate "$(note c.jpg)")" = 0x00000000 ]
check "... leaves none" [ -z "$(wine "$windir/lumeno.exe" template list 2>/dev/null | tr -d '\r')" ]

check "Edit metadata..., the caption typed in the editor" \
  [ "$(menu_test invoke "$dll" annotateAdd --answer "Edited in the editor" "$(note c.jpg)")" = 0x00000000 ]
check "... is written" [ "$(exiftool -s -s -s -IPTC:Caption-Abstract "$work/notes/c.jpg")" = "Edited in the editor" ]

# --- the slide-show CD ----------------------------------------------------------------------------
mkdir "$work/cd"
convert -size 2000x1500 gradient:red-blue "$work/notes/big.jpg"
# The server alone in a folder: no viewer program beside it.
mkdir "$work/alone"
cp "$windir/lumeno.dll" "$work/alone/"
menu_test cd "$(windows "$work/alone/lumeno.dll")" "$(windows "$work/cd/out")" "$(note big.jpg)" "$(note a.jpg)" \
  >"$work/cd.out"
check "Create Lumeno slide show: a quality that is no number, \"Invalid Value!\"" \
  grep -qx "message: Invalid Value!" "$work/cd.out"
check "... and the field has the focus again" grep -qx "focus on the quality: yes" "$work/cd.out"
check "... then the PDF of the two pictures" bash -c 'pdfinfo "$1" | grep -qx "Pages: *2"' _ "$work/cd/out/Slideshow.pdf"
check "... each fitted into 320 x 240 (a small one kept as it is)" \
  bash -c '[ "$(pdfimages -list "$1" | awk "NR > 2 { print \$4 \"x\" \$5 }" | tr "\n" " ")" = "320x240 64x48 " ]' \
  _ "$work/cd/out/Slideshow.pdf"
check "... with no viewer installed, its box grey and clear" grep -qx "viewer: grey, clear" "$work/cd.out"
check "... the autorun.inf starts the PDF (ticked)" \
  bash -c '[ "$(cat "$1")" = "$(printf "[autorun]\r\nshellexecute=Slideshow.pdf\r\nlabel=Lumeno slide show\r")" ] &&
           [ ! -e "${1%/*}/LumenoViewer.exe" ]' _ "$work/cd/out/autorun.inf"
stored() { wine reg query 'HKCU\Software\LumenoWorks\Lumeno\SlideShow' 2>/dev/null | tr -d '\r' | grep -E '^ +[A-Za-z]' | sort; }
stored >"$work/cd.stored"
check "... the folder and the values changed remembered, no default written" \
  bash -c '[ "$(awk "{ print \$1 }" "$1" | tr "\n" " ")" = "AutorunPDF PDFImageHeight PDFImageQuality PDFImageWidth SlideshowFolder " ] ||
           { cat "$1"; false; }' _ "$work/cd.stored"
# The server beside a stand-in viewer program: the box can be ticked, and is (EnableLumeno).
mkdir "$work/app"
cp "$windir/lumeno.dll" "$work/app/"
printf 'MZ\0\r\n\x1a\n' >"$work/app/LumenoViewer.exe"
menu_test cd "$(windows "$work/app/lumeno.dll")" "$(windows "$work/cd/viewer")" "$(note big.jpg)" "$(note a.jpg)" \
  >"$work/cd-viewer.out"
check "With the viewer installed beside the server, its box ticked" grep -qx "viewer: enabled, ticked" "$work/cd-viewer.out"
check "... the viewer copied, the pictures listed in their order" \
  bash -c 'cmp -s "$1/LumenoViewer.exe" "$2/LumenoViewer.exe" &&
           [ "$(tr -d "\r" <"$1/Slideshow.lst" | tr "\n" " ")" = "Pictures/big.jpg Pictures/a.jpg " ] &&
           cmp -s "$1/Pictures/big.jpg" "$3"' _ "$work/cd/viewer" "$work/app" "$work/notes/big.jpg"
check "... the autorun.inf starts the viewer (unticked)" \
  bash -c '[ "$(cat "$1")" = "$(printf "[autorun]\r\nopen=LumenoViewer.exe\r\nicon=LumenoViewer.exe,0\r\nlabel=Lumeno slide show\r")" ]' \
  _ "$work/cd/viewer/autorun.inf"
check "... AutorunPDF remembered as turned off; EnableLumeno, unchanged, not written" \
  bash -c 'grep -qE "^ +AutorunPDF +REG_DWORD +0x0$" <<<"$1" && ! grep -q EnableLumeno <<<"$1"' _ "$(stored)"

check "Rename by verb, a JPEG and a TIFF" \
  [ "$(menu_test invoke "$dll" rename "$(win sample.jpg)" "$(win sample.tif)")" = 0x00000000 ]
linux_too rename sample.jpg sample.tif
check "... names them as 'lumeno rename' does" same_files

finish
