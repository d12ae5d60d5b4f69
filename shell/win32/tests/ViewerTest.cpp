// Drives the preview and the slide show as the file manager and scripts do, and pictures them.
//   viewer-test check DLL FILE...          the classes' objects: one per process, aggregation,
//                                          the dispatch calls a script makes, bad calls
//   viewer-test preview DLL OUT FILE...    "Preview images..." from the context menu; the first
//                                          picture at fit against a scaled decode, the filmstrip,
//                                          next, zoom, rotate, close; pictures into OUT
//   viewer-test slideshow OUT FILE...      the registered class started as a script starts it;
//                                          full screen on its own thread, captions, the delay,
//                                          play/pause, close
//   viewer-test registered                 which of the two classes the registry lets be made
//   viewer-test register-slideshow DLL     DllRegisterSlideShowServer
//   viewer-test cd-viewer OUT NAME         the slide show of the CD's viewer program, which shows
//                                          NAME first, found, pictured and ended
//   viewer-test bench DLL FILE...          moving to the next picture, timed
// Prints a line per check and "N passed, M failed"; OUT gets BMP pictures of the windows.
#include "TestHost.h"

#include "lumeno_h.h"

#include <wincodec.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace {

const char* const PreviewClsid = "{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}";
const char* const SlideShowClsid = "{4B0D5947-C512-4028-93B6-FD94EEF5AECA}";
const char* const MenuClsid = "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}";

UINT stateMessage()
{
    return RegisterWindowMessageA("Lumeno.ViewerState");
}

// Runs this thread's messages for a while (the preview lives on it).
void pump(int milliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    do {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    } while (std::chrono::steady_clock::now() < end);
}

// Waits (pumping) until the window shows picture `index` with its pixels on screen.
bool waitShown(HWND window, int index, int seconds = 20)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
        const LRESULT state = SendMessageW(window, stateMessage(), 0, 0);
        if (LOWORD(state) == index && HIWORD(state) == 1) {
            return true;
        }
        pump(5);
    }
    return false;
}

int shownIndex(HWND window)
{
    return LOWORD(SendMessageW(window, stateMessage(), 0, 0));
}

void key(HWND window, WPARAM code)
{
    SendMessageW(window, WM_KEYDOWN, code, 0);
}

// The picture decoded by the system's imaging component and scaled to `width` x `height`: what a
// viewer fitting it must show, near enough.
std::vector<DWORD> scaledDecode(const std::string& path, int width, int height)
{
    std::vector<DWORD> pixels;
    IWICImagingFactory* factory = nullptr;
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                reinterpret_cast<void**>(&factory)))) {
        return pixels;
    }
    IWICBitmapDecoder* decoder = nullptr;
    IWICBitmapFrameDecode* frame = nullptr;
    IWICBitmapScaler* scaler = nullptr;
    IWICFormatConverter* converter = nullptr;
    if (SUCCEEDED(factory->CreateDecoderFromFilename(wide(path).c_str(), nullptr, GENERIC_READ,
                                                     WICDecodeMetadataCacheOnDemand, &decoder)) &&
        SUCCEEDED(decoder->GetFrame(0, &frame)) && SUCCEEDED(factory->CreateBitmapScaler(&scaler)) &&
        SUCCEEDED(scaler->Initialize(frame, static_cast<UINT>(width), static_cast<UINT>(height),
                                     WICBitmapInterpolationModeFant)) &&
        SUCCEEDED(factory->CreateFormatConverter(&converter)) &&
        SUCCEEDED(converter->Initialize(scaler, GUID_WICPixelFormat32bppBGR, WICBitmapDitherTypeNone, nullptr, 0.0,
                                        WICBitmapPaletteTypeCustom))) {
        pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        if (FAILED(converter->CopyPixels(nullptr, static_cast<UINT>(width) * 4, static_cast<UINT>(pixels.size() * 4),
                                         reinterpret_cast<BYTE*>(pixels.data())))) {
            pixels.clear();
        }
    }
    for (IUnknown* p : std::initializer_list<IUnknown*>{converter, scaler, frame, decoder, factory}) {
        if (p != nullptr) {
            p->Release();
        }
    }
    return pixels;
}

