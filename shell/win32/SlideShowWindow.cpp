// The slide show: full screen on a thread of its own, a picture every Delay seconds in the order
// the settings say, captions where the Captions settings put them, and a toolbar that hides.
#include "PictureWindow.h"

#include "Text.h"

#include <objbase.h>

namespace Lumeno::Shell {

namespace {

constexpr wchar_t SlideShowClass[] = L"LumenoSlideShowWindow";
constexpr UINT_PTR AdvanceTimer = 2;

struct SlideShowSettings {
    unsigned delay = 60;
    bool repeat = true;
    bool shuffled = false;
    bool autoHide = true;
    unsigned autoHideDelay = 10;
    bool captions = true;
    COLORREF captionColour = RGB(255, 255, 255);
    UI::FontRecord captionFont = UI::FontRecord::make("Arial", 24, 96);
    TextPlace captionPlace = TextPlace::TopCentre;
    COLORREF dateColour = RGB(255, 0, 0);
    UI::FontRecord dateFont = UI::FontRecord::make("Courier New", 12, 96);
    TextPlace datePlace = TextPlace::BottomLeft;

    SlideShowSettings()
    {
        try {
            const UI::Settings s;
            delay = s.getDelay();
            repeat = s.getRepeat();
            shuffled = s.getSequence() == 1;
            autoHide = s.getSlideShowEnableAutoHide();
            autoHideDelay = s.getSlideShowAutoHideDelay();
            captions = s.getEnableCaptions();
            captionColour = colourOf(s.getCaptionTextColor());
            captionFont = s.getCaptionFont();
            captionPlace = textPlace(s.getCaptionLocation());
            dateColour = colourOf(s.getDateTimeTextColor());
            dateFont = s.getDateTimeFont();
            datePlace = textPlace(s.getDateTimeLocation());
        } catch (...) {
            // Unreadable settings: the defaults.
        }
        delay = delay < 1 ? 1 : delay;
    }
};

class SlideShow final : public PictureWindow {
public:
    SlideShow(std::vector<std::string> files, ViewerHooks hooks, const SlideShowSettings& settings)
        : PictureWindow(std::move(files), std::move(hooks), settings.shuffled, settings.repeat,
                        AutoHide(settings.autoHide, settings.autoHideDelay),
                        {{Previous, "< Previous"}, {Play, "Pause"}, {Next, "Next >"}, {Close, "Close"}}),
          settings_(settings), captionFont_(makeFont(settings.captionFont)), dateFont_(makeFont(settings.dateFont))
    {
        titleSuffix_ = "Lumeno Slide Show";
    }
    ~SlideShow() override
    {
        DeleteObject(captionFont_);
        DeleteObject(dateFont_);
    }

protected:
    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) override
    {
        switch (message) {
        case WM_CREATE:
            SetTimer(window_, AdvanceTimer, settings_.delay * 1000, nullptr);
            break;
        case WM_TIMER:
            if (wParam == AdvanceTimer) {
                if (!order_.step(1)) {
                    setPlaying(false); // the last picture, without repeat: it stays
                } else {
                    moved();
                }
                return 0;
            }
            break;
        case WM_SETCURSOR:
            if (autoHide_.hidden() && LOWORD(lParam) == HTCLIENT) {
                SetCursor(nullptr); // out of the pictures' way with the controls
                return TRUE;
            }
            break;
        case WM_KEYDOWN:
            if (wParam == VK_SPACE || wParam == VK_PAUSE) {
                command(Play);
                return 0;
            }
            break;
        default:
            break;
        }
        return PictureWindow::handle(message, wParam, lParam);
    }

    void command(int id) override
    {
        if (id == Play) {
            setPlaying(!playing_);
            return;
        }
        PictureWindow::command(id);
    }

    void moved() override
    {
        if (playing_) {
            SetTimer(window_, AdvanceTimer, settings_.delay * 1000, nullptr); // a full delay for each
        }
        pictures_->get(order_.current());
        hintAhead();
        setTitle();
        redraw();
        UpdateWindow(window_);
    }

