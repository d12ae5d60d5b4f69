#!/usr/bin/env bash
# The Windows installer under Wine: msiexec installs the server, the tool and the gallery page's
# files, registers the server and puts the tool on the user's PATH; the installed server and
# tool answer; msiexec /x takes everything away again, the registry and the disk compared with
# what they were before.
# Usage: installer-test.sh MSI WINDOWS-DIR LINUX-LUMENO DATA-DIR
set -u
msi=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") windir=$(cd "$2" && pwd)
linux=$(cd "$(dirname "$3")" && pwd)/$(basename "$3") data=$(cd "$4" && pwd)
. "$(dirname "$0")/prefix.sh"
installed="$WINEPREFIX/drive_c/Program Files/LumenoWorks/Lumeno"

# The prefix's files, without those Wine and the installer service keep for themselves.
disk_snapshot() {
  (cd "$WINEPREFIX/drive_c" && find . -path ./windows -prune -o -path './users/*/Temp' -prune -o -print |
    LC_ALL=C sort >"$1")
}

windows_machine_keys
wineserver -w
reg_snapshot "$work/before.reg"
disk_snapshot "$work/before.files"

wine msiexec /i "$(windows "$msi")" /qn /l*v "$(windows "$work/install.log")" >/dev/null 2>&1
check "msiexec installs the package" [ $? -eq 0 ]
wineserver -w
for file in lumeno.dll lumeno.exe LumenoViewer.exe LumenoGallery.CSS __gallery.GIF; do
  check "$file is installed" cmp -s "$installed/$file" "$windir/$file"
done
server=$(windows "$installed/lumeno.dll")
wine reg query 'HKCR\CLSID\{5D2257E7-CCBF-496F-A579-0E5625E2E15B}\InprocServer32' /ve >"$work/inproc.crlf" 2>&1
check "the server is registered from where it was installed" grep -qiF 'Program Files\LumenoWorks\Lumeno\lumeno.dll' "$work/inproc.crlf"
wine reg query 'HKCU\Environment' /v PATH >"$work/path.crlf" 2>&1
check "the tool's folder is on the user's PATH" grep -qiF 'Program Files\LumenoWorks\Lumeno' "$work/path.crlf"

mkdir "$work/files"
cp "$data/sample.jpg" "$work/files/"
wine "$windir/server-test.exe" tip "$server" "$(windows "$work/files/sample.jpg")" >"$work/tip.crlf" 2>/dev/null
check "the installed server answers as the tool does" cmp -s <(tr -d '\r' <"$work/tip.crlf") <("$linux" tip "$work/files/sample.jpg")
# A new process takes PATH from the registry: the tool is found by its name alone.
(cd "$work/files" && wine cmd /c "lumeno show sample.jpg" >"$work/show.crlf" 2>&1)
check "lumeno runs by its name from the user's PATH" cmp -s <(tr -d '\r' <"$work/show.crlf") \
  <(cd "$work/files" && "$linux" show sample.jpg)

wine msiexec /x "$(windows "$msi")" /qn /l*v "$(windows "$work/remove.log")" >/dev/null 2>&1
check "msiexec removes the package" [ $? -eq 0 ]
wineserver -w
reg_snapshot "$work/after.reg"
disk_snapshot "$work/after.files"
# The installer service makes its own empty lists the first time it installs anything (a Windows
# machine has them from the start): those keys alone are set aside, never a value in them.
service_lists='\[HKEY_LOCAL_MACHINE\\Software\\(Classes\\Installer|Microsoft\\Windows\\CurrentVersion\\Installer)(\\.*)?\]'
grep -vxE "$service_lists" "$work/before.reg" >"$work/before-own.reg"
grep -vxE "$service_lists" "$work/after.reg" >"$work/after-own.reg"
check "removing it leaves the registry as it was" \
  bash -c 'diff "$1" "$2" | head -n 20; cmp -s "$1" "$2"' _ "$work/before-own.reg" "$work/after-own.reg"
check "removing it leaves the disk as it was" \
  bash -c 'diff "$1" "$2" | head -n 20; cmp -s "$1" "$2"' _ "$work/before.files" "$work/after.files"

finish