bool pictureSize(const std::string& path, int& width, int& height)
{
    IWICImagingFactory* factory = nullptr;
    bool ok = false;
    if (SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                   reinterpret_cast<void**>(&factory)))) {
        IWICBitmapDecoder* decoder = nullptr;
        IWICBitmapFrameDecode* frame = nullptr;
        UINT w = 0, h = 0;
        ok = SUCCEEDED(factory->CreateDecoderFromFilename(wide(path).c_str(), nullptr, GENERIC_READ,
                                                         WICDecodeMetadataCacheOnDemand, &decoder)) &&
             SUCCEEDED(decoder->GetFrame(0, &frame)) && SUCCEEDED(frame->GetSize(&w, &h));
        width = static_cast<int>(w);
        height = static_cast<int>(h);
        if (frame != nullptr) {
            frame->Release();
        }
        if (decoder != nullptr) {
            decoder->Release();
        }
        factory->Release();
    }
    return ok;
}

int channel(DWORD pixel, int shift)
{
    return static_cast<int>((pixel >> shift) & 0xFF);
}

// The mean difference per channel between the capture's rectangle and the reference pixels,
// over rows [top, bottom) of the rectangle only.
double meanDifference(const Capture& c, int left, int top, int width, const std::vector<DWORD>& reference, int rows)
{
    double sum = 0;
    std::size_t n = 0;
    for (int y = 1; y < rows - 1; ++y) {
        for (int x = 1; x < width - 1; ++x) {
            const DWORD a = c.at(left + x, top + y);
            const DWORD b = reference[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x];
            for (int shift : {0, 8, 16}) {
                sum += std::abs(channel(a, shift) - channel(b, shift));
            }
            n += 3;
        }
    }
    return n == 0 ? 255.0 : sum / static_cast<double>(n);
}

// Runs of at least `least` pixels along row y that differ from `background`: thumbnails in a strip.
int runsAlong(const Capture& c, int y, DWORD background, int least)
{
    int runs = 0;
    int length = 0;
    for (int x = 0; x < c.width; ++x) {
        if (c.at(x, y) != background) {
            ++length;
        } else {
            runs += length >= least ? 1 : 0;
            length = 0;
        }
    }
    return runs + (length >= least ? 1 : 0);
}

std::size_t differingPixels(const Capture& a, const Capture& b)
{
    if (a.pixels.size() != b.pixels.size()) {
        return a.pixels.size() + b.pixels.size();
    }
    std::size_t n = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        n += (a.pixels[i] & 0xFFFFFF) != (b.pixels[i] & 0xFFFFFF) ? 1 : 0;
    }
    return n;
}

// ---- check -----------------------------------------------------------------------------------

DISPID dispatchId(IDispatch* object, const char* name)
{
    std::basic_string<WCHAR> text = wide(name);
    LPOLESTR names[] = {&text[0]};
    DISPID id = DISPID_UNKNOWN;
    object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    return id;
}

