#!/usr/bin/env bash
# lumeno slideshow-cd: the PDF read back with poppler's pdfinfo and pdfimages (pages, their turn,
# the pictures' sizes and encoding), the settings as defaults, the options, pictures that
# cannot be read left out and named, and the viewer's CD (the program, the play list, the
# autorun.inf).
# Usage: slideshow-test.sh LUMENO DATA-DIR
set -u
lumeno=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") data=$(cd "$2" && pwd)
. "$(dirname "$0")/../support/checks.sh"
private_folders
cd "$tmp"

# Pictures: a landscape JPEG of 2000 x 1500, the same stored on its side (turned by EXIF
# orientation 6), the sample TIFF, and a file that is no picture.
convert -size 2000x1500 gradient:red-blue -quality 90 wide.jpg
cp wide.jpg side.jpg
exiftool -q -overwrite_original -n -Orientation=6 side.jpg
cp "$data/sample.tif" small.tif
printf 'not a picture' >notes.jpg
# images PDF: "WIDTHxHEIGHT ENCODING" per picture
images() { pdfimages -list "$1" | awk 'NR > 2 { print $4 "x" $5, $9 }'; }
export -f images

"$lumeno" slideshow-cd --out cd wide.jpg side.jpg small.tif >out.txt 2>err.txt
status=$?
check "three pictures, three pages" bash -c '[ "$1" -eq 0 ] && pdfinfo cd/Slideshow.pdf | grep -qx "Pages: *3"' _ "$status"
check "the tool says what it wrote" grep -qx "cd/Slideshow.pdf: 3 pages" out.txt
check "each fitted into 1024 x 768 (the default), upright, as JPEG" \
  bash -c '[ "$(images cd/Slideshow.pdf | tr "\n" ,)" = "1024x768 jpeg,576x768 jpeg,1x1 jpeg," ]'

"$lumeno" slideshow-cd --originals --out originals wide.jpg side.jpg small.tif >/dev/null 2>&1
check "--originals: the JPEGs placed as they are" \
  bash -c '[ "$(images originals/Slideshow.pdf | head -n 2 | tr "\n" ,)" = "2000x1500 jpeg,2000x1500 jpeg," ]'
check "... byte for byte" bash -c 'pdfimages -j -f 1 -l 1 originals/Slideshow.pdf first && cmp -s first-000.jpg wide.jpg'
check "... the one stored on its side on a page turned a quarter" \
  bash -c 'pdfinfo -f 2 -l 2 originals/Slideshow.pdf | grep -q "Page    2 rot: *90"'

"$lumeno" slideshow-cd --size 100x100 --quality 30 --out small wide.jpg >/dev/null 2>&1
check "--size 100x100 fits the picture into it" [ "$(images small/Slideshow.pdf)" = "100x75 jpeg" ]
check "--quality 30 makes it smaller than 90 does" \
  bash -c '"$1" slideshow-cd --size 100x100 --quality 90 --out fine wide.jpg >/dev/null 2>&1 &&
           [ "$(stat -c %s small/Slideshow.pdf)" -lt "$(stat -c %s fine/Slideshow.pdf)" ]' _ "$lumeno"

"$lumeno" settings set SlideShow PDFImageWidth 320 >/dev/null
"$lumeno" settings set SlideShow PDFImageHeight 320 >/dev/null
"$lumeno" slideshow-cd --out settings wide.jpg >/dev/null 2>&1
check "the settings give the defaults" [ "$(images settings/Slideshow.pdf)" = "320x240 jpeg" ]

"$lumeno" slideshow-cd --out mixed notes.jpg wide.jpg >/dev/null 2>err.txt
status=$?
check "a file that is no picture: exit 1" [ "$status" -eq 1 ]
check "... it is named" grep -q "^lumeno: notes.jpg: " err.txt
check "... and the others still make the slide show" bash -c 'pdfinfo mixed/Slideshow.pdf | grep -qx "Pages: *1"'

"$lumeno" slideshow-cd --no-pdf --out plain wide.jpg wide.jpg >/dev/null 2>&1
check "--no-pdf: the pictures copied, none over another" \
  bash -c '[ ! -e plain/Slideshow.pdf ] && cmp -s plain/Pictures/wide.jpg wide.jpg && cmp -s plain/Pictures/2-wide.jpg wide.jpg'

# A stand-in for the viewer program: bytes a text copy would change.
printf 'MZ\0\r\n\x1a\n\xff' >viewer.bin
"$lumeno" slideshow-cd --viewer viewer.bin --out viewer side.jpg wide.jpg >out.txt 2>&1
status=$?
check "--viewer: the program copied byte for byte" bash -c '[ "$1" -eq 0 ] && cmp -s viewer.bin viewer/LumenoViewer.exe' _ "$status"
check "... the pictures listed in their order, CR LF" \
  bash -c '[ "$(od -An -c viewer/Slideshow.lst | tr -s " \n" " ")" = "$(printf "Pictures/side.jpg\r\nPictures/wide.jpg\r\n" | od -An -c | tr -s " \n" " ")" ]'
check "... and copied beside the PDF" \
  bash -c 'cmp -s viewer/Pictures/side.jpg side.jpg && pdfinfo viewer/Slideshow.pdf | grep -qx "Pages: *2"'
check "... the autorun.inf starts the viewer" \
  bash -c '[ "$(cat viewer/autorun.inf)" = "$(printf "[autorun]\r\nopen=LumenoViewer.exe\r\nicon=LumenoViewer.exe,0\r\nlabel=Lumeno slide show\r")" ]'
check "... the tool names what it wrote" grep -qx "viewer/autorun.inf" out.txt
"$lumeno" slideshow-cd --viewer viewer.bin --autorun-pdf --out autorun wide.jpg >/dev/null 2>&1
check "--autorun-pdf: the autorun.inf starts the PDF" \
  bash -c '[ "$(cat autorun/autorun.inf)" = "$(printf "[autorun]\r\nshellexecute=Slideshow.pdf\r\nlabel=Lumeno slide show\r")" ] &&
           [ -e autorun/LumenoViewer.exe ]'
check "no PDF and no viewer: no autorun.inf" [ ! -e plain/autorun.inf ]
"$lumeno" slideshow-cd --viewer missing.exe --out bad wide.jpg >/dev/null 2>err.txt
status=$?
check "--viewer of a file that is not there: refused with exit 2, naming it" \
  bash -c '[ "$1" -eq 2 ] && grep -q "missing.exe" err.txt' _ "$status"

for bad in "--quality 0" "--quality 101" "--quality x" "--size 10x10" "--size 1024" "--bogus"; do
  # shellcheck disable=SC2086
  "$lumeno" slideshow-cd $bad --out bad wide.jpg >/dev/null 2>&1
  status=$?
  check "refused with exit 2: $bad" [ "$status" -eq 2 ]
done
"$lumeno" slideshow-cd wide.jpg >/dev/null 2>&1
status=$?
check "refused with exit 2: no --out" [ "$status" -eq 2 ]
check "nothing written for a refused command" [ ! -e bad ]

finish
