#!/usr/bin/env bash
# "My Galleries" under Wine, reached from the desktop folder as the file manager reaches it
# (namespace-test.exe): the galleries, keywords and pictures of a store made by the Windows tool,
# their names, attributes and columns, the order CompareIDs gives per column, a gallery renamed
# through SetNameOf and seen so by the tool, and the answers to damaged identifiers.
# The system's view over the folder is pictured into ARTIFACTS-DIR.
# Usage: namespace-test.sh WINDOWS-DIR DATA-DIR ARTIFACTS-DIR
set -u
windir=$(cd "$1" && pwd) data=$(cd "$2" && pwd)
mkdir -p "$3" && artifacts=$(cd "$3" && pwd)
. "$(dirname "$0")/prefix.sh"

host=$windir/namespace-test.exe
dll=$(windows "$windir/lumeno.dll")
tool() { wine "$windir/lumeno.exe" "$@" 2>/dev/null | tr -d '\r'; }
namespace_test() { wine "$host" "$@" 2>/dev/null | tr -d '\r'; }
win() { windows "$work/files/$1"; }

# Three photos: a copy of the sample each, with a title, keywords and a date of their own
# (exiftool), in galleries made by the Windows tool.
mkdir "$work/files"
i=0
for spec in "a.jpg|Dawn|Sunrise|2004:02:26 06:27:51" "b.jpg|Noon|Lake|2003:01:01 12:00:00" \
            "c.jpg|Dusk|Lake|2005:07:14 21:05:03"; do
  IFS='|' read -r name title keyword date <<<"$spec"
  cp "$data/sample.jpg" "$work/files/$name"
  exiftool -q -overwrite_original -IPTC:Keywords= -XMP:Subject= "-IPTC:Keywords=$keyword" "-XMP:Subject=$keyword" \
    "-IPTC:ObjectName=$title" "-XMP:Title=$title" "-AllDates=$date" -IPTC:DateCreated= -IPTC:TimeCreated= \
    -XMP:DateCreated= "$work/files/$name"
  i=$((i + 1))
done
tool gallery create Holidays >/dev/null
tool gallery create 'Holidays/Lakes' >/dev/null
tool gallery add 'Holidays/Lakes' "$(win a.jpg)" "$(win b.jpg)" >/dev/null
tool gallery add Holidays "$(win c.jpg)" >/dev/null
wine regsvr32 /s "$dll" >/dev/null 2>&1

tab=$'\t'
clsid='::{89434BB7-16EA-4562-8372-5AD47F18F97B}'
files=$(win '')
same() { # same WHAT EXPECTED-FILE ACTUAL-FILE
  check "$1" bash -c 'diff "$1" "$2" | head -n 20; cmp -s "$1" "$2"' _ "$2" "$3"
}
namespace_test list "" >"$work/top.out"
cat >"$work/top.expected" <<END
columns: Name Date taken Title Keywords Camera Size Path
Holidays [FRD-] $clsid\Holidays |  |  |  |  |  | 
Keywords [F---] $clsid\Keywords |  |  |  |  |  | 
END
same "the top: the galleries, then Keywords; folders, a gallery renamed and dropped on" "$work/top.expected" "$work/top.out"
namespace_test list 'Holidays' >"$work/holidays.out"
cat >"$work/holidays.expected" <<END
columns: Name Date taken Title Keywords Camera Size Path
Lakes [FRD-] $clsid\Holidays\Lakes |  |  |  |  |  | 
c.jpg [---C] ${files}c.jpg | 2005-07-14 21:05:03 | Dusk | Lake | Acme Roadrunner 7 | 5 KB | ${files}c.jpg
END
same "a gallery: its sub-galleries, then its pictures with every column" "$work/holidays.expected" "$work/holidays.out"
namespace_test list 'Keywords\lake' >"$work/lake.out"
cat >"$work/lake.expected" <<END
columns: Name Date taken Title Keywords Camera Size Path
b.jpg [---C] ${files}b.jpg | 2003-01-01 12:00:00 | Noon | Lake | Acme Roadrunner 7 | 5 KB | ${files}b.jpg
c.jpg [---C] ${files}c.jpg | 2005-07-14 21:05:03 | Dusk | Lake | Acme Roadrunner 7 | 5 KB | ${files}c.jpg
END
same "a keyword (named in any letter case) holds the pictures that carry it" "$work/lake.expected" "$work/lake.out"
check "the Keywords folder holds each keyword once" \
  bash -c '[ "$(wine "$1" list Keywords 2>/dev/null | tr -d "\r" | sed -n "2,\$ s/ .*//p" | tr "\n" " ")" = "Lake Sunrise " ]' _ "$host"

