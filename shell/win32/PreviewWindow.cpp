// The preview: the picture large, zoomed and dragged at will, a filmstrip of the files below,
// the photo's principal values over it, rotation and renaming from the window.
#include "PictureWindow.h"

#include "Text.h"

#include <Lumeno/Commands/FileCommands.h>

#include <windowsx.h>

#include <cctype>

namespace Lumeno::Shell {

namespace {

constexpr wchar_t PreviewClass[] = L"LumenoPreviewWindow";
// Thumbnails kept for the filmstrip (each about 60 KB).
constexpr std::size_t ThumbnailsKept = 400;

bool isJpeg(const std::string& path)
{
    const std::size_t dot = path.find_last_of('.');
    std::string extension = dot == std::string::npos ? std::string() : path.substr(dot + 1);
    for (char& c : extension) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return extension == "jpg" || extension == "jpeg" || extension == "jpe";
}

struct PreviewSettings {
    bool overlay = false;
    COLORREF overlayColour = RGB(255, 255, 255);
    UI::FontRecord overlayFont = UI::FontRecord::make("Courier New", 10, 96);
    bool autoHide = true;
    unsigned autoHideDelay = 10;

    PreviewSettings()
    {
        try {
            const UI::Settings settings;
            overlay = settings.getEnableOverlay();
            overlayColour = colourOf(settings.getOverlayTextColor());
            overlayFont = settings.getOverlayFont();
            autoHide = settings.getPreviewEnableAutoHide();
            autoHideDelay = settings.getPreviewAutoHideDelay();
        } catch (...) {
            // Unreadable settings: the defaults.
        }
    }
};

class Preview final : public PictureWindow {
public:
    Preview(std::vector<std::string> files, ViewerHooks hooks, const PreviewSettings& settings)
        : PictureWindow(std::move(files), std::move(hooks), false, false,
                        AutoHide(settings.autoHide, settings.autoHideDelay),
                        {{Previous, "< Previous"},
                         {Next, "Next >"},
                         {Fit, "Fit"},
                         {ActualSize, "100 %"},
                         {ZoomIn, "Zoom in"},
                         {ZoomOut, "Zoom out"},
                         {RotateLeft, "Rotate left"},
                         {RotateRight, "Rotate right"},
                         {Rename, "Rename"},
                         {Close, "Close"}}),
          settings_(settings)
    {
        overlayFont_ = makeFont(settings_.overlayFont);
        titleSuffix_ = "Lumeno Preview";
    }
    ~Preview() override
    {
        thumbnails_.reset();
        detail_.reset();
        DeleteObject(overlayFont_);
    }

protected:
    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) override;
    void paint(HDC dc, const Rect& client) override;
    void command(int id) override;
    void moved() override;

private:
    void startLoaders();
    void rotate(int direction);
    void rename();
    // The picture changed on disk: decoded again, its texts read again.
    void reload(std::size_t index);
    void paintFilmstrip(HDC dc, const Rect& band);
    void paintOverlay(HDC dc, const Rect& client);
    bool overFilmstrip(int x, int y) const;

