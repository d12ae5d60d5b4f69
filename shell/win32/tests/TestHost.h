// What the test programs that drive the server share: text conversions, the server loaded as a
// library with its exports, objects made through its class factories, and the data object the
// shell hands a context menu or property sheet for some files.
#pragma once

#include "../ShellInterfaces.h"

#include <cstdio>
#include <set>
#include <string>
#include <vector>

// Named checks of a test program's own, counted; checksDone prints the counts as the test
// scripts read them ("N passed, M failed") and gives the program's status.
inline int g_passed = 0;
inline int g_failed = 0;

inline void check(bool ok, const std::string& what)
{
    if (ok) {
        ++g_passed;
    } else {
        ++g_failed;
        std::printf("FAIL: %s\n", what.c_str());
    }
}

inline int checksDone()
{
    std::printf("%d passed, %d failed\n", g_passed, g_failed);
    return g_failed == 0 ? 0 : 1;
}

// A minimal controlling object, to create objects aggregated.
class Outer : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

inline std::basic_string<WCHAR> wide(const std::string& s)
{
    const int n = MultiByteToWideChar(CP_UTF8, 0, s.c_str(), -1, nullptr, 0);
    std::basic_string<WCHAR> out(static_cast<std::size_t>(n), 0);
    MultiByteToWideChar(CP_UTF8, 0, s.c_str(), -1, &out[0], n);
    out.resize(static_cast<std::size_t>(n > 0 ? n - 1 : 0));
    return out;
}

inline std::string narrow(const WCHAR* s)
{
    const int n = WideCharToMultiByte(CP_UTF8, 0, s, -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, s, -1, &out[0], n, nullptr, nullptr);
    out.resize(static_cast<std::size_t>(n > 0 ? n - 1 : 0));
    return out;
}

struct Module {
    HMODULE handle = nullptr;
    HRESULT(WINAPI* canUnload)() = nullptr;
    HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(WINAPI* reg)() = nullptr;
    HRESULT(WINAPI* unreg)() = nullptr;
    HRESULT(WINAPI* regSlideShow)() = nullptr;
    HRESULT(WINAPI* unregSlideShow)() = nullptr;

    explicit Module(const char* path)
    {
        handle = LoadLibraryA(path);
        if (handle == nullptr) {
            return;
        }
        load(canUnload, "DllCanUnloadNow");
        load(getClassObject, "DllGetClassObject");
        load(reg, "DllRegisterServer");
        load(unreg, "DllUnregisterServer");
        load(regSlideShow, "DllRegisterSlideShowServer");
        load(unregSlideShow, "DllUnregisterSlideShowServer");
    }

    // An export by name; through void* since function types of exports differ from FARPROC's.
    template <class F> void load(F& function, const char* name)
    {
        function = reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
    }
};

inline CLSID clsid(const char* text)
{
    CLSID c = {};
    CLSIDFromString(wide(text).c_str(), &c);
    return c;
}

// An object of a class of the server, through its class factory (aggregated when `outer` is
// given); null when it cannot be made, the reason in `result`.
template <class T> T* create(Module& m, const char* clsidText, REFIID riid, IUnknown* outer = nullptr, HRESULT* result = nullptr)
{
    IClassFactory* factory = nullptr;
    HRESULT hr = m.getClassObject(clsid(clsidText), IID_IClassFactory, reinterpret_cast<void**>(&factory));
    T* object = nullptr;
    if (SUCCEEDED(hr)) {
        hr = factory->CreateInstance(outer, riid, reinterpret_cast<void**>(&object));
        factory->Release();
    }
    if (result != nullptr) {
        *result = hr;
    }
    return object;
}

