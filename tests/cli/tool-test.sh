#!/usr/bin/env bash
# End-to-end checks of the lumeno tool: the bundled samples, every command, errors and usage,
# broken files, and agreement with exiftool (and libtiff) on what it reads and writes.
# Usage: tool-test.sh LUMENO MAKE-BASE-TIFF DATA-DIR
set -u
lumeno=$1 maker=$2 data=$3
. "$(dirname "$0")/../support/checks.sh"
private_folders
camera=$data/camera   # real camera files (see its README)

# --- The bundled sample --------------------------------------------------------------------
out=$("$lumeno" dump "$data/sample.tif"); rc=$?
has() { grep -qxF -- "$1" <<<"$out"; }
check "sample exits 0" [ "$rc" -eq 0 ]
for l in "Make: Acme" "Orientation: Bottom, Right" "ExposureTime: 1/60 second(s)" "FNumber: 4" \
         "DateTimeOriginal: 2024:05:06 07:08:09" "XResolution: 300 pixels/inch" "ExposureBiasValue: -0.68 EV" \
         "InteroperabilityIdentification: R98"; do
  check "sample shows '$l'" has "$l"
done
check "sample shows no ImageWidth line" bash -c '! grep -q "^ImageWidth" <<<"$1"' _ "$out"
headers=$(grep -- '^-----------' <<<"$out" | tr '\n' '|')
check "directories in order IFD0, EXIF, interoperability" \
  [ "$headers" = "----------- IFD0 -----------|----------- EXIF IFD -----------|----------- INTEROPERABILITY IFD -----------|" ]

# --- JPEG: show, iptc, xmp -----------------------------------------------------------------
out=$("$lumeno" show "$data/sample.jpg"); rc=$?
check "show exits 0" [ "$rc" -eq 0 ]
for l in "Format: JPEG" "=== EXIF ===" "=== IPTC ===" "=== XMP ===" "Make: Acme" "ExposureTime: 1/250 second(s)" \
         "Caption: Sunrise over the lake" "Keyword: sunrise" "dc:subject: sunrise; lake" "dc:title: Morning light"; do
  check "show gives '$l'" has "$l"
done
out=$("$lumeno" iptc "$data/sample.jpg")
check "iptc lists datasets in stored order" [ "$(cut -f1 <<<"$out" | tr '\n' '|')" = \
  "Object Name|Keyword|Keyword|Date Created|Time Created|By-line|City|Country Name|Caption|" ]
check "iptc separates name and text by a tab" has "$(printf 'Caption\tSunrise over the lake')"
check "xmp prints the packet" bash -c '"$1" xmp "$2" | grep -q "<dc:description>"' _ "$lumeno" "$data/sample.jpg"
out=$("$lumeno" dump "$data/sample.jpg")
check "dump reads JPEG files" has "DateTimeOriginal: 2024:05:06 07:08:09"

# --- annotate ----------------------------------------------------------------------------------
cp "$data/sample.jpg" "$tmp/a.jpg"
"$lumeno" annotate --backup --set "Caption=A new caption" --add "Keyword=added" --remove City "$tmp/a.jpg"
check "annotate exits 0" [ $? -eq 0 ]
check "the original is kept as a numbered backup" cmp -s "$data/sample.jpg" "$tmp/Lumeno.00.a.jpg"
tag() { exiftool -s3 "$@" "$tmp/a.jpg"; }
check "exiftool reads the new caption" [ "$(tag -IPTC:Caption-Abstract)" = "A new caption" ]
check "exiftool reads the keywords" [ "$(tag -IPTC:Keywords)" = "sunrise, lake, added" ]
check "exiftool reads the XMP description" [ "$(tag -XMP:Description)" = "A new caption" ]
check "exiftool reads the XMP subject" [ "$(tag -XMP:Subject)" = "sunrise, lake, added" ]
check "the removed city is gone from IPTC and XMP" [ -z "$(tag -IPTC:City)$(tag -XMP:City)" ]
check "the packet has a document id" grep -q '^lumenoworks:docid:lumeno:' <<<"$(tag -XMP:DocumentID)"
check "exiftool finds nothing wrong" [ "$(exiftool -s3 -validate "$tmp/a.jpg")" = "OK" ]
# From the quantisation table on, the file is byte for byte what it was.
from() { LC_ALL=C grep -obUaP '\xff\xdb' "$1" | head -n 1 | cut -d: -f1; }
check "image data and tables unchanged" cmp -s <(tail -c +"$(($(from "$data/sample.jpg") + 1))" "$data/sample.jpg") \
  <(tail -c +"$(($(from "$tmp/a.jpg") + 1))" "$tmp/a.jpg")
cp "$data/sample.jpg" "$tmp/b.jpg"
"$lumeno" annotate --set "Caption=$(printf 'x%.0s' {1..2001})" "$tmp/b.jpg" 2>"$tmp/err"
check "an over-long caption is refused" [ $? -eq 1 ]
check "the refusal names the dataset and its limit" grep -qF "Caption: 2001 bytes is longer than its limit of 2000 bytes" "$tmp/err"
check "a refused file is left as it was" cmp -s "$data/sample.jpg" "$tmp/b.jpg"
"$lumeno" annotate --remove-iptc --clear-xmp "$tmp/b.jpg"
check "IPTC and XMP can both be removed" [ -z "$("$lumeno" iptc "$tmp/b.jpg")$("$lumeno" xmp "$tmp/b.jpg")" ]
"$lumeno" annotate --set "Nonsense=x" "$tmp/b.jpg" 2>/dev/null
check "an unknown dataset is a usage error" [ $? -eq 2 ]

