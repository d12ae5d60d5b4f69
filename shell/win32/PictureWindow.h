// The common part of the preview and the slide show: a window over a list of pictures, one of
// them shown, the next ones decoded ahead on the loader's thread, controls that hide themselves,
// and the state message that tests wait on.
#pragma once

#include "ViewerParts.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Lumeno::Shell {

class PictureWindow {
public:
    virtual ~PictureWindow();
    PictureWindow(const PictureWindow&) = delete;
    PictureWindow& operator=(const PictureWindow&) = delete;

    // Makes the window (its class registered once); null when it cannot be made. The object
    // belongs to the window from then on and goes with it.
    HWND create(const wchar_t* className, DWORD style, DWORD extendedStyle, const RECT& place, HWND owner);

protected:
    enum Command { Previous = 1, Next, Play, Fit, ActualSize, ZoomIn, ZoomOut, RotateLeft, RotateRight, Rename, Close };

    // The pictures come as selected, or shuffled; with `repeat` the end leads back to the start.
    PictureWindow(std::vector<std::string> files, ViewerHooks hooks, bool shuffled, bool repeat, AutoHide hide,
                  std::vector<ButtonBar::Button> buttons);

    virtual LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam);
    // Draws the whole frame into `dc` (off screen).
    virtual void paint(HDC dc, const Rect& client) = 0;
    virtual void command(int id);
    // The picture shown changed (a step, a click): the window follows.
    virtual void moved() {}

    // Goes `step` pictures on; false at an end the order does not pass.
    bool moveBy(int step);
    void moveToIndex(std::size_t index);
    // Tells the loader which pictures come next, after the one shown.
    void hintAhead();
    std::string path(std::size_t index) const;
    void setPath(std::size_t index, const std::string& path);
    std::size_t count() const;

    // The picture shown, when decoded (asked for otherwise).
    std::shared_ptr<const Bitmap> currentPicture();
    // The frame's picture, fitted into `area` (in the background colour around it).
    void paintFitted(HDC dc, const Rect& area);
    // The controls' band at the bottom of the client area, with the buttons laid out.
    Rect controlsBand(HDC dc, const Rect& client, int extraHeight);
    void setTitle();
    void redraw() { InvalidateRect(window_, nullptr, FALSE); }

    HWND window_ = nullptr;
    Sequence order_;
    AutoHide autoHide_;
    ButtonBar buttons_;
    std::unique_ptr<AheadLoader<Bitmap>> pictures_;
    HFONT uiFont_ = nullptr;
    COLORREF background_ = RGB(0, 0, 0);
    // The picture whose pixels are on screen (for the state message), or -1.
    long painted_ = -1;
    // Set by the derived class to the suffix of the window's title.
    std::string titleSuffix_;

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void resized(int width, int height);

    mutable std::mutex filesMutex_;
    std::vector<std::string> files_;
    ViewerHooks hooks_;
    // The box pictures are decoded into: the client area.
    std::atomic<int> boxWidth_{0};
    std::atomic<int> boxHeight_{0};
};

} // namespace Lumeno::Shell
