#include "ViewerParts.h"

#include "Text.h"

#include <Lumeno/DB/Store.h>
#include <Lumeno/DB/Thumbnail.h>
#include <Lumeno/Platform/Thumbnail.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace Lumeno::Shell {

Bitmap::~Bitmap()
{
    if (handle != nullptr) {
        DeleteObject(handle);
    }
}

namespace {

std::shared_ptr<const Bitmap> bitmapOf(const Platform::Picture& picture)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = picture.width;
    info.bmiHeader.biHeight = -picture.height; // top-down, as the pixels come
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    auto made = std::make_shared<Bitmap>();
    made->handle = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (made->handle == nullptr || bits == nullptr) {
        throw std::runtime_error("no memory for the picture");
    }
    // Rows of a bitmap are padded to four bytes.
    const std::size_t row = static_cast<std::size_t>(picture.width) * 3;
    const std::size_t stride = (row + 3) & ~std::size_t{3};
    for (int y = 0; y < picture.height; ++y) {
        std::memcpy(static_cast<unsigned char*>(bits) + stride * y, picture.pixels.data() + row * y, row);
    }
    GdiFlush();
    made->width = picture.width;
    made->height = picture.height;
    made->fullWidth = picture.fullWidth > 0 ? picture.fullWidth : picture.width;
    made->fullHeight = picture.fullHeight > 0 ? picture.fullHeight : picture.height;
    return made;
}

} // namespace

std::shared_ptr<const Bitmap> fittedBitmap(const std::string& path, int boxWidth, int boxHeight)
{
    const int orientation = orientationForFile(path);
    return bitmapOf(Platform::fittedPicture(path, static_cast<unsigned>(std::max(boxWidth, 1)),
                                            static_cast<unsigned>(std::max(boxHeight, 1)), orientation, true));
}

std::shared_ptr<const Bitmap> thumbnailBitmap(const std::string& path)
{
    std::string jpeg;
    try {
        DB::Store& store = DB::Store::instance();
        if (!store.present() || !store.thumbnail(path, jpeg)) {
            jpeg.clear();
        }
    } catch (const std::exception&) {
        jpeg.clear(); // a store that cannot be read: the file itself
    }
    if (jpeg.empty()) {
        jpeg = DB::makeThumbnail(path);
    }
    const std::optional<Platform::Picture> picture =
        Platform::jpegPicture(reinterpret_cast<const std::uint8_t*>(jpeg.data()), jpeg.size(), true);
    if (!picture) {
        throw std::runtime_error("the thumbnail could not be decoded");
    }
    return bitmapOf(*picture);
}

void drawBitmap(HDC dc, const Bitmap& bitmap, const Rect& target)
{
    HDC source = CreateCompatibleDC(dc);
    HGDIOBJ old = SelectObject(source, bitmap.handle);
    if (target.width == bitmap.width && target.height == bitmap.height) {
        BitBlt(dc, target.left, target.top, target.width, target.height, source, 0, 0, SRCCOPY);
    } else {
        // Smoothed when made smaller; plain pixels when enlarged (a zoomed picture shows them).
        const bool smaller = target.width < bitmap.width;
        SetStretchBltMode(dc, smaller ? HALFTONE : COLORONCOLOR);
        SetBrushOrgEx(dc, 0, 0, nullptr);
        StretchBlt(dc, target.left, target.top, target.width, target.height, source, 0, 0, bitmap.width,
                   bitmap.height, SRCCOPY);
    }
    SelectObject(source, old);
    DeleteDC(source);
}

HBITMAP copyBitmap(const Bitmap& bitmap, int width, int height)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP made = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (made == nullptr) {
        return nullptr;
    }
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, made);
    drawBitmap(dc, bitmap, Rect{0, 0, width, height});
    SelectObject(dc, old);
    DeleteDC(dc);
    GdiFlush();
    return made;
}

RECT toRECT(const Rect& r)
{
    return RECT{r.left, r.top, r.left + r.width, r.top + r.height};
}

Rect fromRECT(const RECT& r)
{
    return Rect{r.left, r.top, r.right - r.left, r.bottom - r.top};
}

HFONT makeFont(const UI::FontRecord& record)
{
    LOGFONTW font = {};
    font.lfHeight = record.height;
    font.lfWidth = record.width;
    font.lfEscapement = record.escapement;
    font.lfOrientation = record.orientation;
    font.lfWeight = record.weight;
    font.lfItalic = record.italic;
    font.lfUnderline = record.underline;
    font.lfStrikeOut = record.strikeOut;
    font.lfCharSet = record.charSet;
    font.lfOutPrecision = record.outPrecision;
    font.lfClipPrecision = record.clipPrecision;
    font.lfQuality = ANTIALIASED_QUALITY;
    font.lfPitchAndFamily = record.pitchAndFamily;
    const std::basic_string<WCHAR> face = toUtf16(record.face());
    lstrcpynW(font.lfFaceName, face.c_str(), LF_FACESIZE);
    return CreateFontIndirectW(&font);
}

SIZE measureText(HDC dc, HFONT font, const std::string& text)
{
    const std::basic_string<WCHAR> wide = toUtf16(text);
    HGDIOBJ old = SelectObject(dc, font);
    RECT r = {0, 0, 0, 0};
    DrawTextW(dc, wide.c_str(), static_cast<int>(wide.size()), &r, DT_CALCRECT | DT_NOPREFIX);
    SelectObject(dc, old);
    return SIZE{r.right - r.left + 2, r.bottom - r.top + 2}; // the shadow's pixels too
}

