// The program's own windows on pictures: the preview (the picture large, a filmstrip, zoom) and
// the slide show (full screen, on a thread of its own). Both live in the server and in the
// slide-show CD's viewer program, so they ask nothing of the server's module.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace Lumeno::Shell {

// What a window tells its owner (the COM object that opened it): that it is open, and that it
// closed. Told on the window's thread.
struct ViewerHooks {
    std::function<void(HWND)> opened;
    std::function<void()> closed;
};

// Opens the preview on `files` (UTF-8 paths) on the calling thread, whose message loop drives
// it; null when it cannot be made or there is nothing to show.
HWND openPreview(const std::vector<std::string>& files, HWND owner, const ViewerHooks& hooks);

// Starts a slide show on `files` on a thread of its own, full screen; returns its window once it
// is made (null when it cannot be).
HWND startSlideShow(const std::vector<std::string>& files, const ViewerHooks& hooks);

// Runs a slide show on this thread until its window closes (the CD's viewer program).
int runSlideShow(const std::vector<std::string>& files);

// Asked of a viewer window with SendMessage, this registered message answers the index of the
// picture shown in the low word and, in the high word, 1 once its pixels are on screen (0 while
// they are still being decoded): test programs and benchmarks wait on it.
constexpr const char* ViewerStateMessage = "Lumeno.ViewerState";

} // namespace Lumeno::Shell