# The order CompareIDs gives, by name, date taken and title, in a gallery and in a keyword.
check "sorted by name" [ "$(namespace_test sort 'Holidays\Lakes' 0 | tr '\n' ' ')" = "a.jpg b.jpg " ]
check "sorted by date taken" [ "$(namespace_test sort 'Holidays\Lakes' 1 | tr '\n' ' ')" = "b.jpg a.jpg " ]
check "sorted by title, folders first" [ "$(namespace_test sort 'Holidays' 2 | tr '\n' ' ')" = "Lakes c.jpg " ]
check "sorted by date under a keyword" [ "$(namespace_test sort 'Keywords\Lake' 1 | tr '\n' ' ')" = "b.jpg c.jpg " ]

# The system's own view over the folder (SHCreateShellFolderView through CreateViewObject), in a
# browser of the test host's: the list holds the pictures, named and with every column, in the
# order CompareIDs gives by name; the window is pictured for the README.
namespace_test view 'Holidays\Lakes' "$(windows "$artifacts/galleries.bmp")" >"$work/view.out"
cat >"$work/view.expected" <<END
view: 0x00000000
window: 0x00000000
callback: 0x00000000
columns: Name|Date taken|Title|Keywords|Camera|Size|Path
row: a.jpg|2004-02-26 06:27:51|Dawn|Sunrise|Acme Roadrunner 7|5 KB|${files}a.jpg
row: b.jpg|2003-01-01 12:00:00|Noon|Lake|Acme Roadrunner 7|5 KB|${files}b.jpg
picture: drawn
END
same "the system's view lists the folder's pictures with their columns" "$work/view.expected" "$work/view.out"
check "the view's picture is kept" convert "$artifacts/galleries.bmp" "$artifacts/galleries.png"
check "a view closed as it opened leaves the columns' settings alone" \
  [ -z "$(tool settings get Namespace ColumnOrder)$(tool settings get Namespace VisibleColumns)" ]
# The user moves Size first and hides Title and Keywords in the view: remembered when it closes.
check "the columns left in a view" [ "$(namespace_test view 'Holidays\Lakes' - 'Size;Name;Date taken;Camera;Path' | grep '^left:')" = \
  "left: Size|Name|Date taken|Camera|Path" ]
check "... are remembered in their order, the hidden ones after" \
  [ "$(tool settings get Namespace ColumnOrder)" = "Size; Name; Date taken; Camera; Path; Title; Keywords" ]
check "... those shown as visible" [ "$(tool settings get Namespace VisibleColumns)" = "Size; Name; Date taken; Camera; Path" ]
check "... and the folder offers them so" \
  [ "$(namespace_test list 'Holidays\Lakes' | head -n 1)" = "columns: Size Name Date taken Camera Path Title(hidden) Keywords(hidden)" ]
wine reg delete 'HKCU\Software\LumenoWorks\Lumeno\Namespace' /f >/dev/null 2>&1

# The columns the user chose, in the order left (Namespace settings), the others hidden.
tool settings set Namespace ColumnOrder 'Date taken; Name' >/dev/null
tool settings set Namespace VisibleColumns 'Name; Date taken; Size' >/dev/null
check "the columns in the stored order, those not chosen hidden" \
  [ "$(namespace_test list 'Holidays\Lakes' | head -n 1)" = "columns: Date taken Name Title(hidden) Keywords(hidden) Camera(hidden) Size Path(hidden)" ]
check "... and sorting follows the columns' order" [ "$(namespace_test sort 'Holidays\Lakes' 0 | tr '\n' ' ')" = "b.jpg a.jpg " ]
wine reg delete 'HKCU\Software\LumenoWorks\Lumeno\Namespace' /f >/dev/null 2>&1

namespace_test check >"$work/check.out"
host_checks "$work/check.out"