int checkObjects(const char* dll, const std::vector<std::string>& files)
{
    Module m(dll);
    check(m.handle != nullptr, "the server loads");
    if (m.handle == nullptr) {
        return checksDone();
    }
    for (const char* cls : {PreviewClsid, SlideShowClsid}) {
        const std::string name = cls == PreviewClsid ? "preview" : "slide show";
        IUnknown* first = create<IUnknown>(m, cls, IID_IUnknown);
        IUnknown* second = create<IUnknown>(m, cls, IID_IUnknown);
        check(first != nullptr && first == second, name + ": every request gets the one object");
        IDispatch* script = create<IDispatch>(m, cls, IID_IDispatch);
        IUnknown* identity = nullptr;
        if (script != nullptr) {
            script->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
        }
        check(identity == first, name + ": ... asked for by any interface");
        // Aggregated, an object belongs to its outer object alone: a new one.
        Outer outer;
        HRESULT hr = E_FAIL;
        IUnknown* inner = create<IUnknown>(m, cls, IID_IUnknown, &outer, &hr);
        check(SUCCEEDED(hr) && inner != nullptr && inner != first, name + ": made aggregated, a new inner object");
        IDispatch* refused = create<IDispatch>(m, cls, IID_IDispatch, &outer, &hr);
        check(refused == nullptr && hr == CLASS_E_NOAGGREGATION, name + ": aggregated, only IUnknown is handed out");
        if (inner != nullptr) {
            inner->Release();
        }

        // What a script does: names to identifiers, then calls through Invoke.
        if (script != nullptr) {
            const DISPID add = dispatchId(script, "AddFile");
            const DISPID count = dispatchId(script, "Count");
            check(add != DISPID_UNKNOWN && count != DISPID_UNKNOWN, name + ": the type library names the calls");
            for (const std::string& file : files) {
                VARIANT argument;
                VariantInit(&argument);
                argument.vt = VT_BSTR;
                argument.bstrVal = SysAllocString(wide(file).c_str());
                DISPPARAMS parameters = {&argument, nullptr, 1, 0};
                hr = script->Invoke(add, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                                    nullptr);
                VariantClear(&argument);
            }
            check(SUCCEEDED(hr), name + ": AddFile through Invoke");
            VARIANT result;
            VariantInit(&result);
            DISPPARAMS none = {nullptr, nullptr, 0, 0};
            hr = script->Invoke(count, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result, nullptr,
                                nullptr);
            check(SUCCEEDED(hr) && result.vt == VT_I4 && result.lVal == static_cast<LONG>(files.size()),
                  name + ": Count through Invoke counts the files added");
            // The singleton has the files another reference added.
            ILumenoPreview* typed = nullptr;
            if (cls == PreviewClsid && SUCCEEDED(second->QueryInterface(__uuidof(ILumenoPreview), reinterpret_cast<void**>(&typed)))) {
                LONG n = 0;
                typed->get_Count(&n);
                check(n == static_cast<LONG>(files.size()), name + ": ... seen through the other reference");
                check(typed->AddFile(nullptr) == E_INVALIDARG, name + ": a missing path is refused");
                check(typed->AddFiles(nullptr) == E_INVALIDARG, name + ": a missing enumerator is refused");
                check(typed->AddFiles(first) == E_NOINTERFACE, name + ": an object that enumerates no strings is refused");
                LONG window = -5;
                typed->get_Window(&window);
                check(window == 0, name + ": no window before Show");
                typed->Close();
                typed->get_Count(&n);
                check(n == 0, name + ": Close forgets the files");
                check(typed->Show() == E_INVALIDARG, name + ": Show with nothing to show is refused");
                typed->Release();
            }
            script->Release();
        }
        if (identity != nullptr) {
            identity->Release();
        }
        if (second != nullptr) {
            second->Release();
        }
        if (first != nullptr) {
            first->Release();
        }
        // Once every reference is gone the next request makes a new object.
        IUnknown* again = create<IUnknown>(m, cls, IID_IUnknown);
        check(again != nullptr, name + ": made again after the last reference went");
        if (again != nullptr) {
            again->Release();
        }
    }
    check(m.canUnload() == S_FALSE || m.canUnload() == S_OK, "DllCanUnloadNow answers");
    return checksDone();
}

// ---- preview ---------------------------------------------------------------------------------

HRESULT runMenuVerb(Module& m, const char* verb, const std::vector<std::string>& files)
{
    IShellExtInit* init = create<IShellExtInit>(m, MenuClsid, IID_IShellExtInit);
    IDataObject* data = dataObjectFor(files);
    HRESULT hr = E_FAIL;
    if (init != nullptr && data != nullptr && SUCCEEDED(init->Initialize(nullptr, data, nullptr))) {
        IContextMenu* menu = nullptr;
        if (SUCCEEDED(init->QueryInterface(IID_IContextMenu, reinterpret_cast<void**>(&menu)))) {
            HMENU popup = CreatePopupMenu();
            menu->QueryContextMenu(popup, 0, 1, 0x7FFF, CMF_NORMAL);
            CMINVOKECOMMANDINFO info = {};
            info.cbSize = sizeof info;
            info.lpVerb = verb;
            info.nShow = SW_SHOWNORMAL;
            hr = menu->InvokeCommand(&info);
            DestroyMenu(popup);
            menu->Release();
        }
    }
    if (data != nullptr) {
        data->Release();
    }
    if (init != nullptr) {
        init->Release();
    }
    return hr;
}

template <class Interface> HWND windowOf(Interface* viewer)
{
    LONG window = 0;
    viewer->get_Window(&window);
    return reinterpret_cast<HWND>(static_cast<LONG_PTR>(window));
}

