#!/usr/bin/env bash
# The preview and the slide show under Wine (viewer-test.exe): their classes' objects (one per
# process, aggregated, called as scripts call them), the preview opened from the context menu and
# pictured (the first picture at fit against a scaled decode, the filmstrip, next, zoom, turning
# and renaming the file, close),
# the slide show started through the registered class (its own thread, full screen, captions, the
# delay, pause), a script that starts it, and the slide-show class registered on its own.
# The pictures of the windows are kept in ARTIFACTS-DIR.
# Then the slide-show CD that the Linux tool writes with the Windows viewer program: the program
# started from the CD's folder shows the play list.
# Usage: viewer-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR ARTIFACTS-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
mkdir -p "$4" && artifacts=$(cd "$4" && pwd)
. "$(dirname "$0")/prefix.sh"

host=$windir/viewer-test.exe
dll=$(windows "$windir/lumeno.dll")
mkdir "$work/files" "$work/pictures"
win() { windows "$work/files/$1"; }
viewer_test() { wine "$host" "$@" 2>/dev/null | tr -d '\r'; }

# Three photos of 1600 x 1200 with smooth colours (none pure white or red, the captions' colours),
# a caption and a capture date each, made with ImageMagick and exiftool.
n=0
for colours in "navy-orange" "darkgreen-khaki" "purple-lightblue"; do
  n=$((n + 1))
  convert -size 1600x1200 "gradient:${colours}" -swirl 120 -quality 92 "$work/files/photo$n.jpg"
  exiftool -q -overwrite_original "-IPTC:Caption-Abstract=Lake number $n" \
    "-EXIF:DateTimeOriginal=2024:06:0$n 10:1$n:00" "$work/files/photo$n.jpg"
done
files=("$(win photo1.jpg)" "$(win photo2.jpg)" "$(win photo3.jpg)")

viewer_test check "$dll" "${files[@]}" >"$work/check.out"
host_checks "$work/check.out"

wine regsvr32 /s "$dll" >/dev/null 2>&1
# The preview turns and renames its first picture: copies of their own.
mkdir "$work/preview" && cp "$work/files/"*.jpg "$work/preview/"
viewer_test preview "$dll" "$(windows "$work/pictures")" "$(windows "$work/preview/photo1.jpg")" \
  "$(windows "$work/preview/photo2.jpg")" "$(windows "$work/preview/photo3.jpg")" >"$work/preview.out"
host_checks "$work/preview.out"
check "the preview's picture is kept" convert "$work/pictures/preview.bmp" "$artifacts/preview.png"

# The slide show moves on after a second here, and its controls hide after one.
wine reg add 'HKCU\Software\LumenoWorks\Lumeno\SlideShow' /v Delay /t REG_DWORD /d 1 /f >/dev/null 2>&1
viewer_test slideshow "$(windows "$work/pictures")" "${files[@]}" >"$work/slideshow.out"
host_checks "$work/slideshow.out"
check "the slide show's picture is kept" convert "$work/pictures/slideshow.bmp" "$artifacts/slideshow.png"

# A script starts it through the class, as the automation's users do (the sentinel line shows
# that the script ran to its end: a failing script stops silently).
cat >"$work/show.js" <<END
var show = new ActiveXObject("Lumeno.LumenoSlideShow");
show.AddFile("$(win photo1.jpg | sed 's/\\/\\\\/g')");
show.AddFile("$(win photo2.jpg | sed 's/\\/\\\\/g')");
show.Show();
WScript.Echo("pictures " + show.Count + ", window " + (show.Window != 0));
show.Close();
WScript.Echo("window after Close " + (show.Window != 0));
WScript.Echo("script done");
END
wine cscript //nologo "$(windows "$work/show.js")" >"$work/script.out" 2>&1
check "a script starts the slide show through the class" \
  bash -c 'diff <(tr -d "\r" <"$1") <(printf "pictures 2, window true\nwindow after Close false\nscript done\n")' _ "$work/script.out"

# Registered alone (DllRegisterSlideShowServer), the slide show is made, the preview is not.
wine regsvr32 /u /s "$dll" >/dev/null 2>&1
check "unregistered, neither class is made" \
  [ "$(viewer_test registered)" = "slide show: not registered, preview: not registered" ]
viewer_test register-slideshow "$dll" >/dev/null
check "DllRegisterSlideShowServer alone makes the slide show's class creatable" \
  [ "$(viewer_test registered)" = "slide show: made, preview: not registered" ]

# The CD: written by the Linux tool with the viewer program, photo3 first; the program run from
# the CD's folder shows the pictures in the play list's order.
"$linux" slideshow-cd --viewer "$windir/LumenoViewer.exe" --out "$work/cd" \
  "$work/files/photo3.jpg" "$work/files/photo1.jpg" >/dev/null 2>&1
check "the CD holds the viewer program and its autorun.inf starts it" \
  bash -c 'cmp -s "$1/LumenoViewer.exe" "$2" && grep -q "^open=LumenoViewer.exe" "$1/autorun.inf"' _ "$work/cd" "$windir/LumenoViewer.exe"
wine "$work/cd/LumenoViewer.exe" >/dev/null 2>&1 &
cd_viewer=$!
viewer_test cd-viewer "$(windows "$work/pictures")" photo3.jpg >"$work/cd.out"
host_checks "$work/cd.out"
wait "$cd_viewer"
check "the viewer program ends with its slide show" [ $? -eq 0 ]
check "the CD viewer's picture is kept" convert "$work/pictures/cd-viewer.bmp" "$artifacts/cd-viewer.png"

finish