# Drag and drop: files dropped on a gallery are added to it; pictures dragged from one gallery to
# another move (with Ctrl: are copied); dragged out, they are the files.
cp "$data/sample.jpg" "$work/files/d.jpg"
tool gallery create Family >/dev/null
check "files dropped on a gallery are added to it" \
  [ "$(namespace_test drop Family - "$(win d.jpg)" "$(win c.jpg)")" = "copy copied 0x00000000" ]
check "... as the tool lists them" \
  bash -c '[ "$(wine "$1" gallery list Family 2>/dev/null | tr -d "\r" | sed "s/.*\\\\//" | tr "\n" " ")" = "d.jpg c.jpg " ]' _ "$windir/lumeno.exe"
check "a picture dragged to another gallery moves" \
  [ "$(namespace_test drop 'Holidays\Lakes' Family d.jpg)" = "move moved 0x00000000" ]
check "... out of the one and into the other" \
  bash -c '[ "$(wine "$1" gallery list Family 2>/dev/null | tr -d "\r" | sed "s/.*\\\\//" | tr "\n" " ")" = "c.jpg " ] &&
           wine "$1" gallery list Holidays/Lakes 2>/dev/null | tr -d "\r" | grep -q "d.jpg$"' _ "$windir/lumeno.exe"
check "with Ctrl it is copied" [ "$(namespace_test drop Family ctrl 'Holidays\Lakes' a.jpg)" = "copy copied 0x00000000" ]
check "... and stays where it was" \
  bash -c 'wine "$1" gallery list Holidays/Lakes 2>/dev/null | tr -d "\r" | grep -q "a.jpg$" &&
           wine "$1" gallery list Family 2>/dev/null | tr -d "\r" | grep -q "a.jpg$"' _ "$windir/lumeno.exe"
check "dropped on their own gallery, nothing happens" [ "$(namespace_test drop Family Family a.jpg)" = "none nothing 0x00000000" ]
check "dragged out, pictures are their files" \
  [ "$(namespace_test out Family | tr '\n' ' ')" = "$(win c.jpg) $(win a.jpg) " ]

# Find: "?words" finds the pictures whose caption, headline or title has every word, "?*prefix"
# those with a keyword so beginning; each search is remembered (SearchTermHistory).
check "a search by words" [ "$(namespace_test list '?dusk' | sed -n '2,$ s/ .*//p' | tr '\n' ' ')" = "c.jpg " ]
check "a search by keyword prefix (d.jpg, dropped in, has the sample's keywords)" [ "$(namespace_test list '?*sun' | sed -n '2,$ s/ .*//p' | sort | tr '\n' ' ')" = "a.jpg d.jpg " ]
check "... both remembered, the last first" [ "$(tool settings get Namespace SearchTermHistory)" = "*sun; dusk" ]

# Context menus: of a gallery, of pictures (the folder's entries, then the file manager's Lumeno
# menu on their files), of a folder's background; and what their entries do to the store.
check "a gallery's menu" bash -c '[ "$(wine "$1" menu "" Holidays 2>/dev/null | tr -d "\r" | tr "\t\n" ": ")" = \
  "entries: 6 Open:open New gallery:newgallery Rename:rename Delete:delete Export as web page...:export Synchronize:synchronize " ]' _ "$host"
namespace_test menu 'Holidays\Lakes' a.jpg >"$work/picture.menu"
check "a picture's menu: open, preview, remove from gallery, then the Lumeno menu" \
  bash -c 'head -n 5 "$1" | tr "\t\n" ": " | grep -qx "entries: [0-9]* Open:open Preview:preview Remove from gallery:remove Lumeno >: " &&
           [ "$(head -n 1 "$1" | cut -d" " -f2)" -gt 10 ]' _ "$work/picture.menu"
check "under a keyword a picture is in no gallery to be removed from" \
  bash -c '! wine "$1" menu Keywords\\Lake b.jpg 2>/dev/null | grep -q remove' _ "$host"
check "the background of a gallery offers a new gallery" \
  [ "$(namespace_test menu 'Holidays' | tr '\t\n' ': ')" = "entries: 1 New gallery:newgallery " ]