int preview(const char* dll, const std::string& out, const std::vector<std::string>& files)
{
    Module m(dll);
    check(runMenuVerb(m, "preview", files) == S_OK, "\"preview\" from the context menu opens the window");
    ILumenoPreview* viewer = create<ILumenoPreview>(m, PreviewClsid, __uuidof(ILumenoPreview));
    const HWND window = viewer != nullptr ? windowOf(viewer) : nullptr;
    check(window != nullptr && IsWindowVisible(window), "the class's one object holds the window the menu opened");
    if (window == nullptr) {
        return checksDone();
    }
    LONG count = 0;
    viewer->get_Count(&count);
    check(count == static_cast<LONG>(files.size()), "the menu handed over every selected file");
    check(waitShown(window, 0), "the first picture is shown");

    // The first picture at fit: centred, never enlarged, as the imaging component scales it.
    // The filmstrip and the buttons cover the bottom of the window while they show.
    const Capture fit = capture(window);
    writeBmp(fit, out + "\\preview.bmp");
    int width = 0, height = 0;
    pictureSize(files[0], width, height);
    const double scale = std::min({1.0, static_cast<double>(fit.width) / width, static_cast<double>(fit.height) / height});
    const int w = static_cast<int>(std::lround(width * scale));
    const int h = static_cast<int>(std::lround(height * scale));
    const int left = (fit.width - w) / 2;
    const int top = (fit.height - h) / 2;
    const int band = 32 + 112; // buttons and filmstrip
    const int rows = std::min(h, fit.height - band - top);
    const std::vector<DWORD> reference = scaledDecode(files[0], w, h);
    const double difference = reference.empty() ? 255.0 : meanDifference(fit, left, top, w, reference, rows);
    std::printf("preview: %dx%d window, picture %dx%d at (%d, %d), mean difference %.2f\n", fit.width, fit.height, w, h,
                left, top, difference);
    check(!reference.empty() && rows > 50 && difference < 6.0,
          "the first picture at fit matches a scaled decode of it");

    // The filmstrip: a thumbnail per file, across the middle of its cells.
    const int stripRow = fit.height - band + 8 + 48;
    int thumbnails = 0;
    for (int tries = 0; tries < 200 && thumbnails != static_cast<int>(files.size()); ++tries) {
        pump(25);
        const Capture now = capture(window);
        thumbnails = runsAlong(now, stripRow, 0x202020, 40);
        if (thumbnails == static_cast<int>(files.size())) {
            writeBmp(now, out + "\\preview.bmp");
        }
    }
    std::printf("filmstrip: %d thumbnails\n", thumbnails);
    check(thumbnails == static_cast<int>(files.size()), "the filmstrip shows as many thumbnails as files");

    key(window, VK_RIGHT);
    check(waitShown(window, 1), "Right shows the next picture");
    LONG current = -1;
    viewer->get_Current(&current);
    check(current == 1, "... and the object says so");
    key(window, VK_HOME);
    check(waitShown(window, 0), "Home goes back to the first");
    const Capture before = capture(window);
    key(window, VK_ADD);
    key(window, VK_ADD);
    pump(100);
    const Capture zoomed = capture(window);
    writeBmp(zoomed, out + "\\preview-zoomed.bmp");
    check(differingPixels(before, zoomed) > static_cast<std::size_t>(w * rows / 4), "zooming in enlarges the picture");
    key(window, '0');
    pump(100);
    check(differingPixels(before, capture(window)) < static_cast<std::size_t>(w * rows / 100), "'0' fits it again");
    // Turned from the window: the file itself, without loss, and the picture shown anew.
    key(window, 'R');
    int turnedWidth = 0, turnedHeight = 0;
    pictureSize(files[0], turnedWidth, turnedHeight);
    check(turnedWidth == height && turnedHeight == width, "'R' turns the JPEG a quarter clockwise");
    check(waitShown(window, 0), "... and shows it turned");
    const Capture turned = capture(window);
    writeBmp(turned, out + "\\preview-turned.bmp");
    check(differingPixels(before, turned) > static_cast<std::size_t>(w * rows / 4), "... drawn upright again");
    // Renamed from the window after its capture date; the window follows the file.
    key(window, VK_F2);
    const std::string folder = files[0].substr(0, files[0].find_last_of('\\') + 1);
    const DWORD renamed = GetFileAttributesW(wide(folder + "20240601-101100-00.jpg").c_str());
    check(renamed != INVALID_FILE_ATTRIBUTES && GetFileAttributesW(wide(files[0]).c_str()) == INVALID_FILE_ATTRIBUTES,
          "F2 renames the file after its capture date");
    char title[256] = {};
    GetWindowTextA(window, title, sizeof title);
    check(std::string(title).rfind("20240601-101100-00.jpg", 0) == 0, "... and the title shows the new name");
    key(window, VK_ESCAPE);
    pump(200);
    check(!IsWindow(window), "Escape closes the window");
    check(windowOf(viewer) == nullptr, "... and the object lets go of it");
    viewer->Release();
    return checksDone();
}

