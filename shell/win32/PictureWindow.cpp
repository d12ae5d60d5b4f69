#include "PictureWindow.h"

#include "Text.h"

#include <windowsx.h>

namespace Lumeno::Shell {

namespace {

constexpr UINT_PTR AutoHideTimer = 1;
// Decoded pictures kept: the one shown, the one before, and two ahead.
constexpr std::size_t PicturesKept = 4;

} // namespace

PictureWindow::PictureWindow(std::vector<std::string> files, ViewerHooks hooks, bool shuffled, bool repeat,
                             AutoHide hide, std::vector<ButtonBar::Button> buttons)
    : order_(files.size(), shuffled, repeat, GetTickCount()), autoHide_(hide), buttons_(std::move(buttons)), files_(std::move(files)),
      hooks_(std::move(hooks))
{
    NONCLIENTMETRICSW metrics = {};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    uiFont_ = CreateFontIndirectW(&metrics.lfMessageFont);
    try {
        background_ = colourOf(UI::Settings().getBackgroundColor());
    } catch (...) {
        // Unreadable settings: black.
    }
}

PictureWindow::~PictureWindow()
{
    pictures_.reset(); // its thread ends before the window's parts go
    DeleteObject(uiFont_);
}

HWND PictureWindow::create(const wchar_t* className, DWORD style, DWORD extendedStyle, const RECT& place, HWND owner)
{
    if (registerViewerClass(className, procedure, nullptr) == 0) {
        delete this;
        return nullptr;
    }
    HWND made = CreateWindowExW(extendedStyle, className, L"Lumeno", style, place.left, place.top,
                                place.right - place.left, place.bottom - place.top, owner, nullptr, viewerModule(),
                                this);
    if (made == nullptr) {
        delete this; // never given to a window
    }
    return made;
}

LRESULT CALLBACK PictureWindow::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<PictureWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_NCCREATE) {
        self = static_cast<PictureWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        self->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    if (self == nullptr) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        const ViewerHooks hooks = self->hooks_;
        delete self;
        if (hooks.closed) {
            hooks.closed();
        }
        return DefWindowProcW(window, message, wParam, lParam);
    }
    try {
        return self->handle(message, wParam, lParam);
    } catch (...) {
        // Nothing may leave a window procedure; the window stays as it was.
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT PictureWindow::handle(UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == viewerStateMessage()) {
        const long shown = order_.empty() ? -1 : static_cast<long>(order_.current());
        return MAKELRESULT(shown < 0 ? 0 : shown, shown >= 0 && painted_ == shown ? 1 : 0);
    }
    switch (message) {
    case WM_CREATE: {
        RECT client;
        GetClientRect(window_, &client);
        boxWidth_ = client.right;
        boxHeight_ = client.bottom;
        HWND window = window_;
        pictures_ = std::make_unique<AheadLoader<Bitmap>>(
            [this](std::size_t index) { return fittedBitmap(path(index), boxWidth_, boxHeight_); }, PicturesKept,
            [window](std::size_t index) { PostMessageW(window, WM_VIEWER_READY, index, 0); });
        SetTimer(window_, AutoHideTimer, 250, nullptr);
        setTitle();
        if (!order_.empty()) {
            pictures_->get(order_.current());
            hintAhead();
        }
        if (hooks_.opened) {
            hooks_.opened(window_);
        }
        return 0;
    }
    case WM_SIZE:
        resized(LOWORD(lParam), HIWORD(lParam));
        return 0;
    case WM_ERASEBKGND:
        return 1; // every pixel is painted
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(window_, &ps);
        RECT client;
        GetClientRect(window_, &client);
        {
            OffScreen frame(dc, client.right, client.bottom);
            HBRUSH brush = CreateSolidBrush(background_);
            FillRect(frame.dc(), &client, brush);
            DeleteObject(brush);
            paint(frame.dc(), fromRECT(client));
            frame.show(dc);
        }
        EndPaint(window_, &ps);
        return 0;
    }
    case WM_VIEWER_READY:
        if (!order_.empty() && wParam == order_.current()) {
            redraw();
        }
        return 0;
    case WM_TIMER:
        if (wParam == AutoHideTimer && autoHide_.due()) {
            redraw();
        }
        return 0;
    case WM_MOUSEMOVE:
        if (autoHide_.touch()) {
            redraw();
        }
        return 0;
    case WM_LBUTTONUP:
        if (const int id = autoHide_.hidden() ? 0 : buttons_.hit(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam))) {
            command(id);
            return 0;
        }
        break;
    case WM_KEYDOWN:
        if (autoHide_.touch()) {
            redraw();
        }
        switch (wParam) {
        case VK_ESCAPE: command(Close); return 0;
        case VK_RIGHT: case VK_DOWN: case VK_NEXT: command(Next); return 0;
        case VK_LEFT: case VK_UP: case VK_PRIOR: case VK_BACK: command(Previous); return 0;
        case VK_HOME:
            order_.first();
            moved();
            return 0;
        case VK_END:
            order_.last();
            moved();
            return 0;
        default: break;
        }
        break;
    case WM_CLOSE:
        DestroyWindow(window_);
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window_, message, wParam, lParam);
}

