#!/usr/bin/env bash
# The Windows tool under Wine against the Linux one: every command that reads gives the same
# output, every command that writes leaves the same files, byte for byte. Both run in the folder
# of the files and name them relatively, so that no path differs; the Windows console's line
# ends are set aside.
# Usage: tool-test.sh WINDOWS-DIR LINUX-LUMENO DATA-DIR
set -u
windir=$(cd "$1" && pwd) linux=$(cd "$(dirname "$2")" && pwd)/$(basename "$2") data=$(cd "$3" && pwd)
. "$(dirname "$0")/prefix.sh"
exe=$windir/lumeno.exe

mkdir -p "$work/files"
cp "$data/sample.jpg" "$data/sample.tif" "$data"/camera/*.jpg "$data"/camera/*.tif "$work/files/"
printf 'not a picture' >"$work/files/junk.jpg"
cd "$work/files"
names=(*.jpg *.tif)

# run_both NAME ARGS...: the command in each build, its output and status in $work/NAME.{linux,windows}
run_both() {
  local name=$1; shift
  "$linux" "$@" >"$work/$name.linux" 2>&1
  echo "status $?" >>"$work/$name.linux"
  wine "$exe" "$@" >"$work/$name.windows.crlf" 2>&1
  echo "status $?" >>"$work/$name.windows.crlf"
  tr -d '\r' <"$work/$name.windows.crlf" >"$work/$name.windows"
}
same() { # same NAME: the two outputs agree (the difference shown when not)
  cmp -s "$work/$1.linux" "$work/$1.windows" || { diff "$work/$1.linux" "$work/$1.windows" | head -n 20; false; }
}
for command in show dump iptc xmp "dump --json" "columns --json" overlay; do
  run_both read $command "${names[@]}"
  check "lumeno $command prints the same on Windows ($(wc -l <"$work/read.linux") lines)" same read
done
run_both tip tip sample.jpg
check "lumeno tip prints the same on Windows" same tip
check "the Windows tool prints nothing but its answers (no Wine noise)" \
  bash -c '! grep -qi "wine\|fixme\|err:" "$1"' _ "$work/read.windows"
run_both missing show no-such-file.jpg
check "a missing file is told the same way" same missing
run_both usage annotate --set Nonsense=x sample.jpg
check "a usage error is told the same way, with the same status" same usage

# The writing commands, each on two copies of the same files, one for each build.
copies() { # copies FOLDER FILES...: fresh copies in $work/linux/FOLDER and $work/windows/FOLDER
  local folder=$1; shift
  rm -rf "$work/linux/$folder" "$work/windows/$folder"
  mkdir -p "$work/linux/$folder" "$work/windows/$folder"
  cp "$@" "$work/linux/$folder/"
  cp "$@" "$work/windows/$folder/"
}
write_both() { # write_both FOLDER ARGS...: the command in both copies of FOLDER
  local folder=$1; shift
  (cd "$work/linux/$folder" && "$linux" "$@" >"$work/write.linux" 2>&1; echo "status $?" >>"$work/write.linux")
  (cd "$work/windows/$folder" && wine "$exe" "$@" >"$work/write.windows.crlf" 2>&1
   echo "status $?" >>"$work/write.windows.crlf")
  tr -d '\r' <"$work/write.windows.crlf" >"$work/write.windows"
}
same_files() { # same_files FOLDER: the same names with the same bytes
  diff -r "$work/linux/$1" "$work/windows/$1" >/dev/null || { diff -rq "$work/linux/$1" "$work/windows/$1" | head; false; }
}

# A new XMP packet gets a random document id: both builds edit the same annotated files, whose
# packets have theirs already.
copies annotate "${names[@]}"
(cd "$work/linux/annotate" && "$linux" annotate --add Keyword=first "${names[@]}" >/dev/null 2>&1)
rm -rf "$work/windows/annotate" && cp -r "$work/linux/annotate" "$work/windows/annotate"
write_both annotate annotate --backup --set "Caption=Über den See, 2024" --add Keyword=zweites \
  --set "City=Lausanne" --remove "Country Name" "${names[@]}"
check "lumeno annotate prints the same on Windows" same write
check "lumeno annotate writes the same bytes on Windows, backups included" same_files annotate
check "the annotation was made at all" grep -qx "$(printf 'Caption\tÜber den See, 2024')" \
  <("$linux" iptc "$work/windows/annotate/sample.jpg")

copies rename "${names[@]}"
write_both rename rename "${names[@]}"
check "lumeno rename prints the same on Windows" same write
check "lumeno rename gives the same names on Windows" same_files rename
check "the files were renamed at all" [ -z "$(ls "$work/windows/rename" | grep -x sample.jpg)" ]

for turn in cw ccw 180; do
  copies "rotate-$turn" sample.jpg Canon.jpg Nikon.jpg junk.jpg
  write_both "rotate-$turn" rotate "$turn" --backup sample.jpg Canon.jpg Nikon.jpg junk.jpg
  check "lumeno rotate $turn prints the same on Windows" same write
  check "lumeno rotate $turn writes the same bytes on Windows" same_files "rotate-$turn"
done
check "the pictures were turned at all" bash -c '! cmp -s "$1" "$2"' _ "$data/sample.jpg" "$work/windows/rotate-cw/sample.jpg"

# The exports are text files, whose lines end the platform's way: CR LF on Windows.
crlf_lines() { # crlf_lines FOLDER: every line of every export in it ends in CR LF
  ! grep -l "$(printf '[^\r]$')" "$1"/*.txt "$1"/*.xmp 2>/dev/null | grep -q .
}
as_lf() { # as_lf FOLDER: the exports of FOLDER with LF line ends, in FOLDER.lf
  rm -rf "$1.lf"; cp -r "$1" "$1.lf"
  for f in "$1.lf"/*.txt "$1.lf"/*.xmp; do [ -e "$f" ] && sed -i 's/\r$//' "$f"; done
}
for kind in exif iptc xmp all; do
  copies "export-$kind" "${names[@]}"
  write_both "export-$kind" export "$kind" "${names[@]}"
  check "lumeno export $kind prints the same on Windows" same write
  check "lumeno export $kind writes CR LF line ends on Windows" crlf_lines "$work/windows/export-$kind"
  as_lf "$work/windows/export-$kind"
  check "lumeno export $kind writes the same text on Windows" \
    diff -r "$work/linux/export-$kind" "$work/windows/export-$kind.lf"
done
check "the export wrote files at all" [ -s "$work/windows/export-all/sample.exif.txt" ]

# Names beyond the ANSI code page (Greek, Japanese) and a gallery store in such a folder: the
# tool takes its arguments and opens its files by their wide names.
unicode_names=("Été à Ωμέγα 東京.jpg" "Ωμέγα.tif")
rm -rf "$work/linux/names" "$work/windows/names"
mkdir -p "$work/linux/names"
cp "$data/sample.jpg" "$work/linux/names/${unicode_names[0]}"
cp "$data/sample.tif" "$work/linux/names/${unicode_names[1]}"
(cd "$work/linux/names" && "$linux" annotate --add Keyword=first "${unicode_names[@]}" >/dev/null 2>&1)
cp -r "$work/linux/names" "$work/windows/names"
write_both names show "${unicode_names[@]}"
check "lumeno show reads files of any name on Windows" same write
check "lumeno show on Windows printed the names" grep -q "Ωμέγα 東京" "$work/write.windows"
write_both names annotate --set "Caption=Τίτλος" "${unicode_names[@]}"
write_both names rotate cw --backup "${unicode_names[0]}"
check "lumeno rotate turns a file of any name on Windows, as on Linux" same_files names
write_both names export all "${unicode_names[@]}"
as_lf "$work/windows/names"
check "lumeno export writes beside a file of any name on Windows" diff -r "$work/linux/names" "$work/windows/names.lf"
store=$(windows "$work/windows/names/Galerías Ωμέγα")
(cd "$work/windows/names" && wine "$exe" --store "$store" gallery create Ταξίδι >/dev/null 2>&1 &&
  wine "$exe" --store "$store" gallery add Ταξίδι "${unicode_names[0]}" >/dev/null 2>&1 &&
  wine "$exe" --store "$store" gallery list Ταξίδι >"$work/gallery.crlf" 2>&1 &&
  wine "$exe" --store "$store" gallery export Ταξίδι "$(windows "$work/windows/names/Σελίδα")" >/dev/null 2>&1)
check "a gallery store in a folder of any name works on Windows" grep -q "Ωμέγα 東京" "$work/gallery.crlf"
check "a gallery is exported into a folder of any name, thumbnails made by the system's image component" \
  bash -c 'ls "$1"/*.jpg "$1"/*.xml >/dev/null && [ "$(ls "$1"/*.jpg | wc -l)" -ge 1 ]' _ "$work/windows/names/Σελίδα"

# Thumbnails come from the system's image component on Windows, ImageMagick on Linux: the pixels
# differ, but not the pages' files nor the pictures' sizes, turned by our own reading of the
# orientation (the component under Wine reads none).
mkdir -p "$work/thumbs"
cp "$data/sample.jpg" "$work/thumbs/"
cp "$data/camera/GPS.jpg" "$work/thumbs/turned.jpg"
exiftool -q -overwrite_original -Orientation#=6 "$work/thumbs/turned.jpg"
(cd "$work/thumbs" &&
  "$linux" --store linux-store gallery create G >/dev/null 2>&1 &&
  "$linux" --store linux-store gallery add G -j 3 sample.jpg turned.jpg >/dev/null 2>&1 &&
  "$linux" --store linux-store gallery export G linux-page >/dev/null 2>&1
  wine "$exe" --store windows-store gallery create G >/dev/null 2>&1 &&
  wine "$exe" --store windows-store gallery add G -j 3 sample.jpg turned.jpg >/dev/null 2>&1 &&
  wine "$exe" --store windows-store gallery export G windows-page >/dev/null 2>&1)
# (Windows' file names are case-insensitive: the page's files of two spellings are one there.)
sizes() { (cd "$1" && ls | tr "A-Z" "a-z" | LC_ALL=C sort -u && exiftool -q -s3 -ImageSize __thumb*.jpg) >"$1.sizes" 2>&1; }
sizes "$work/thumbs/linux-page"
sizes "$work/thumbs/windows-page"
check "a gallery page exported on Windows has the same files and thumbnail sizes" \
  diff "$work/thumbs/linux-page.sizes" "$work/thumbs/windows-page.sizes"
check "the turned picture's thumbnail is upright on Windows" [ "$(exiftool -s3 -ImageSize "$work/thumbs/windows-page/__thumb0002.jpg")" = "80x120" ]

finish