// The data object the shell passes to a context menu or property sheet for `paths` (Windows
// paths, all in one folder): each parsed to an item of the desktop's namespace, and the data
// object asked of their folder. Null when any of them cannot be reached.
inline IDataObject* dataObjectFor(const std::vector<std::string>& paths)
{
    std::vector<PIDLIST_ABSOLUTE> absolute;
    std::vector<PCUITEMID_CHILD> children;
    IShellFolder* parent = nullptr;
    IDataObject* data = nullptr;
    bool ok = !paths.empty();
    for (const std::string& path : paths) {
        PIDLIST_ABSOLUTE item = nullptr;
        if (!ok || FAILED(SHParseDisplayName(wide(path).c_str(), nullptr, &item, 0, nullptr))) {
            ok = false;
            break;
        }
        absolute.push_back(item);
        PCUITEMID_CHILD child = nullptr;
        if (parent == nullptr && FAILED(SHBindToParent(item, IID_IShellFolder, reinterpret_cast<void**>(&parent), &child))) {
            ok = false;
            break;
        }
        children.push_back(ILFindLastID(item));
    }
    if (ok && parent != nullptr) {
        if (FAILED(parent->GetUIObjectOf(nullptr, static_cast<UINT>(children.size()), children.data(), IID_IDataObject,
                                         nullptr, reinterpret_cast<void**>(&data)))) {
            data = nullptr;
        }
    }
    if (parent != nullptr) {
        parent->Release();
    }
    for (PIDLIST_ABSOLUTE item : absolute) {
        CoTaskMemFree(item);
    }
    return data;
}

// A window's client area as 32-bit pixels (0x00RRGGBB), top row first.
struct Capture {
    int width = 0;
    int height = 0;
    std::vector<DWORD> pixels;
    DWORD at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x] & 0xFFFFFF; }
};

// The pixels from the window's DC into a DIB section (which works where PrintWindow does not,
// under Wine's display driver for no display); empty when they could not be taken.
inline Capture capture(HWND window)
{
    Capture c;
    RECT r;
    GetClientRect(window, &r);
    const int width = r.right - r.left;
    const int height = r.bottom - r.top;
    if (width <= 0 || height <= 0) {
        return c;
    }
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height; // top row first
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HDC source = GetDC(window);
    HDC memory = CreateCompatibleDC(source);
    HBITMAP bitmap = CreateDIBSection(source, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bitmap != nullptr && bits != nullptr) {
        HGDIOBJ old = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, width, height, source, 0, 0, SRCCOPY);
        GdiFlush();
        const auto* pixels = static_cast<const DWORD*>(bits);
        c.width = width;
        c.height = height;
        c.pixels.assign(pixels, pixels + static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        SelectObject(memory, old);
        DeleteObject(bitmap);
    }
    DeleteDC(memory);
    ReleaseDC(window, source);
    return c;
}

// A capture written as a BMP file (bottom-up rows, as the format keeps them).
inline bool writeBmp(const Capture& c, const std::string& path)
{
    BITMAPFILEHEADER file = {};
    BITMAPINFOHEADER bmp = {};
    bmp.biSize = sizeof bmp;
    bmp.biWidth = c.width;
    bmp.biHeight = c.height;
    bmp.biPlanes = 1;
    bmp.biBitCount = 32;
    bmp.biCompression = BI_RGB;
    const DWORD size = static_cast<DWORD>(c.pixels.size() * 4);
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof file + sizeof bmp;
    file.bfSize = file.bfOffBits + size;
    FILE* out = std::fopen(path.c_str(), "wb");
    if (out == nullptr) {
        return false;
    }
    std::fwrite(&file, sizeof file, 1, out);
    std::fwrite(&bmp, sizeof bmp, 1, out);
    for (int y = c.height - 1; y >= 0; --y) {
        std::fwrite(c.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(c.width), 4,
                    static_cast<std::size_t>(c.width), out);
    }
    return std::fclose(out) == 0;
}

// A window's picture written as a BMP file; the number of different colours it holds, 0 when it
// could not be taken.
inline std::size_t picture(HWND window, const std::string& path, int& width, int& height)
{
    const Capture c = capture(window);
    width = c.width;
    height = c.height;
    if (c.pixels.empty()) {
        return 0;
    }
    writeBmp(c, path);
    std::set<DWORD> colours;
    for (DWORD pixel : c.pixels) {
        colours.insert(pixel & 0xFFFFFF);
    }
    return colours.size();
}
