// What the preview and the slide show share: pictures as device-independent bitmaps made on the
// loader's thread, fonts and colours from the settings, a row of buttons, texts drawn over a
// picture, the hiding of controls, and the drawing of a frame off screen.
#pragma once

#include "ViewerWindows.h"

#include <Lumeno/Shell/Viewer.h>
#include <Lumeno/UI/Settings.h>

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace Lumeno::Shell {

// A picture ready to be drawn: a top-down 24-bit DIB section, and the size of the picture it
// shows (at 100 %).
struct Bitmap {
    HBITMAP handle = nullptr;
    int width = 0;
    int height = 0;
    int fullWidth = 0;
    int fullHeight = 0;
    ~Bitmap();
};

// The picture at `path` fitted into a box, upright; throws std::exception when it cannot be read.
std::shared_ptr<const Bitmap> fittedBitmap(const std::string& path, int boxWidth, int boxHeight);
// The file's thumbnail: the gallery store's when it holds one, else one made from the file (the
// camera's when it has one). The store is read, never made.
std::shared_ptr<const Bitmap> thumbnailBitmap(const std::string& path);

// Draws a bitmap into `target` (stretched as needed, smoothed when made smaller).
void drawBitmap(HDC dc, const Bitmap& bitmap, const Rect& target);
// A bitmap of its own (the caller's to delete) with `bitmap` drawn into `width` x `height`;
// null when there is no memory for it.
HBITMAP copyBitmap(const Bitmap& bitmap, int width, int height);

RECT toRECT(const Rect& r);
Rect fromRECT(const RECT& r);

// A font of the settings (a stored logical-font record).
HFONT makeFont(const UI::FontRecord& record);
// A colour of the settings (0x00BBGGRR, as COLORREF has it).
inline COLORREF colourOf(std::uint32_t setting) { return static_cast<COLORREF>(setting & 0xFFFFFF); }

// Text drawn over a picture, with a dark shadow so that it reads on light and dark parts alike;
// lines are separated by '\n'. Answers the size it takes.
SIZE measureText(HDC dc, HFONT font, const std::string& text);
void drawText(HDC dc, HFONT font, COLORREF colour, const std::string& text, const Rect& where);

// A row of buttons drawn over the bottom of a window.
class ButtonBar {
public:
    struct Button {
        int command;
        std::string label;
    };
    static constexpr int Height = 32;

    explicit ButtonBar(std::vector<Button> buttons) : buttons_(std::move(buttons)) {}
    void setLabel(int command, const std::string& label);
    // Lays the buttons out centred in `area` (measured with the window's font).
    void layout(HDC dc, HFONT font, const Rect& area);
    void draw(HDC dc, HFONT font) const;
    // The command of the button under the point; 0 for none.
    int hit(int x, int y) const;
    const Rect& area() const noexcept { return area_; }

private:
    std::vector<Button> buttons_;
    std::vector<Rect> places_;
    Rect area_;
};

// Controls hidden after the user has left the mouse and keys alone for a while (AutoHideDelay
// seconds, when EnableAutoHide is on), shown again at the next touch.
class AutoHide {
public:
    AutoHide(bool enabled, unsigned delaySeconds) : enabled_(enabled), delay_(delaySeconds * 1000ull) {}
    // The user did something: answers whether the controls were hidden (and are shown now).
    bool touch();
    // Called on a timer: answers whether the controls are to be hidden now.
    bool due();
    bool hidden() const noexcept { return hidden_; }

private:
    bool enabled_;
    unsigned long long delay_;
    unsigned long long last_ = GetTickCount64();
    bool hidden_ = false;
};

// A frame drawn off screen and put on the window in one step (no flicker).
class OffScreen {
public:
    OffScreen(HDC window, int width, int height);
    ~OffScreen();
    OffScreen(const OffScreen&) = delete;
    OffScreen& operator=(const OffScreen&) = delete;
    HDC dc() const noexcept { return dc_; }
    void show(HDC window) const;

private:
    HDC dc_;
    HBITMAP bitmap_;
    HGDIOBJ old_;
    int width_;
    int height_;
};

// The registered message of ViewerStateMessage.
UINT viewerStateMessage();
// The module the viewers' code is part of (the server's DLL, or the viewer program).
HINSTANCE viewerModule();
// Registers a window class of the viewers once per process; its atom.
ATOM registerViewerClass(const wchar_t* name, WNDPROC procedure, HBRUSH background);
// Takes the classes back (a module that is unloaded leaves none whose procedure is gone).
void unregisterViewerClasses();

// The thread's own messages a viewer posts itself.
constexpr UINT WM_VIEWER_READY = WM_APP + 40;     // a picture the window waits for is decoded
constexpr UINT WM_VIEWER_THUMBNAIL = WM_APP + 41; // a thumbnail of the filmstrip is made

} // namespace Lumeno::Shell
