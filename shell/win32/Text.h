// Text between Windows and the portable code: UTF-16 and UTF-8 in WCHAR buffers (the C++
// library's wide strings do not fit Winelib, whose wchar_t is 16 bits wide).
#pragma once

#include <windows.h>

#include <string>

namespace Lumeno::Shell {

std::string toUtf8(const WCHAR* text);
std::basic_string<WCHAR> toUtf16(const std::string& text);
// The text of a window (an edit field), or of a dialog's control, in UTF-8.
std::string windowText(HWND window);
std::string windowText(HWND dialog, int control);
// A path from the shell, as the portable code opens it.
std::string portablePath(const WCHAR* path);

} // namespace Lumeno::Shell