check "New gallery makes one inside" [ "$(namespace_test invoke 'Holidays' newgallery '')" = 0x00000000 ]
check "... named New Gallery" bash -c 'wine "$1" gallery list Holidays 2>/dev/null | tr -d "\r" | grep -qx "Holidays/New Gallery/"' _ "$windir/lumeno.exe"
check "Delete takes it away" [ "$(namespace_test invoke 'Holidays' delete '' 'New Gallery')" = 0x00000000 ]
check "... as the tool sees" bash -c '! wine "$1" gallery list Holidays 2>/dev/null | grep -q "New Gallery"' _ "$windir/lumeno.exe"
check "Export as web page writes the gallery's page" \
  bash -c '[ "$(wine "$1" invoke "" export "$2" Holidays 2>/dev/null | tr -d "\r")" = 0x00000000 ] && [ -s "$3/index.html" ]' \
  _ "$host" "$(windows "$work/web")" "$work/web"
check "Synchronize brings the records up to date" [ "$(namespace_test invoke '' synchronize '' Holidays)" = 0x00000000 ]
check "Remove from gallery takes a picture out" [ "$(namespace_test invoke Family remove '' c.jpg)" = 0x00000000 ]
check "... of that gallery only" \
  bash -c '! wine "$1" gallery list Family 2>/dev/null | grep -q "c.jpg" && wine "$1" gallery list Holidays 2>/dev/null | grep -q "c.jpg"' \
  _ "$windir/lumeno.exe"

# A gallery renamed in the folder is renamed in the store.
check "SetNameOf renames a gallery" [ "$(namespace_test rename 'Holidays\Lakes' Ponds)" = "0x00000000 Ponds" ]
check "... as the tool sees it" bash -c '[ "$(wine "$1" gallery list Holidays 2>/dev/null | tr -d "\r" | head -n 1)" = "Holidays/Ponds/" ]' _ "$windir/lumeno.exe"
check "a name with a separator is refused" [ "$(namespace_test rename 'Holidays\Ponds' 'a/b' | cut -c1-10)" = 0x80070057 ]
check "Rename in a gallery's menu, with the name given" [ "$(namespace_test invoke Holidays rename Pools Ponds)" = 0x00000000 ]
check "... renames it in the store" bash -c 'wine "$1" gallery list Holidays 2>/dev/null | tr -d "\r" | grep -qx "Holidays/Pools/"' _ "$windir/lumeno.exe"
check "... a name with a separator is refused" [ "$(namespace_test invoke Holidays rename 'a\b' Pools)" = 0x80070057 ]
namespace_test view Holidays - - Pools Ponds >"$work/rename.out"
check "Rename run from the view lets the name be typed in its list" \
  bash -c 'grep -qx "rename: 0x00000000" "$1" && grep -qx "editing: yes" "$1" && grep -qx "renamed: Ponds" "$1"' _ "$work/rename.out"
check "... and the store takes it" bash -c 'wine "$1" gallery list Holidays 2>/dev/null | tr -d "\r" | grep -qx "Holidays/Ponds/"' _ "$windir/lumeno.exe"

# Thumbnails in the view (IExtractImage): fitted into the box asked for, made on the view's
# background thread when it offers one; the store's, so shown even when the file can no longer
# be read. A gallery has none.
namespace_test thumbnail 'Holidays\Ponds' a.jpg 32 >"$work/thumbnail.out"
cat >"$work/thumbnail.expected" <<END
before its size: 0x8000FFFF
in the background: 0x8000000A
location: 0x00000000 ${files}a.jpg
bitmap: 32x24 drawn
date stamp: 0x00000000 set
END
same "a picture's thumbnail, fitted" "$work/thumbnail.expected" "$work/thumbnail.out"
check "... never enlarged" [ "$(namespace_test thumbnail 'Holidays\Ponds' a.jpg 200 | grep bitmap)" = "bitmap: 64x48 drawn" ]
head -c 300 /dev/urandom >"$work/files/a.jpg"
check "... and from the store when the file is damaged" \
  [ "$(namespace_test thumbnail 'Holidays\Ponds' a.jpg 32 | grep bitmap)" = "bitmap: 32x24 drawn" ]
check "a gallery has no thumbnail" [ "$(namespace_test thumbnail Holidays Ponds 32)" = "no thumbnail" ]

finish
