// UTF-8, the portable code's text, to and from the UTF-16 of the Windows API.
#pragma once

#include <windows.h>

#include <string>

namespace Lumeno::Platform {

// UTF-16 in WCHAR strings: std::wstring does not fit builds where wchar_t is 16 bits wide.
using WideString = std::basic_string<WCHAR>;

inline WideString wide(const std::string& utf8)
{
    if (utf8.empty()) {
        return WideString();
    }
    const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    WideString out(static_cast<std::size_t>(n), 0);
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &out[0], n);
    return out;
}

inline std::string narrow(const WCHAR* text)
{
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (n <= 1) {
        return std::string();
    }
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], n, nullptr, nullptr);
    out.resize(static_cast<std::size_t>(n - 1));
    return out;
}

} // namespace Lumeno::Platform