    PreviewSettings settings_;
    HFONT overlayFont_ = nullptr;
    Viewport view_;
    Filmstrip strip_;
    // The picture the viewport was set up for (zoom resets on another picture).
    long viewFor_ = -1;
    std::unique_ptr<AheadLoader<Bitmap>> thumbnails_;
    // The picture at its full size, for zooms past the fitted picture's pixels.
    std::unique_ptr<AheadLoader<Bitmap>> detail_;
    std::map<std::size_t, std::vector<std::string>> overlays_;
    Rect band_;
    bool dragging_ = false;
    POINT dragFrom_ = {};
};

void Preview::startLoaders()
{
    HWND window = window_;
    thumbnails_ = std::make_unique<AheadLoader<Bitmap>>(
        [this](std::size_t index) { return thumbnailBitmap(path(index)); }, ThumbnailsKept,
        [window](std::size_t index) { PostMessageW(window, WM_VIEWER_THUMBNAIL, index, 0); });
    detail_ = std::make_unique<AheadLoader<Bitmap>>(
        [this](std::size_t index) { return fittedBitmap(path(index), 65535, 65535); }, 1,
        [window](std::size_t index) { PostMessageW(window, WM_VIEWER_READY, index, 0); });
}

LRESULT Preview::handle(UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_CREATE:
        startLoaders();
        break; // and the common part
    case WM_VIEWER_THUMBNAIL:
        if (!autoHide_.hidden()) {
            redraw();
        }
        return 0;
    case WM_MOUSEWHEEL: {
        POINT at = {GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
        ScreenToClient(window_, &at);
        const int notches = GET_WHEEL_DELTA_WPARAM(wParam) / WHEEL_DELTA;
        double factor = 1.0;
        for (int i = 0; i < (notches < 0 ? -notches : notches); ++i) {
            factor *= notches > 0 ? Viewport::Step : 1 / Viewport::Step;
        }
        view_.zoomAbout(factor, at.x, at.y);
        redraw();
        return 0;
    }
    case WM_LBUTTONDOWN: {
        const int x = GET_X_LPARAM(lParam);
        const int y = GET_Y_LPARAM(lParam);
        if (!autoHide_.hidden() && overFilmstrip(x, y)) {
            if (const std::optional<std::size_t> index = strip_.hit(x, y)) {
                moveToIndex(*index);
            }
            return 0;
        }
        if (!autoHide_.hidden() && buttons_.hit(x, y) != 0) {
            break; // the button acts when released
        }
        if (view_.draggable()) {
            dragging_ = true;
            dragFrom_ = {x, y};
            SetCapture(window_);
        }
        return 0;
    }
    case WM_MOUSEMOVE:
        if (dragging_) {
            const int x = GET_X_LPARAM(lParam);
            const int y = GET_Y_LPARAM(lParam);
            view_.panBy(x - dragFrom_.x, y - dragFrom_.y);
            dragFrom_ = {x, y};
            redraw();
            return 0;
        }
        break;
    case WM_LBUTTONUP:
        if (dragging_) {
            dragging_ = false;
            ReleaseCapture();
            return 0;
        }
        break;
    case WM_LBUTTONDBLCLK:
        command(view_.fitting() ? ActualSize : Fit);
        return 0;
    case WM_KEYDOWN:
        switch (wParam) {
        case VK_ADD: case VK_OEM_PLUS: command(ZoomIn); return 0;
        case VK_SUBTRACT: case VK_OEM_MINUS: command(ZoomOut); return 0;
        case '0': case VK_NUMPAD0: command(Fit); return 0;
        case '1': case VK_NUMPAD1: command(ActualSize); return 0;
        case 'R': command(RotateRight); return 0;
        case 'L': command(RotateLeft); return 0;
        case VK_F2: command(Rename); return 0;
        default: break;
        }
        break;
    default:
        break;
    }
    return PictureWindow::handle(message, wParam, lParam);
}

void Preview::command(int id)
{
    switch (id) {
    case Fit: view_.fit(); break;
    case ActualSize: view_.actualSize(); break;
    case ZoomIn: view_.zoomIn(); break;
    case ZoomOut: view_.zoomOut(); break;
    case RotateLeft: rotate(3); break;
    case RotateRight: rotate(1); break;
    case Rename: rename(); break;
    default: PictureWindow::command(id); return;
    }
    redraw();
}

void Preview::moved()
{
    viewFor_ = -1;
    if (!order_.empty()) {
        pictures_->get(order_.current());
        hintAhead();
        strip_.keepInView(order_.current());
    }
    setTitle();
    redraw();
    // The picture is put on screen at once when it was decoded ahead.
    UpdateWindow(window_);
}

void Preview::rotate(int direction)
{
    if (order_.empty()) {
        return;
    }
    const std::size_t index = order_.current();
    const std::string file = path(index);
    if (!isJpeg(file)) {
        MessageBeep(MB_ICONEXCLAMATION); // only JPEGs turn without loss
        return;
    }
    {
        Commands::CommandRotateJPEG turn(direction, 1, reinterpret_cast<std::uintptr_t>(window_));
        turn.perFile(file);
    }
    reload(index);
}

void Preview::rename()
{
    if (order_.empty()) {
        return;
    }
    const std::size_t index = order_.current();
    Commands::CommandFileRename renaming(1, reinterpret_cast<std::uintptr_t>(window_));
    renaming.perFile(path(index));
    if (!renaming.renamed().empty()) {
        setPath(index, renaming.renamed().front().second);
        setTitle();
        overlays_.erase(index);
    }
}

void Preview::reload(std::size_t index)
{
    pictures_->forget(index);
    detail_->forget(index);
    thumbnails_->forget(index);
    overlays_.erase(index);
    viewFor_ = -1;
    painted_ = -1; // the old pixels are on screen until the new ones are decoded
    pictures_->get(index);
    redraw();
}

bool Preview::overFilmstrip(int x, int y) const
{
    return band_.contains(x, y) && y < band_.top + Filmstrip::Height;
}

void Preview::paint(HDC dc, const Rect& client)
{
    if (!order_.empty()) {
        const std::size_t index = order_.current();
        view_.setArea(client);
        if (const std::shared_ptr<const Bitmap> picture = pictures_->get(index)) {
            if (viewFor_ != static_cast<long>(index)) {
                view_.setPicture(picture->fullWidth, picture->fullHeight);
                viewFor_ = static_cast<long>(index);
            }
            const Rect target = view_.pictureRect();
            // Zoomed past the fitted picture's pixels, the full one is drawn once it is decoded.
            std::shared_ptr<const Bitmap> shown = picture;
            if (target.width > picture->width + 1) {
                if (std::shared_ptr<const Bitmap> full = detail_->get(index)) {
                    shown = full;
                }
            }
            drawBitmap(dc, *shown, target);
            painted_ = static_cast<long>(index);
        } else {
            painted_ = -1;
            bool failed = false;
            pictures_->get(index, &failed);
            const std::string text = failed ? "This picture cannot be shown." : "Loading...";
            const SIZE size = measureText(dc, uiFont_, text);
            drawText(dc, uiFont_, RGB(200, 200, 200), text,
                     placeText(TextPlace::TopCentre, client, size.cx, size.cy, client.height / 2 - size.cy));
        }
    }
    if (settings_.overlay) {
        paintOverlay(dc, client);
    }
    if (!autoHide_.hidden()) {
        band_ = controlsBand(dc, client, Filmstrip::Height);
        buttons_.draw(dc, uiFont_);
        paintFilmstrip(dc, band_);
    } else {
        band_ = {};
    }
}

void Preview::paintFilmstrip(HDC dc, const Rect& band)
{
    strip_.setArea({band.left, band.top, band.width, Filmstrip::Height});
    strip_.setCount(count());
    if (!order_.empty()) {
        strip_.keepInView(order_.current());
    }
    HBRUSH cellBrush = CreateSolidBrush(RGB(48, 48, 48));
    HBRUSH mark = CreateSolidBrush(RGB(255, 200, 0));
    for (std::size_t i = strip_.first(); i < strip_.first() + strip_.visibleCount(); ++i) {
        const Rect cell = strip_.cell(i);
        if (!order_.empty() && i == order_.current()) {
            RECT frame = toRECT({cell.left - 4, cell.top - 4, cell.width + 8, cell.height + 8});
            FillRect(dc, &frame, mark);
        }
        RECT r = toRECT(cell);
        FillRect(dc, &r, cellBrush);
        if (std::shared_ptr<const Bitmap> thumbnail = thumbnails_->get(i)) {
            drawBitmap(dc, *thumbnail, strip_.thumbnailRect(i, thumbnail->width, thumbnail->height));
        }
    }
    DeleteObject(cellBrush);
    DeleteObject(mark);
}

void Preview::paintOverlay(HDC dc, const Rect& client)
{
    if (order_.empty()) {
        return;
    }
    const std::size_t index = order_.current();
    auto found = overlays_.find(index);
    if (found == overlays_.end()) {
        found = overlays_.emplace(index, overlayLinesForFile(path(index))).first;
    }
    std::string text;
    for (const std::string& line : found->second) {
        text += (text.empty() ? "" : "\n") + line;
    }
    const SIZE size = measureText(dc, overlayFont_, text);
    drawText(dc, overlayFont_, settings_.overlayColour, text, placeText(TextPlace::TopLeft, client, size.cx, size.cy, 12));
}

} // namespace

HWND openPreview(const std::vector<std::string>& files, HWND owner, const ViewerHooks& hooks)
{
    if (files.empty()) {
        return nullptr;
    }
    // Most of the work area, centred.
    RECT work = {0, 0, 1024, 768};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    const int width = (work.right - work.left) * 4 / 5;
    const int height = (work.bottom - work.top) * 4 / 5;
    RECT place = {work.left + (work.right - work.left - width) / 2, work.top + (work.bottom - work.top - height) / 2, 0, 0};
    place.right = place.left + width;
    place.bottom = place.top + height;
    auto* preview = new Preview(files, hooks, PreviewSettings());
    HWND window = preview->create(PreviewClass, WS_OVERLAPPEDWINDOW, 0, place, owner);
    if (window != nullptr) {
        ShowWindow(window, SW_SHOWNORMAL);
        UpdateWindow(window);
        SetForegroundWindow(window);
    }
    return window;
}

} // namespace Lumeno::Shell