cp "$data/sample.tif" "$tmp/t.tif"
"$lumeno" annotate --set "Caption=TIFF caption" --add Keyword=k1 "$tmp/t.tif"
check "annotate rewrites a TIFF" [ $? -eq 0 ]
check "our reader reads the rewritten TIFF" bash -c '"$1" iptc "$2" | grep -q "^Keyword	k1$"' _ "$lumeno" "$tmp/t.tif"
check "libtiff reads the rewritten TIFF" tiffinfo "$tmp/t.tif" >/dev/null 2>&1
check "exiftool reads the TIFF's caption" [ "$(exiftool -s3 -IPTC:Caption-Abstract "$tmp/t.tif")" = "TIFF caption" ]
check "exiftool reads the TIFF's EXIF" [ "$(exiftool -s3 -EXIF:ExposureTime "$tmp/t.tif")" = "1/60" ]
# A maker's note in a TIFF (Canon's, copied in by exiftool) reads the same after a rewrite.
cp "$data/sample.tif" "$tmp/note.tif"
exiftool -q -overwrite_original -tagsfromfile "$data/camera/Canon.jpg" -makernotes -make -model "$tmp/note.tif"
note() { "$lumeno" dump "$tmp/note.tif" | sed -n '/MAKERNOTE IFD/,$p'; }
before=$(note)
"$lumeno" annotate --set "Caption=With a note" "$tmp/note.tif"
check "the maker's note of a TIFF is decoded" grep -q "^SerialNumber: 560018150$" <<<"$before"
check "the maker's note of a TIFF reads the same after a rewrite" [ "$(note)" = "$before" ]

# --- the summary ---------------------------------------------------------------------------------
# IPTC and XMP disagree; the IPTC digest says which is current (made by exiftool: no digest, a
# digest of the record as it is, a digest of an older record).
cp "$data/sample.jpg" "$tmp/d.jpg"
exiftool -q -overwrite_original -XMP-dc:Description=from-xmp -IPTC:Caption-Abstract=from-iptc "$tmp/d.jpg"
cp "$tmp/d.jpg" "$tmp/current.jpg"; cp "$tmp/d.jpg" "$tmp/stale.jpg"
exiftool -q -overwrite_original -IPTCDigest=new "$tmp/current.jpg"
exiftool -q -overwrite_original -IPTCDigest=0123456789abcdef0123456789abcdef "$tmp/stale.jpg"
summary() { "$lumeno" show "$1" | sed -n '/^=== Summary ===$/,/^$/p'; }
check "the summary comes first" bash -c '"$1" show "$2" | sed -n 4p | grep -qx "=== Summary ==="' _ "$lumeno" "$tmp/d.jpg"
check "without a digest XMP is taken" grep -qx "Description: from-xmp" <<<"$(summary "$tmp/d.jpg")"
check "with a current digest XMP is taken" grep -qx "Description: from-xmp" <<<"$(summary "$tmp/current.jpg")"
check "with a stale digest IPTC is taken" grep -qx "Description: from-iptc" <<<"$(summary "$tmp/stale.jpg")"

# --- settings ---------------------------------------------------------------------------------
check "gamma defaults to 1.2" [ "$("$lumeno" settings get Display Gamma)" = "1.2" ]
check "a new user's list is all defaults" [ "$("$lumeno" settings list | grep -vc '(default)$')" = "0" ]
"$lumeno" settings set Display Gamma 1.5
check "gamma is stored in hundredths and read back" [ "$("$lumeno" settings get Display Gamma)" = "1.5" ]
check "the key file holds it" grep -qx "Gamma=dword:150" "$XDG_CONFIG_HOME/LumenoWorks/Lumeno.conf"
check "a set value is listed as set" bash -c '"$1" settings list | grep -q "^Display *Gamma *1.5$"' _ "$lumeno"
"$lumeno" settings set General ThumbnailCacheSize many 2>"$tmp/err"
check "a number that is not one is refused" [ $? -eq 2 ]
check "the refusal says why" grep -qF "'many' is not a number" "$tmp/err"
"$lumeno" settings get General Colour 2>/dev/null
check "an unknown setting is refused" [ $? -eq 2 ]

# --- templates -------------------------------------------------------------------------------
conf=$XDG_CONFIG_HOME/LumenoWorks/Lumeno.conf
out=$("$lumeno" template list); rc=$?
check "a new user has no templates" [ "$rc" -eq 0 ] && [ -z "$out" ]
cp "$data/sample.jpg" "$tmp/src.jpg"
"$lumeno" annotate --remove Caption --remove "Object Name" --set City=Nice --add "Supplemental Category=Travel" \
  --remove Keyword --add Keyword=Sea --add Keyword=sand "$tmp/src.jpg"
