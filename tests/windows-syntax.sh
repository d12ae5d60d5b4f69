#!/usr/bin/env bash
# The Windows-only sources checked against MinGW-w64's Windows headers, so that code this machine
# does not build for Windows still compiles there. Usage: windows-syntax.sh MINGW-G++ SOURCE-DIR
set -u
compiler=$1 top=$2
failed=0
sources=(platform/src/WindowsServices.cpp platform/src/ShellProgressDialog.cpp platform/src/WicImages.cpp
         ui/src/RegistryStore.cpp
         shell/win32/Server.cpp shell/win32/Registration.cpp shell/win32/ColumnProvider.cpp
         shell/win32/InfoTip.cpp shell/win32/Overlays.cpp shell/win32/Filter.cpp shell/win32/tests/ServerTest.cpp
         shell/win32/tests/FilterTest.cpp)
for source in "${sources[@]}"; do
  if ! "$compiler" -std=c++17 -fsyntax-only -Wall -Wextra -Werror -Wno-unused-parameter \
       -I"$top/shell/win32" -I"$top/shell/core/include" -I"$top/namespace/win32" -I"$top/namespace/core/include" \
       -I"$top/db/include" -I"$top/commands/include" -I"$top/scripting/include" \
       -I"$top/platform/include" -I"$top/ui/include" -I"$top/libmetadata/include" "$top/$source"; then
    echo "FAIL: $source"
    failed=$((failed + 1))
  fi
done
echo "$((${#sources[@]} - failed)) passed, $failed failed"
[ "$failed" -eq 0 ]
