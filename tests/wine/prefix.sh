# Sourced by the Wine tests: a private, headless Wine prefix in a temporary folder $work, made
# here and stopped again (with the folder) when the script ends; the checks of checks.sh.
#   windows PATH      the Windows name of a POSIX path (Z:\...)
#   wine ARGS...      runs a Windows program in the prefix
#   reg_snapshot OUT  the prefix's whole registry, as regedit exports it, sorted by key
#   host_checks FILE  counts the checks a test program printed ("N passed, M failed") with ours
# WINE and WINESERVER name Wine's programs (by default wine and wineserver). Wine's output goes to
# files rather than pipes: a pipe costs about a second per call.
wine() { command "${WINE:-wine}" "$@"; }
wineserver() { command "${WINESERVER:-wineserver}" "$@"; }
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data # the Linux tool's own, fresh too
cleanup() { wineserver -k >/dev/null 2>&1; rm -rf "$work"; }
trap cleanup EXIT
. "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"
windows() { printf 'Z:%s' "${1//\//\\}"; }

# Wine's own services inherit the first process's output: start them with it redirected.
wineserver -p >/dev/null 2>&1
wine wineboot -i >/dev/null 2>&1
# Without this a dialog in a headless prefix waits for a display for ever.
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
wineserver -w

# regedit writes UTF-16; the comparison wants lines: each key, and each value after its key. The
# hardware and the system's own state (drivers, services, counters Wine keeps up to date as it
# runs) are left out, but for the system's environment; so are Wine's own settings, the console's
# (written when a console program first starts, whenever that is) and the last key regedit showed.
reg_snapshot() {
  local file=$work/snapshot.reg
  rm -f "$file"
  wine regedit /E "$(windows "$file")" >/dev/null 2>&1
  wineserver -w
  iconv -f UTF-16LE -t UTF-8 "$file" | tr -d '\r' | sed '1s/^\xEF\xBB\xBF//' |
    awk '/^\[/ { key = $0; print key; next } NF { print key "\t" $0 }' |
    awk -F '\t' '{ key = $1 }
      key ~ /^\[HKEY_LOCAL_MACHINE\\Hardware/ { next }
      key ~ /^\[HKEY_LOCAL_MACHINE\\System\\/ && key !~ /\\Control\\Session Manager\\Environment\]$/ { next }
      key ~ /\\Software\\Wine(\\|\])/ || key ~ /Explorer\\Streams/ || $2 ~ /^"LastKey"=/ { next }
      key ~ /^\[HKEY_(CURRENT_USER|USERS\\[^\\]*)\\Console(\\|\])/ { next }
      { print }' |
    LC_ALL=C sort >"$1"
}

# The keys of a Windows machine that Wine's new prefix lacks: named file types for the common
# picture extensions (none for .psd), and the shell's own lists of overlays and column handlers,
# which the server adds to and must leave in place.
windows_machine_keys() {
  wine reg add 'HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\ShellIconOverlayIdentifiers' /f >/dev/null 2>&1
  wine reg add 'HKCR\Folder\shellex\ColumnHandlers' /f >/dev/null 2>&1
  local pair
  for pair in .jpg=jpegfile .jpeg=jpegfile .tif=TIFImage.Document .tiff=TIFImage.Document .png=pngfile \
              .gif=giffile .bmp=Paint.Picture; do
    wine reg add "HKCR\\${pair%%=*}" /ve /d "${pair#*=}" /f >/dev/null 2>&1
    wine reg add "HKCR\\${pair#*=}" /ve /d "${pair#*=}" /f >/dev/null 2>&1
  done
}

host_checks() {
  tr -d '\r' <"$1" | grep -v '^[0-9]* passed'
  local line
  line=$(tr -d '\r' <"$1" | grep -E '^[0-9]+ passed, [0-9]+ failed$' | tail -n 1)
  if [ -n "$line" ]; then
    passed=$((passed + $(echo "$line" | cut -d' ' -f1)))
    failed=$((failed + $(echo "$line" | cut -d' ' -f3)))
  else
    echo "FAIL: $1: the check run printed no result"; failed=$((failed + 1))
  fi
}