void drawText(HDC dc, HFONT font, COLORREF colour, const std::string& text, const Rect& where)
{
    const std::basic_string<WCHAR> wide = toUtf16(text);
    HGDIOBJ old = SelectObject(dc, font);
    SetBkMode(dc, TRANSPARENT);
    RECT shadow = toRECT(where);
    OffsetRect(&shadow, 2, 2);
    SetTextColor(dc, RGB(0, 0, 0));
    DrawTextW(dc, wide.c_str(), static_cast<int>(wide.size()), &shadow, DT_NOPREFIX);
    RECT r = toRECT(where);
    SetTextColor(dc, colour);
    DrawTextW(dc, wide.c_str(), static_cast<int>(wide.size()), &r, DT_NOPREFIX);
    SelectObject(dc, old);
}

// ---- ButtonBar -------------------------------------------------------------------------------

void ButtonBar::setLabel(int command, const std::string& label)
{
    for (Button& button : buttons_) {
        if (button.command == command) {
            button.label = label;
        }
    }
}

void ButtonBar::layout(HDC dc, HFONT font, const Rect& area)
{
    area_ = area;
    places_.clear();
    constexpr int Padding = 12;
    constexpr int Space = 4;
    std::vector<int> widths;
    int total = 0;
    for (const Button& button : buttons_) {
        // As wide as the widest label it may take ("Pause" and "Play" alike).
        const int w = std::max<int>(measureText(dc, font, button.label).cx, 40) + 2 * Padding;
        widths.push_back(w);
        total += w + Space;
    }
    int x = area.left + std::max(0, (area.width - total) / 2);
    for (int w : widths) {
        places_.push_back({x, area.top + 3, w, Height - 6});
        x += w + Space;
    }
}

void ButtonBar::draw(HDC dc, HFONT font) const
{
    HBRUSH face = CreateSolidBrush(RGB(64, 64, 64));
    HGDIOBJ old = SelectObject(dc, font);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, RGB(240, 240, 240));
    for (std::size_t i = 0; i < places_.size() && i < buttons_.size(); ++i) {
        RECT r = toRECT(places_[i]);
        FillRect(dc, &r, face);
        FrameRect(dc, &r, static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH)));
        const std::basic_string<WCHAR> label = toUtf16(buttons_[i].label);
        DrawTextW(dc, label.c_str(), static_cast<int>(label.size()), &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    }
    SelectObject(dc, old);
    DeleteObject(face);
}

int ButtonBar::hit(int x, int y) const
{
    for (std::size_t i = 0; i < places_.size() && i < buttons_.size(); ++i) {
        if (places_[i].contains(x, y)) {
            return buttons_[i].command;
        }
    }
    return 0;
}

// ---- AutoHide --------------------------------------------------------------------------------

bool AutoHide::touch()
{
    last_ = GetTickCount64();
    const bool wasHidden = hidden_;
    hidden_ = false;
    return wasHidden;
}

bool AutoHide::due()
{
    if (!enabled_ || hidden_ || GetTickCount64() - last_ < delay_) {
        return false;
    }
    hidden_ = true;
    return true;
}

// ---- OffScreen -------------------------------------------------------------------------------

OffScreen::OffScreen(HDC window, int width, int height)
    : dc_(CreateCompatibleDC(window)), bitmap_(CreateCompatibleBitmap(window, std::max(width, 1), std::max(height, 1))),
      old_(SelectObject(dc_, bitmap_)), width_(width), height_(height)
{
}

OffScreen::~OffScreen()
{
    SelectObject(dc_, old_);
    DeleteObject(bitmap_);
    DeleteDC(dc_);
}

void OffScreen::show(HDC window) const
{
    BitBlt(window, 0, 0, width_, height_, dc_, 0, 0, SRCCOPY);
}

// ---- Module ----------------------------------------------------------------------------------

UINT viewerStateMessage()
{
    static const UINT message = RegisterWindowMessageA(ViewerStateMessage);
    return message;
}

HINSTANCE viewerModule()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&viewerModule), &module);
    return module;
}

namespace {

std::mutex& classesMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<std::basic_string<wchar_t>>& registeredClasses()
{
    static std::vector<std::basic_string<wchar_t>> names;
    return names;
}

} // namespace

void unregisterViewerClasses()
{
    std::lock_guard<std::mutex> lock(classesMutex());
    for (const auto& name : registeredClasses()) {
        UnregisterClassW(name.c_str(), viewerModule());
    }
    registeredClasses().clear();
}

ATOM registerViewerClass(const wchar_t* name, WNDPROC procedure, HBRUSH background)
{
    std::lock_guard<std::mutex> lock(classesMutex());
    WNDCLASSEXW existing = {};
    existing.cbSize = sizeof existing;
    if (const ATOM atom = static_cast<ATOM>(GetClassInfoExW(viewerModule(), name, &existing))) {
        return atom;
    }
    WNDCLASSEXW wc = {};
    wc.cbSize = sizeof wc;
    wc.style = CS_DBLCLKS;
    wc.lpfnWndProc = procedure;
    wc.hInstance = viewerModule();
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.hbrBackground = background;
    wc.lpszClassName = name;
    wc.hIcon = LoadIcon(nullptr, IDI_APPLICATION);
    const ATOM atom = RegisterClassExW(&wc);
    if (atom != 0) {
        registeredClasses().emplace_back(name);
    }
    return atom;
}

} // namespace Lumeno::Shell