// ---- slide show ------------------------------------------------------------------------------

int slideShow(const std::string& out, const std::vector<std::string>& files)
{
    ILumenoSlideShow* show = nullptr;
    const HRESULT made = CoCreateInstance(clsid(SlideShowClsid), nullptr, CLSCTX_INPROC_SERVER,
                                          __uuidof(ILumenoSlideShow), reinterpret_cast<void**>(&show));
    check(SUCCEEDED(made) && show != nullptr, "the registered slide-show class is made");
    if (show == nullptr) {
        return checksDone();
    }
    for (const std::string& file : files) {
        BSTR path = SysAllocString(wide(file).c_str());
        show->AddFile(path);
        SysFreeString(path);
    }
    check(show->Show() == S_OK, "Show starts it");
    const HWND window = windowOf(show);
    check(window != nullptr && IsWindowVisible(window), "its window is open when Show returns");
    if (window == nullptr) {
        return checksDone();
    }
    check(GetWindowThreadProcessId(window, nullptr) != GetCurrentThreadId(), "on a thread of its own");
    RECT screen = {};
    GetWindowRect(window, &screen);
    check(screen.left == 0 && screen.top == 0 && screen.right == GetSystemMetrics(SM_CXSCREEN) &&
              screen.bottom == GetSystemMetrics(SM_CYSCREEN),
          "full screen");
    check(waitShown(window, 0), "the first picture is shown");
    const Capture first = capture(window);
    writeBmp(first, out + "\\slideshow.bmp");
    // The caption (white, top centre) and the date (red, bottom centre), as the settings have them.
    int white = 0, red = 0;
    for (int y = 0; y < first.height / 4; ++y) {
        for (int x = first.width / 4; x < first.width * 3 / 4; ++x) {
            white += first.at(x, y) == 0xFFFFFF ? 1 : 0;
        }
    }
    for (int y = first.height * 3 / 4; y < first.height; ++y) {
        for (int x = first.width / 4; x < first.width * 3 / 4; ++x) {
            red += first.at(x, y) == 0xFF0000 ? 1 : 0;
        }
    }
    std::printf("slide show: %dx%d, caption pixels %d, date pixels %d\n", first.width, first.height, white, red);
    check(white > 50, "the caption is drawn in its colour where the Captions settings put it");
    check(red > 20, "the date and time too");

    // The delay (one second here) moves on by itself; Space pauses.
    check(waitShown(window, 1, 10), "after the delay the next picture comes by itself");
    key(window, VK_SPACE);
    const int paused = shownIndex(window);
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    check(shownIndex(window) == paused, "paused, it stays");
    key(window, VK_SPACE);
    check(waitShown(window, (paused + 1) % static_cast<int>(files.size()), 10), "played again, it moves on");
    key(window, VK_LEFT);
    key(window, VK_ESCAPE);
    for (int i = 0; i < 100 && IsWindow(window); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    check(!IsWindow(window), "Escape ends it");
    for (int i = 0; i < 100 && windowOf(show) != nullptr; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    check(windowOf(show) == nullptr, "... and the object lets go of it");
    show->Release();
    return checksDone();
}

int cdViewer(const std::string& out, const std::string& first)
{
    HWND window = nullptr;
    for (int i = 0; i < 1000 && window == nullptr; ++i) {
        window = FindWindowW(L"LumenoSlideShowWindow", nullptr);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    check(window != nullptr, "the viewer program's slide show opens");
    if (window == nullptr) {
        return checksDone();
    }
    check(waitShown(window, 0), "its first picture is shown");
    char title[256] = {};
    GetWindowTextA(window, title, sizeof title);
    check(std::string(title).rfind(first, 0) == 0, "the play list's first picture comes first (" + std::string(title) + ")");
    writeBmp(capture(window), out + "\\cd-viewer.bmp");
    key(window, VK_RIGHT);
    check(waitShown(window, 1), "Right moves on");
    key(window, VK_ESCAPE);
    return checksDone();
}

int registered()
{
    IUnknown* show = nullptr;
    IUnknown* view = nullptr;
    const HRESULT a = CoCreateInstance(clsid(SlideShowClsid), nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                       reinterpret_cast<void**>(&show));
    const HRESULT b = CoCreateInstance(clsid(PreviewClsid), nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                       reinterpret_cast<void**>(&view));
    std::printf("slide show: %s, preview: %s\n", SUCCEEDED(a) ? "made" : "not registered",
                SUCCEEDED(b) ? "made" : "not registered");
    if (show != nullptr) {
        show->Release();
    }
    if (view != nullptr) {
        view->Release();
    }
    return 0;
}

// ---- bench -----------------------------------------------------------------------------------

// Steps through the pictures as a user who looks at each for `pause` ms, then as one holding
// the key down (30 steps a second); each step timed from the key to the pixels on screen.
int bench(const char* dll, const std::vector<std::string>& files)
{
    Module m(dll);
    ILumenoPreview* viewer = create<ILumenoPreview>(m, PreviewClsid, __uuidof(ILumenoPreview));
    for (const std::string& file : files) {
        BSTR path = SysAllocString(wide(file).c_str());
        viewer->AddFile(path);
        SysFreeString(path);
    }
    viewer->Show();
    const HWND window = windowOf(viewer);
    if (window == nullptr || !waitShown(window, 0, 60)) {
        std::printf("the preview did not open\n");
        return 1;
    }
    auto steps = [&](int pause, int count, const char* what) {
        std::vector<double> times;
        for (int i = 1; i <= count && i < static_cast<int>(files.size()); ++i) {
            pump(pause);
            const auto start = std::chrono::steady_clock::now();
            key(window, VK_RIGHT);
            waitShown(window, shownIndex(window), 60);
            times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        }
        std::sort(times.begin(), times.end());
        double sum = 0;
        for (double t : times) {
            sum += t;
        }
        std::printf("%s: %zu steps, median %.1f ms, mean %.1f ms, slowest %.1f ms\n", what, times.size(),
                    times[times.size() / 2], sum / static_cast<double>(times.size()), times.back());
    };
    auto run = [&](const char* size) {
        RECT client;
        GetClientRect(window, &client);
        std::printf("window %ldx%ld (%s):\n", client.right, client.bottom, size);
        key(window, VK_HOME);
        waitShown(window, 0, 60);
        steps(400, 10, "  next picture, looked at for 0.4 s each");
        key(window, VK_HOME);
        waitShown(window, 0, 60);
        steps(33, static_cast<int>(files.size()) - 1, "  next picture, key held (30 a second)");
    };
    run("as it opens");
    // As large as the display lets it be: the pictures are then decoded at half their size, as
    // they are for a window on a full-HD screen.
    SetWindowPos(window, nullptr, 0, 0, 1920, 1080, SWP_NOZORDER | SWP_NOMOVE);
    pump(100);
    run("the largest the test display allows: decoded at half size, as for a full-HD window");
    key(window, VK_ESCAPE);
    pump(100);
    viewer->Release();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: viewer-test check|preview|slideshow|registered|bench ...\n");
        return 2;
    }
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const std::string mode = argv[1];
    std::vector<std::string> rest(argv + 2, argv + argc);
    int status = 2;
    if (mode == "check" && rest.size() >= 2) {
        status = checkObjects(rest[0].c_str(), {rest.begin() + 1, rest.end()});
    } else if (mode == "preview" && rest.size() >= 3) {
        status = preview(rest[0].c_str(), rest[1], {rest.begin() + 2, rest.end()});
    } else if (mode == "slideshow" && rest.size() >= 2) {
        status = slideShow(rest[0], {rest.begin() + 1, rest.end()});
    } else if (mode == "registered") {
        status = registered();
    } else if (mode == "cd-viewer" && rest.size() == 2) {
        status = cdViewer(rest[0], rest[1]);
    } else if (mode == "register-slideshow" && rest.size() == 1) {
        Module m(rest[0].c_str());
        status = m.regSlideShow != nullptr && SUCCEEDED(m.regSlideShow()) ? 0 : 1;
    } else if (mode == "bench" && rest.size() >= 2) {
        status = bench(rest[0].c_str(), {rest.begin() + 1, rest.end()});
    }
    CoUninitialize();
    return status;
}