"$lumeno" template create Beach --from "$tmp/src.jpg"
check "a template is made from a file" [ $? -eq 0 ]
check "the key file holds it as one binary value" grep -q '^Beach=hex:1c02' "$conf"
check "the key file's section is Annotation\\Templates" grep -qxF '[Annotation\Templates]' "$conf"
"$lumeno" template create alps --from "$data/sample.jpg"
check "templates are listed sorted, letter case aside" [ "$("$lumeno" template list | tr '\n' '|')" = "alps|Beach|" ]
check "show prints the datasets as iptc does" [ "$("$lumeno" template show BEACH)" = "$("$lumeno" iptc "$tmp/src.jpg")" ]
cp "$data/sample.jpg" "$tmp/tpl.jpg"
"$lumeno" annotate --remove Keyword --add Keyword=SEA --add Keyword=lake --set City=Paris "$tmp/tpl.jpg"
"$lumeno" annotate --template beach --set Headline=After "$tmp/tpl.jpg"
check "annotate --template exits 0" [ $? -eq 0 ]
tpl() { exiftool -s3 "$@" "$tmp/tpl.jpg"; }
check "keywords are added, none twice (letter case aside)" [ "$(tpl -IPTC:Keywords)" = "SEA, lake, sand" ]
check "supplemental categories are added" [ "$(tpl -IPTC:SupplementalCategories)" = "Travel" ]
check "the template's other datasets replace the file's" [ "$(tpl -IPTC:City)" = "Nice" ]
check "what the template lacks is left alone" [ "$(tpl -IPTC:Caption-Abstract)" = "Sunrise over the lake" ]
check "edits after the template apply too" [ "$(tpl -IPTC:Headline)" = "After" ]
check "the XMP follows the template" [ "$(tpl -XMP:Subject)|$(tpl -XMP:City)" = "SEA, lake, sand|Nice" ]
before=$("$lumeno" iptc "$tmp/tpl.jpg")
"$lumeno" annotate --template Beach "$tmp/tpl.jpg"
check "a template applied again changes nothing" [ "$("$lumeno" iptc "$tmp/tpl.jpg")" = "$before" ]
"$lumeno" annotate --template Beach --set City=Lyon "$tmp/tpl.jpg"
check "edits apply in the order given (template, then --set)" [ "$(tpl -IPTC:City)" = "Lyon" ]
"$lumeno" annotate --set City=Lyon --template Beach "$tmp/tpl.jpg"
check "edits apply in the order given (--set, then template)" [ "$(tpl -IPTC:City)" = "Nice" ]
cp "$tmp/tpl.jpg" "$tmp/tpl-before.jpg"
"$lumeno" annotate --template Nope "$tmp/tpl.jpg" 2>"$tmp/err"
check "an unknown template is a usage error" [ $? -eq 2 ]
check "the refusal names it" grep -qF "there is no template 'Nope'" "$tmp/err"
check "the file is left as it was" cmp -s "$tmp/tpl.jpg" "$tmp/tpl-before.jpg"
"$lumeno" annotate --remove-iptc --template Beach "$tmp/tpl.jpg" 2>/dev/null
check "--template cannot be combined with --remove-iptc" [ $? -eq 2 ]
"$lumeno" template show Nope 2>/dev/null
check "show of an unknown template is a usage error" [ $? -eq 2 ]
"$lumeno" template remove Nope 2>/dev/null
check "remove of an unknown template is a usage error" [ $? -eq 2 ]
"$lumeno" template create 'a\b' --from "$tmp/src.jpg" 2>"$tmp/err"
check "a name with a backslash is refused" [ $? -eq 2 ]
check "the refusal says why" grep -qF "must not hold '\'" "$tmp/err"
"$lumeno" template create "$(printf 'n%.0s' {1..65})" --from "$tmp/src.jpg" 2>/dev/null
check "a name of 65 characters is refused" [ $? -eq 2 ]
"$lumeno" template create Missing --from "$tmp/nothing.jpg" 2>/dev/null
check "a template from a missing file is a failure" [ $? -eq 1 ]
cp "$data/sample.jpg" "$tmp/bare.jpg"; "$lumeno" annotate --remove-iptc "$tmp/bare.jpg"
"$lumeno" template create Bare --from "$tmp/bare.jpg" 2>"$tmp/err"
check "a template from a file without IPTC is a failure" [ $? -eq 1 ]
check "the failure says so" grep -qF "has no IPTC datasets" "$tmp/err"
"$lumeno" template create BEACH --from "$data/sample.jpg"
check "a name in other letters replaces the template" [ "$("$lumeno" template list | tr '\n' '|')" = "alps|BEACH|" ]
# A value damaged by hand is refused, and no file is touched.
sed -i 's/^alps=hex:\(.\{20\}\).*/alps=hex:\1/' "$conf"
"$lumeno" template show alps 2>"$tmp/err"
check "a damaged template is a failure" [ $? -eq 1 ]
check "the failure says it is damaged" grep -qF "the template 'alps' is damaged" "$tmp/err"
"$lumeno" annotate --template alps "$tmp/tpl.jpg" 2>/dev/null
check "a damaged template is never applied" [ $? -eq 1 ] && cmp -s "$tmp/tpl.jpg" "$tmp/tpl-before.jpg"
"$lumeno" template remove ALPS
check "a template is removed" [ $? -eq 0 ] && [ "$("$lumeno" template list)" = "BEACH" ]
"$lumeno" template create X "$tmp/src.jpg" 2>/dev/null
check "create without --from is a usage error" [ $? -eq 2 ]
"$lumeno" template 2>/dev/null
check "template without a verb is a usage error" [ $? -eq 2 ]
check "template --help explains the layout" bash -c '"$1" template --help | grep -qF "Annotation\\Templates"' _ "$lumeno"
check "the tool's help lists template" bash -c '"$1" --help | grep -q "^  template list"' _ "$lumeno"

# --- rename ------------------------------------------------------------------------------------
mkdir "$tmp/ren"
cp "$data/sample.jpg" "$tmp/ren/IMG_1.JPG"; cp "$data/sample.jpg" "$tmp/ren/IMG_2.jpg"; cp "$data/sample.jpg" "$tmp/ren/x.jpeg"
printf 'junk' >"$tmp/ren/junk.jpg"
"$lumeno" rename "$tmp/ren/IMG_1.JPG" "$tmp/ren/IMG_2.jpg" "$tmp/ren/junk.jpg"
check "rename exits 0" [ $? -eq 0 ]
check "names run on across the files" [ "$(ls "$tmp/ren" | tr '\n' ' ')" = "20240506-070809-00.JPG 20240506-070809-01.jpg junk.jpg x.jpeg " ]
"$lumeno" rename "$tmp/ren/x.jpeg"
check "a new run starts at 00" [ -f "$tmp/ren/20240506-070809-00.jpeg" ]
cp "$data/sample.jpg" "$tmp/ren/y.JPG"
"$lumeno" rename "$tmp/ren/y.JPG" 2>"$tmp/err"
check "a taken name is a failure" [ $? -eq 1 ]
check "the taken name is reported" grep -qF "y.JPG: cannot rename to 20240506-070809-00.JPG: a file of that name exists" "$tmp/err"
check "the file keeps its name" [ -f "$tmp/ren/y.JPG" ]