    void paint(HDC dc, const Rect& client) override
    {
        paintFitted(dc, client);
        if (painted_ < 0 && !order_.empty()) {
            bool failed = false;
            pictures_->get(order_.current(), &failed);
            if (failed) { // left out, the next one comes at once
                PostMessageW(window_, WM_TIMER, AdvanceTimer, 0);
            }
        }
        // Captions at the bottom stay above the toolbar while it shows.
        Rect free = client;
        if (!autoHide_.hidden()) {
            free.height -= ButtonBar::Height;
            controlsBand(dc, client, 0);
            buttons_.draw(dc, uiFont_);
        }
        if (settings_.captions && painted_ >= 0) {
            const Captions& captions = captionsOf(static_cast<std::size_t>(painted_));
            auto put = [&](HFONT font, COLORREF colour, const std::string& text, TextPlace place) {
                if (!text.empty()) {
                    const SIZE size = measureText(dc, font, text);
                    drawText(dc, font, colour, text, placeText(place, free, size.cx, size.cy, 24));
                }
            };
            put(captionFont_, settings_.captionColour, captions.caption, settings_.captionPlace);
            put(dateFont_, settings_.dateColour, captions.dateTime, settings_.datePlace);
        }
    }

private:
    void setPlaying(bool playing)
    {
        playing_ = playing;
        buttons_.setLabel(Play, playing ? "Pause" : "Play");
        if (playing) {
            SetTimer(window_, AdvanceTimer, settings_.delay * 1000, nullptr);
        } else {
            KillTimer(window_, AdvanceTimer);
        }
        redraw();
    }

    const Captions& captionsOf(std::size_t index)
    {
        auto found = captions_.find(index);
        if (found == captions_.end()) {
            found = captions_.emplace(index, captionsForFile(path(index))).first;
        }
        return found->second;
    }

    SlideShowSettings settings_;
    HFONT captionFont_;
    HFONT dateFont_;
    bool playing_ = true;
    std::map<std::size_t, Captions> captions_;
};

// The whole primary screen.
RECT screen()
{
    MONITORINFO info = {};
    info.cbSize = sizeof info;
    GetMonitorInfoW(MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTOPRIMARY), &info);
    return info.rcMonitor;
}

HWND makeSlideShow(const std::vector<std::string>& files, const ViewerHooks& hooks)
{
    if (files.empty()) {
        return nullptr;
    }
    auto* show = new SlideShow(files, hooks, SlideShowSettings());
    HWND window = show->create(SlideShowClass, WS_POPUP, WS_EX_TOPMOST, screen(), nullptr);
    if (window != nullptr) {
        ShowWindow(window, SW_SHOW);
        UpdateWindow(window);
        SetForegroundWindow(window);
    }
    return window;
}

int messageLoop()
{
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
}

struct Start {
    std::vector<std::string> files;
    ViewerHooks hooks;
    HANDLE made = nullptr;
    HWND window = nullptr;
    HMODULE module = nullptr;
};

DWORD WINAPI slideShowThread(void* parameter)
{
    auto* start = static_cast<Start*>(parameter);
    HMODULE module = start->module;
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ViewerHooks hooks = start->hooks;
    auto closed = hooks.closed;
    hooks.closed = [closed] {
        if (closed) {
            closed();
        }
        PostQuitMessage(0);
    };
    try {
        start->window = makeSlideShow(start->files, hooks);
    } catch (...) {
        start->window = nullptr;
    }
    const bool running = start->window != nullptr;
    SetEvent(start->made); // `start` is the caller's no more from here
    if (running) {
        messageLoop();
    }
    if (SUCCEEDED(com)) {
        CoUninitialize();
    }
    // The thread held the module; it lets go only as it ends, so that its last instructions
    // are still there.
    FreeLibraryAndExitThread(module, 0);
    return 0;
}

} // namespace

HWND startSlideShow(const std::vector<std::string>& files, const ViewerHooks& hooks)
{
    Start start;
    start.files = files;
    start.hooks = hooks;
    start.made = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (start.made == nullptr ||
        !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&startSlideShow),
                            &start.module)) {
        if (start.made != nullptr) {
            CloseHandle(start.made);
        }
        return nullptr;
    }
    HANDLE thread = CreateThread(nullptr, 0, slideShowThread, &start, 0, nullptr);
    if (thread == nullptr) {
        FreeLibrary(start.module);
        CloseHandle(start.made);
        return nullptr;
    }
    WaitForSingleObject(start.made, INFINITE);
    CloseHandle(thread);
    CloseHandle(start.made);
    return start.window;
}

int runSlideShow(const std::vector<std::string>& files)
{
    ViewerHooks hooks;
    hooks.closed = [] { PostQuitMessage(0); };
    if (makeSlideShow(files, hooks) == nullptr) {
        return 1;
    }
    return messageLoop();
}

} // namespace Lumeno::Shell
