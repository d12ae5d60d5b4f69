#include "Text.h"

namespace Lumeno::Shell {

std::string toUtf8(const WCHAR* text)
{
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (n <= 1) {
        return std::string();
    }
    std::string out(static_cast<std::size_t>(n - 1), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], n, nullptr, nullptr);
    return out;
}

std::basic_string<WCHAR> toUtf16(const std::string& text)
{
    // Metadata text is UTF-8 or in the system's ANSI code page (older IPTC, EXIF text).
    UINT codePage = CP_UTF8;
    int n = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.c_str(), -1, nullptr, 0);
    if (n <= 0) {
        codePage = CP_ACP;
        n = MultiByteToWideChar(codePage, 0, text.c_str(), -1, nullptr, 0);
    }
    if (n <= 1) {
        return std::basic_string<WCHAR>();
    }
    std::basic_string<WCHAR> out(static_cast<std::size_t>(n - 1), 0);
    MultiByteToWideChar(codePage, 0, text.c_str(), -1, &out[0], n);
    return out;
}

std::string windowText(HWND window)
{
    const int length = GetWindowTextLengthW(window);
    std::basic_string<WCHAR> text(static_cast<std::size_t>(length) + 1, 0);
    GetWindowTextW(window, &text[0], length + 1);
    text.resize(static_cast<std::size_t>(length));
    return toUtf8(text.c_str());
}

std::string windowText(HWND dialog, int control)
{
    return windowText(GetDlgItem(dialog, control));
}

std::string portablePath(const WCHAR* path)
{
    return toUtf8(path);
}

} // namespace Lumeno::Shell