# --- many files at once ------------------------------------------------------------------------
# Files read side by side still come out in the order given: the dump, the JSON, the failures in
# their place, the rename counter. Twelve copies of two files and a broken one, in a mixed order.
mkdir "$tmp/many"
for i in 01 02 03 04 05 06 07 08 09 10 11 12; do
  if [ $((10#$i % 2)) -eq 0 ]; then cp "$data/sample.jpg" "$tmp/many/p$i.jpg"; else cp "$data/sample.tif" "$tmp/many/p$i.tif"; fi
done
printf 'junk' >"$tmp/many/p07.tif"
many=$(ls "$tmp/many"/p* | sort -r)
for command in "dump" "dump --json" "show" "show --json --numeric" "columns --json"; do
  "$lumeno" $command -j 1 $many >"$tmp/one.out" 2>"$tmp/one.err"; one=$?
  "$lumeno" $command -j 3 $many >"$tmp/three.out" 2>"$tmp/three.err"; three=$?
  check "$command: -j 3 writes what -j 1 does, in the same order" cmp -s "$tmp/one.out" "$tmp/three.out"
  check "$command: the same messages, in the same order" cmp -s "$tmp/one.err" "$tmp/three.err"
  check "$command: the same exit status" [ "$one" = "$three" ]
done
check "the JSON of several jobs is one valid array" perl -MJSON::PP -e 'local $/; my $a = decode_json(<STDIN>); exit(@$a == 12 ? 0 : 1)' <"$tmp/three.out"
"$lumeno" dump -j 0 "$tmp/many/p01.tif" 2>"$tmp/err"
check "-j 0 is a usage error" [ $? -eq 2 ]
check "the refusal says what -j takes" grep -qF "from 1 to 256" "$tmp/err"
# Six pictures taken in the same second, renamed by two jobs: the counter follows the arguments.
# Each carries its number after the end of its picture, to tell them apart.
mkdir "$tmp/ren2"
for i in 6 5 4 3 2 1; do { cat "$data/sample.jpg"; printf '%s' "$i"; } >"$tmp/ren2/in$i.jpg"; done
"$lumeno" rename -j 2 "$tmp/ren2/in6.jpg" "$tmp/ren2/in5.jpg" "$tmp/ren2/in4.jpg" "$tmp/ren2/in3.jpg" \
  "$tmp/ren2/in2.jpg" "$tmp/ren2/in1.jpg"
for pair in "in6 00" "in5 01" "in4 02" "in3 03" "in2 04" "in1 05"; do
  set -- $pair
  check "rename -j 2: $1 is counted $2 as given" [ "$(tail -c 1 "$tmp/ren2/20240506-070809-$2.jpg")" = "${1#in}" ]
done
check "rename -j 2: every file renamed" [ "$(ls "$tmp/ren2" | grep -c '^20240506-070809-')" = 6 ]
# Ctrl-C in the middle of a long sync by two jobs: it stops after the files begun, says so, exits
# 130, and leaves the store sound. 40,000 names of one picture make the run long enough.
mkdir "$tmp/long"
perl -e 'link($ARGV[0], sprintf("%s/%05d.jpg", $ARGV[1], $_)) or die $! for 1 .. 40000' "$data/sample.jpg" "$tmp/long"
(cd "$tmp/long" && exec "$lumeno" --store "$tmp/long-store" gallery sync --thumbnails -j 2 ?????.jpg) 2>"$tmp/err" &
sleep 1
kill -INT $! 2>/dev/null
wait $!; rc=$?
check "Ctrl-C: the run stops with status 130" [ "$rc" = 130 ]
check "Ctrl-C: it says how far it came" grep -qE "^lumeno: stopped after [0-9]+ of 40000 files$" "$tmp/err"
check "Ctrl-C: the store is sound" "$lumeno" --store "$tmp/long-store" gallery check
rm -rf "$tmp/long" "$tmp/long-store"

# --- rotate ------------------------------------------------------------------------------------
awk 'BEGIN { w = 100; h = 75; printf "P6\n%d %d\n255\n", w, h;
             for (y = 0; y < h; y++) for (x = 0; x < w; x++) printf "%c%c%c", (x * 7 + y) % 256, y * 3, (x * y) % 256 }' \
  >"$tmp/p.ppm"
cjpeg -sample 2x2 -outfile "$tmp/r.jpg" "$tmp/p.ppm"
exiftool -q -overwrite_original -EXIF:Make=Acme -IPTC:Keywords=k -XMP-dc:Title=t "$tmp/r.jpg" 2>/dev/null
for turn in "cw 90 64x100" "ccw 270 75x96" "180 180 96x64"; do
  set -- $turn
  cp "$tmp/r.jpg" "$tmp/r-$1.jpg"
  "$lumeno" rotate "$1" --no-backup "$tmp/r-$1.jpg"
  jpegtran -rotate "$2" -trim -copy all "$tmp/r.jpg" >"$tmp/j-$1.jpg"
  check "rotate $1 gives what jpegtran -trim gives" cmp -s <(djpeg "$tmp/r-$1.jpg") <(djpeg "$tmp/j-$1.jpg")
  check "rotate $1 gives $3" [ "$(djpeg "$tmp/r-$1.jpg" | head -c 20 | sed -n 2p | tr ' ' x)" = "$3" ]
  check "rotate $1 keeps EXIF, IPTC and XMP" [ "$(exiftool -s3 -Make -Keywords -Title "$tmp/r-$1.jpg" | tr '\n' ' ')" = "Acme k t " ]
done
cp "$tmp/r.jpg" "$tmp/b.jpg"
for i in 1 2 3; do "$lumeno" rotate cw --backup "$tmp/b.jpg"; done
check "three turns leave three numbered backups" [ -f "$tmp/Lumeno.00.b.jpg" ] && [ -f "$tmp/Lumeno.02.b.jpg" ]
check "the first backup is the original" cmp -s "$tmp/r.jpg" "$tmp/Lumeno.00.b.jpg"
head -c 700 "$tmp/r.jpg" >"$tmp/cut.jpg"; cp "$tmp/cut.jpg" "$tmp/cut0.jpg"
"$lumeno" rotate cw "$tmp/cut.jpg" 2>"$tmp/err"
check "a truncated JPEG is a failure" [ $? -eq 1 ]
check "a truncated JPEG is left as it was" cmp -s "$tmp/cut.jpg" "$tmp/cut0.jpg"
check "the reason is given" grep -qF "cut.jpg: cannot turn the picture:" "$tmp/err"

# A file far larger than a JPEG of its picture's size is refused before it is read.
cp "$tmp/r.jpg" "$tmp/huge.jpg"; head -c 60000000 /dev/zero >>"$tmp/huge.jpg"; cp "$tmp/huge.jpg" "$tmp/huge0.jpg"
"$lumeno" rotate cw --no-backup "$tmp/huge.jpg" 2>"$tmp/err"
check "a huge file named like a photo is refused" [ $? -eq 1 ] && grep -qF "far more than a JPEG of 100 x 75 pixels holds" "$tmp/err"
check "and left as it was" cmp -s "$tmp/huge.jpg" "$tmp/huge0.jpg"
rm -f "$tmp/huge.jpg" "$tmp/huge0.jpg"
# Paths that are no photo: a folder named like one, a FIFO, nothing at all.
mkdir "$tmp/odd"; mkdir "$tmp/odd/d.jpg"; mkfifo "$tmp/odd/f.jpg"; cp "$tmp/r.jpg" "$tmp/odd/x.jpg"
timeout 20 "$lumeno" rotate cw --no-backup "$tmp/odd/d.jpg" "$tmp/odd/f.jpg" "$tmp/odd/x.jpg" 2>"$tmp/err"
check "rotate goes past a folder and a FIFO" [ $? -eq 1 ] && [ "$(djpeg "$tmp/odd/x.jpg" | head -c 20 | sed -n 2p | tr ' ' x)" = "64x100" ]
check "and says what they are" grep -qxF "lumeno: $tmp/odd/d.jpg: Is a directory" "$tmp/err" &&
  grep -qxF "lumeno: $tmp/odd/f.jpg: not a regular file (a FIFO)" "$tmp/err"
for command in rename columns tip overlay "gallery sync" "export all" "annotate --add Keyword=k"; do
  timeout 20 "$lumeno" $command "$tmp/odd/missing.jpg" >/dev/null 2>"$tmp/err"; rc=$?
  check "$command of a missing file exits 1" [ "$rc" -eq 1 ]
  check "$command says the file is missing" grep -qxF "lumeno: $tmp/odd/missing.jpg: No such file or directory" "$tmp/err"
  timeout 20 "$lumeno" $command "$tmp/odd/f.jpg" >/dev/null 2>"$tmp/err"; rc=$?
  check "$command of a FIFO neither hangs nor passes" [ "$rc" -eq 1 ]
done
rm -rf "$tmp/odd"

# --- Edits keep what they did not mean to change ---------------------------------------------------
cp "$data/sample.jpg" "$tmp/when.jpg"
"$lumeno" annotate --set "Date Created=20240506" --set "Time Created=070809+0200" "$tmp/when.jpg"
"$lumeno" annotate --set "Time Created=250000+0000" "$tmp/when.jpg" 2>"$tmp/err"
check "an hour of 25 is refused" [ $? -eq 1 ]
check "the refusal says what is wrong" grep -qF "Time Created: '250000+0000' is not a valid time (HHMMSS+HHMM)" "$tmp/err"
check "the XMP date is kept" [ "$(exiftool -s3 -XMP:DateCreated "$tmp/when.jpg")" = "2024:05:06 07:08:09+02:00" ]
cp "$data/sample.jpg" "$tmp/long.jpg"   # other programs write captions longer than IPTC allows
exiftool -q -m -overwrite_original -IPTC:Caption-Abstract="$(printf 'y%.0s' {1..3000})" "$tmp/long.jpg"
check "a long caption is shown" [ "$("$lumeno" iptc "$tmp/long.jpg" 2>/dev/null | sed -n 's/^Caption\t//p' | wc -c)" -eq 3001 ]
check "with a warning" grep -qF "warning: Caption: 3000 bytes is longer than its limit of 2000 bytes" <("$lumeno" iptc "$tmp/long.jpg" 2>&1 >/dev/null)
"$lumeno" annotate --set City=Oslo "$tmp/long.jpg" 2>/dev/null
check "an unrelated edit keeps it" [ "$(exiftool -s3 -IPTC:Caption-Abstract "$tmp/long.jpg" | wc -c)" -eq 3001 ]
cp "$camera/IPTC.jpg" "$tmp/digest.jpg"   # its IPTC digest is stale already
"$lumeno" annotate --set "Caption=Digest made anew" "$tmp/digest.jpg"
check "the IPTC digest is made anew" [ "$(exiftool -s3 -IPTCDigest "$tmp/digest.jpg")" = "$(exiftool -s3 -CurrentIPTCDigest "$tmp/digest.jpg")" ]
check "exiftool does not take the IPTC for stale" bash -c '! exiftool -s3 -warning "$1" | grep -q IPTCDigest' _ "$tmp/digest.jpg"
for rows in 75 32; do   # one strip, and several
  ppm2tiff -c none -r "$rows" "$tmp/p.ppm" "$tmp/strips.tif"
  cp "$tmp/strips.tif" "$tmp/strips0.tif"
  "$lumeno" annotate --set "Caption=Strips" "$tmp/strips.tif"
  check "a TIFF of $rows rows per strip keeps its strips" \
    [ "$(tiffdump "$tmp/strips.tif" | grep -E '^(StripOffsets|RowsPerStrip|StripByteCounts) ')" = \
      "$(tiffdump "$tmp/strips0.tif" | grep -E '^(StripOffsets|RowsPerStrip|StripByteCounts) ')" ]
  check "a TIFF of $rows rows per strip keeps its pixels" tiffcmp "$tmp/strips0.tif" "$tmp/strips.tif"
  check "the TIFF's IPTC is written as LONGs" grep -q "^33723 (0x83bb) LONG (4)" <(tiffdump "$tmp/strips.tif")
  check "exiftool finds the TIFF's IPTC standard" bash -c '! exiftool -validate -warning -a "$1" | grep -q "Non-standard"' _ "$tmp/strips.tif"
  check "the TIFF's caption reads back" [ "$(exiftool -s3 -IPTC:Caption-Abstract "$tmp/strips.tif")" = "Strips" ]
done

mkdir "$tmp/links"; cp "$data/sample.jpg" "$tmp/links/photo.jpg"; cp "$tmp/r.jpg" "$tmp/links/turn.jpg"
ln -s photo.jpg "$tmp/links/photo-link.jpg"; ln -s turn.jpg "$tmp/links/turn-link.jpg"
touch -d "2001-02-03 04:05:06" "$tmp/links/photo.jpg" "$tmp/links/turn.jpg"
chmod 640 "$tmp/links/photo.jpg"
[ "$(id -u)" -eq 0 ] && chown 4242:4343 "$tmp/links/photo.jpg" "$tmp/links/turn.jpg"
"$lumeno" annotate --keep-time --set "Caption=Through a link" "$tmp/links/photo-link.jpg"
"$lumeno" rotate cw --no-backup --keep-time "$tmp/links/turn-link.jpg"
for f in photo turn; do
  check "$f: the link stays a link" [ -L "$tmp/links/$f-link.jpg" ]
  check "$f: --keep-time keeps the modification time" [ "$(stat -c %Y "$tmp/links/$f.jpg")" = "$(date -d '2001-02-03 04:05:06' +%s)" ]
  [ "$(id -u)" -eq 0 ] && check "$f: the owner and group are kept" [ "$(stat -c %u:%g "$tmp/links/$f.jpg")" = "4242:4343" ]
done
check "the link's file was annotated" [ "$(exiftool -s3 -IPTC:Caption-Abstract "$tmp/links/photo.jpg")" = "Through a link" ]
check "the link's file was turned" [ "$(djpeg "$tmp/links/turn.jpg" | head -c 20 | sed -n 2p | tr ' ' x)" = "64x100" ]
check "the mode is kept" [ "$(stat -c %a "$tmp/links/photo.jpg")" = "640" ]
check "nothing else is left in the folder" [ "$(ls -A "$tmp/links" | tr '\n' ' ')" = "photo-link.jpg photo.jpg turn-link.jpg turn.jpg " ]
"$lumeno" annotate --set "Caption=x" "$tmp/links/photo.jpg"
check "without --keep-time the time is the time of writing" [ "$(stat -c %Y "$tmp/links/photo.jpg")" -gt 1000000000 ] &&
  [ "$(stat -c %Y "$tmp/links/photo.jpg")" != "$(date -d '2001-02-03 04:05:06' +%s)" ]
ln "$tmp/links/photo.jpg" "$tmp/links/hard.jpg"; cp "$tmp/links/photo.jpg" "$tmp/hard0.jpg"
"$lumeno" annotate --backup --set "Caption=y" "$tmp/links/photo.jpg" 2>"$tmp/err"
check "a hard-linked file is refused" [ $? -eq 1 ]
check "the refusal says why" grep -qF "photo.jpg: the file has 2 hard links" "$tmp/err"
check "both names keep the old contents" cmp -s "$tmp/links/hard.jpg" "$tmp/hard0.jpg"
check "no backup is left of a refused file" [ ! -e "$tmp/links/Lumeno.00.photo.jpg" ]
"$lumeno" rotate cw --no-backup "$tmp/links/hard.jpg" 2>"$tmp/err"
check "rotation refuses it too" [ $? -eq 1 ] && grep -qF "hard links" "$tmp/err"

# --- export ------------------------------------------------------------------------------------
mkdir "$tmp/ex"; cp "$data/sample.jpg" "$tmp/ex/a.b.jpg"; cp "$data/sample.tif" "$tmp/ex/scan.tif"
"$lumeno" export all "$tmp/ex/a.b.jpg" "$tmp/ex/scan.tif"
check "export exits 0" [ $? -eq 0 ]
check "export writes the three files, and only what each file has" \
  [ "$(ls "$tmp/ex" | tr '\n' ' ')" = "a.b.exif.txt a.b.iptc.txt a.b.jpg a.b.xmp scan.exif.txt scan.tif " ]
check "the EXIF export starts with the IFD line" [ "$(head -n 1 "$tmp/ex/a.b.exif.txt")" = "IFD: Primary Image" ]
check "the EXIF export has NAME<TAB>VALUE lines" grep -qxF "$(printf 'ExposureTime\t1/250 second(s)')" "$tmp/ex/a.b.exif.txt"
check "the IPTC export matches lumeno iptc" cmp -s "$tmp/ex/a.b.iptc.txt" <("$lumeno" iptc "$tmp/ex/a.b.jpg")
check "the XMP export is the packet" cmp -s "$tmp/ex/a.b.xmp" <("$lumeno" xmp "$tmp/ex/a.b.jpg")
"$lumeno" annotate --remove-iptc --clear-xmp "$tmp/ex/a.b.jpg" && "$lumeno" export all "$tmp/ex/a.b.jpg"
check "an export of what the picture no longer has is removed" \
  [ "$(ls "$tmp/ex" | tr '\n' ' ')" = "a.b.exif.txt a.b.jpg scan.exif.txt scan.tif " ]

# --- columns, tip, overlay ---------------------------------------------------------------------
cp "$data/sample.jpg" "$tmp/copy.png" # metadata in a file the file manager's objects do not serve
cjpeg -outfile "$tmp/plain.jpg" "$tmp/p.ppm" 2>/dev/null || printf '\377\330\377\331' >"$tmp/plain.jpg"
out=$("$lumeno" columns "$data/sample.jpg")
check "columns shows a table with a header" grep -q "^File  *DateTimeOriginal  *PixelXDimension" <<<"$out"
check "columns shows the values" grep -q "1/250 second(s)  *28/5  *400  *Morning light" <<<"$out"
out=$("$lumeno" columns --json "$data/sample.jpg" "$tmp/copy.png")
check "columns --json keeps empty texts" grep -qF '"Copyright Notice": ""' <<<"$out"
check "columns --json leaves out unanswered columns" bash -c '! grep -qF "\"ImageWidth\"" <<<"$1"' _ "$out"
check "columns --json gives other files no values" grep -qF '"values": {}}' <<<"$out"
check "an unknown column title is refused" bash -c '! "$1" columns --columns Nonsense "$2" 2>/dev/null' _ "$lumeno" "$data/sample.jpg"
check "the tip starts with the IPTC title" [ "$("$lumeno" tip "$data/sample.jpg" | head -n 1)" = "Morning light" ]
check "the tip has the exposure lines" grep -qxF "$(printf 'Lens focal length:\t35 mm')" <("$lumeno" tip "$data/sample.jpg")
check "a picture without metadata has no tip" [ -f "$tmp/plain.jpg" ] && [ -z "$("$lumeno" tip "$tmp/plain.jpg")" ]
check "overlays name the combination" [ "$("$lumeno" overlay "$data/sample.jpg" "$data/sample.tif" "$tmp/copy.png" "$tmp/plain.jpg")" = \
  "$(printf '%s\tLumeno EXIF & XMP & IPTC\n%s\tLumeno EXIF\n%s\tnone\n%s\tnone' "$data/sample.jpg" "$data/sample.tif" "$tmp/copy.png" "$tmp/plain.jpg")" ]
"$lumeno" settings set Shell EnableExifColumns 0
check "with EXIF columns off, Title is column 0" grep -qF '"values": {"Title": "Morning light"' <("$lumeno" columns --json "$data/sample.jpg")
"$lumeno" settings set Shell EnableExifColumns 1
check "columns --json gives the columns chosen" grep -qF '"values": {"FNumber": "28/5", "Title": "Morning light"}}' \
  <("$lumeno" columns --json --columns Title,FNumber "$data/sample.jpg")
"$lumeno" settings set Shell EnableIconOverlays 0
check "with overlays off, no file has one" [ "$("$lumeno" overlay "$data/sample.jpg")" = "$(printf '%s\tnone' "$data/sample.jpg")" ]
"$lumeno" settings set Shell EnableIconOverlays 1

# --- Broken files never crash the tool -----------------------------------------------------------
size=$(stat -c %s "$data/sample.jpg")
crashed=0
for ((n = 0; n < size; n += 97)); do
  head -c "$n" "$data/sample.jpg" >"$tmp/cut.jpg"
  "$lumeno" show "$tmp/cut.jpg" >/dev/null 2>&1; [ $? -le 1 ] || crashed=$((crashed + 1))
done
RANDOM=42
for ((round = 0; round < 60; round++)); do
  cp "$data/sample.jpg" "$tmp/bad.jpg"
  for ((k = 0; k < 6; k++)); do
    printf "\\x$(printf %02x $((RANDOM % 256)))" | dd of="$tmp/bad.jpg" bs=1 seek=$((RANDOM % size)) conv=notrunc status=none
  done
  "$lumeno" show "$tmp/bad.jpg" >/dev/null 2>&1; [ $? -le 1 ] || crashed=$((crashed + 1))
  "$lumeno" annotate --add Keyword=x "$tmp/bad.jpg" >/dev/null 2>&1; [ $? -le 1 ] || crashed=$((crashed + 1))
done
check "no broken file crashed the tool" [ "$crashed" -eq 0 ]

# --- One bad entry costs that entry, not the file ---------------------------------------------
patch() { perl "$(dirname "$0")/../support/patch-entry.pl" "$@"; }
cp "$camera/GPS.jpg" "$tmp/nodesc.jpg"; patch "$tmp/nodesc.jpg" 0x010e 0           # ImageDescription, count 0
cp "$camera/GPS.jpg" "$tmp/nogps.jpg"; patch "$tmp/nogps.jpg" 0x8825 0             # the GPS pointer, count 0
cp "$camera/GPS.jpg" "$tmp/long.jpg"; patch "$tmp/long.jpg" 0x010e 5000            # longer than the segment
cp "$camera/GPS.jpg" "$tmp/far.jpg"; patch "$tmp/far.jpg" 0x010e 20 0x7fff0000     # lies past its end
cp "$camera/Casio2.jpg" "$tmp/casio.jpg"                                           # a real 0/0 rational
for case in "nodesc Zero-length Field" "nogps Zero-length Field" "long Field value larger than the file" \
            "far Field value past the end of the data" "casio bad rational: zero denominator"; do
  set -- $case; f=$tmp/$1.jpg; shift; warning="$*"
  for command in show dump; do
    "$lumeno" "$command" "$f" >"$tmp/out" 2>"$tmp/err"; rc=$?
    check "$command $(basename "$f") exits 0" [ "$rc" -eq 0 ]
    check "$command $(basename "$f") warns '$warning'" [ "$(cat "$tmp/err")" = "lumeno: $f: warning: $warning" ]
    check "$command $(basename "$f") shows the rest" grep -qE "^Make: (FUJIFILM|CASIO COMPUTER CO.,LTD)" "$tmp/out"
  done
  check "$(basename "$f"): the EXIF directory is read" grep -q "^DateTimeOriginal: " <("$lumeno" dump "$f" 2>/dev/null)
  check "$(basename "$f"): columns show what was read" \
    grep -qE "(FUJIFILM|CASIO)" <("$lumeno" columns --columns Make "$f" 2>/dev/null)
  check "$(basename "$f"): the tip shows what was read" grep -q "^Lens focal length:" <("$lumeno" tip "$f" 2>/dev/null)
  check "$(basename "$f"): the overlay counts its EXIF" grep -q "Lumeno EXIF" <("$lumeno" overlay "$f" 2>/dev/null)
done
check "an empty description is shown empty" grep -qx "ImageDescription: " <("$lumeno" dump "$tmp/nodesc.jpg" 2>/dev/null)
check "the 0/0 rational is shown as stored" grep -qx "Tag 0xa404 (rational_t, 1): 0/0" <("$lumeno" dump "$tmp/casio.jpg" 2>/dev/null)
check "dump --json names the broken entry" grep -qF '"Text": "Zero-length Field",' <("$lumeno" dump --json "$tmp/nodesc.jpg" 2>/dev/null)
check "dump --json is valid JSON" bash -c '"$1" dump --json "$2" "$3" 2>/dev/null | perl -MJSON::PP -e "local \$/; decode_json(<STDIN>)"' \
  _ "$lumeno" "$tmp/nodesc.jpg" "$camera/Canon.jpg"

# --- Failures and usage ----------------------------------------------------------------------
printf 'not an image at all' >"$tmp/text.tif"
printf '\211PNG\r\n\032\n\000\000\000\rIHDR' >"$tmp/picture.png"
# A little-endian TIFF whose first directory claims 101 entries.
printf 'II*\000\010\000\000\000\145\000' >"$tmp/hostile.tif"
err=$("$lumeno" dump "$tmp/missing.tif" "$tmp/text.tif" "$tmp/picture.png" "$tmp/hostile.tif" "$data/sample.tif" 2>&1 >"$tmp/out"); rc=$?
check "failed files give exit status 1" [ "$rc" -eq 1 ]
check "missing file reported" grep -qxF "lumeno: $tmp/missing.tif: No such file or directory" <<<"$err"
mkfifo "$tmp/pipe.jpg"
for command in show dump iptc xmp; do
  timeout 10 "$lumeno" "$command" "$tmp" "$tmp/pipe.jpg" >/dev/null 2>"$tmp/err"; rc=$?
  check "$command of a folder and a FIFO ends with status 1" [ "$rc" -eq 1 ]
  check "$command says a folder is one" grep -qxF "lumeno: $tmp: Is a directory" "$tmp/err"
  check "$command says a FIFO is not a regular file" grep -qxF "lumeno: $tmp/pipe.jpg: not a regular file (a FIFO)" "$tmp/err"
done
rm "$tmp/pipe.jpg"
check "other format reported" grep -qxF "lumeno: $tmp/text.tif: Unsupported file format" <<<"$err"
check "a PNG is reported" grep -qxF "lumeno: $tmp/picture.png: Unsupported file format" <<<"$err"
check "a broken directory costs itself, with a warning" grep -qxF "lumeno: $tmp/hostile.tif: warning: Invalid IFD" <<<"$err"
check "the good file is still shown" grep -qxF "Make: Acme" "$tmp/out"
check "each file of several is named" grep -qxF "==> $data/sample.tif <==" "$tmp/out"
"$lumeno" --help >"$tmp/help"; check "--help exits 0" [ $? -eq 0 ]
check "--help names dump" grep -q "dump FILE" "$tmp/help"
"$lumeno" dump --help >"$tmp/help"; check "dump --help exits 0" [ $? -eq 0 ]
check "dump --help explains usage" grep -q "Usage: lumeno dump \[--json\] \[-j N\] FILE" "$tmp/help"
"$lumeno" >/dev/null 2>&1; check "no command exits 2" [ $? -eq 2 ]
"$lumeno" dump >/dev/null 2>&1; check "dump without files exits 2" [ $? -eq 2 ]
"$lumeno" frobnicate >/dev/null 2>&1; check "unknown command exits 2" [ $? -eq 2 ]

# --- Agreement with exiftool -----------------------------------------------------------------
for order in II MM JPEG; do
  if [ "$order" = JPEG ]; then
    f=$tmp/camera.jpg
    cp "$data/sample.jpg" "$f"
    exiftool -q -overwrite_original -EXIF:all= "$f"
  else
    f=$tmp/camera-$order.tif
    "$maker" "$f" "$order"
  fi
  exiftool -q -overwrite_original -Make="NIKON CORPORATION" -Model="NIKON D90" -Software="Ver.1.00" \
    -Orientation#=6 -XResolution=300 -YResolution=300 -ResolutionUnit=inches \
    -ModifyDate="2023:08:19 14:02:11" -DateTimeOriginal="2023:08:19 14:02:11" \
    -ExposureTime=1/250 -FNumber=5.6 -ExposureProgram#=2 -ISO=400 \
    -ShutterSpeedValue=1/250 -ApertureValue=5.6 -ExposureCompensation=-1/3 -MaxApertureValue=3.6 \
    -BrightnessValue=7.15 -SubjectDistance=1.5 -MeteringMode#=5 -LightSource#=0 -EXIF:Flash#=1 \
    -FocalLength=18.7 -FocalPlaneXResolution=2000 -ExifImageWidth=4288 -ExifImageHeight=2848 \
    -EXIF:Copyright="(c) Nobody" "$f"
  ours=$("$lumeno" dump "$f")
  # compare LABEL EXIFTOOL-TAG KIND [TOLERANCE]; KIND: text, or num (leading number, or a/b).
  compare() {
    local label=$1 tag=$2 kind=$3 tol=${4:-0}
    local mine theirs
    mine=$(sed -n "s/^$label: //p" <<<"$ours" | head -n 1)
    theirs=$(exiftool -n -s3 "-$tag" "$f")
    if [ "$kind" = text ]; then
      check "$order $label: '$mine' = exiftool '$theirs'" [ "$mine" = "$theirs" ]
    else
      check "$order $label: '$mine' ~ exiftool '$theirs'" awk -v m="$mine" -v t="$theirs" 'BEGIN { exit (m == "" || t == "") }'
      check "$order $label: '$mine' ~ exiftool '$theirs'" awk -v m="$mine" -v t="$theirs" -v tol="$tol" 'BEGIN {
        sub(/^F/, "", m); split(m, w, " "); n = split(w[1], q, "/"); v = (n == 2) ? q[1] / q[2] : q[1] + 0;
        d = v - t; if (d < 0) d = -d; exit !(d <= tol + 1e-9 * (t < 0 ? -t : t)) }'
    fi
  }
  compare Make Make text
  compare Model Model text
  compare Software Software text
  compare DateTime ModifyDate text
  compare DateTimeOriginal DateTimeOriginal text
  compare XResolution XResolution num
  compare ExposureTime ExposureTime num
  compare FNumber FNumber num
  compare ISOSpeedRatings ISO num
  compare ShutterSpeedValue ShutterSpeedValue num 0.00005
  compare ApertureValue ApertureValue num 0.005
  compare MaxApertureValue MaxApertureValue num 0.005
  compare ExposureBiasValue ExposureCompensation num 0.01
  compare BrightnessValue BrightnessValue num 0.01
  compare SubjectDistance SubjectDistance num 0.005
  compare FocalLength FocalLength num 0.05
  compare FocalPlaneXResolution FocalPlaneXResolution num
  compare PixelXDimension ExifImageWidth num
  compare PixelYDimension ExifImageHeight num
  check "$order orientation 6 shown" grep -qxF "Orientation: Right, Top" <<<"$ours"
  check "$order flash 1 shown" grep -qxF "Flash: Yes" <<<"$ours"
  check "$order metering 5 shown" grep -qxF "MeteringMode: Pattern" <<<"$ours"
done

finish