void PictureWindow::command(int id)
{
    switch (id) {
    case Next: moveBy(1); break;
    case Previous: moveBy(-1); break;
    case Close: PostMessageW(window_, WM_CLOSE, 0, 0); break;
    default: break;
    }
}

bool PictureWindow::moveBy(int step)
{
    if (!order_.step(step)) {
        MessageBeep(MB_OK); // the end of the pictures
        return false;
    }
    moved();
    return true;
}

void PictureWindow::moveToIndex(std::size_t index)
{
    order_.showIndex(index);
    moved();
}

void PictureWindow::hintAhead()
{
    std::vector<std::size_t> next;
    for (int step : {1, 2, -1}) {
        if (const std::optional<std::size_t> index = order_.peek(step)) {
            next.push_back(*index);
        }
    }
    pictures_->hint(next);
}

std::string PictureWindow::path(std::size_t index) const
{
    std::lock_guard<std::mutex> lock(filesMutex_);
    return index < files_.size() ? files_[index] : std::string();
}

void PictureWindow::setPath(std::size_t index, const std::string& path)
{
    std::lock_guard<std::mutex> lock(filesMutex_);
    if (index < files_.size()) {
        files_[index] = path;
    }
}

std::size_t PictureWindow::count() const
{
    std::lock_guard<std::mutex> lock(filesMutex_);
    return files_.size();
}

std::shared_ptr<const Bitmap> PictureWindow::currentPicture()
{
    return order_.empty() ? nullptr : pictures_->get(order_.current());
}

void PictureWindow::paintFitted(HDC dc, const Rect& area)
{
    const std::shared_ptr<const Bitmap> picture = currentPicture();
    if (!picture) {
        painted_ = -1;
        return;
    }
    Viewport fit;
    fit.setArea(area);
    fit.setPicture(picture->width, picture->height);
    drawBitmap(dc, *picture, fit.pictureRect());
    painted_ = static_cast<long>(order_.current());
}

Rect PictureWindow::controlsBand(HDC dc, const Rect& client, int extraHeight)
{
    const int height = ButtonBar::Height + extraHeight;
    Rect band{client.left, client.top + client.height - height, client.width, height};
    RECT r = toRECT(band);
    HBRUSH brush = CreateSolidBrush(RGB(32, 32, 32));
    FillRect(dc, &r, brush);
    DeleteObject(brush);
    buttons_.layout(dc, uiFont_, {band.left, band.top + extraHeight, band.width, ButtonBar::Height});
    return band;
}

void PictureWindow::setTitle()
{
    std::string name = order_.empty() ? std::string() : path(order_.current());
    const std::size_t slash = name.find_last_of("/\\");
    if (slash != std::string::npos) {
        name = name.substr(slash + 1);
    }
    const std::string title = (name.empty() ? std::string() : name + " - ") + titleSuffix_;
    SetWindowTextW(window_, toUtf16(title).c_str());
}

void PictureWindow::resized(int width, int height)
{
    if (width <= 0 || height <= 0 || (width == boxWidth_ && height == boxHeight_)) {
        return;
    }
    boxWidth_ = width;
    boxHeight_ = height;
    if (pictures_) {
        // Decoded again for the new size, the one shown first.
        pictures_->forgetAll();
        if (!order_.empty()) {
            pictures_->get(order_.current());
        }
        hintAhead();
    }
    redraw();
}

} // namespace Lumeno::Shell
