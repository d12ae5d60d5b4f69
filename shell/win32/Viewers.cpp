// The preview and slide-show classes: the objects the context menu and scripts make to open the
// windows. Each is handed the pictures (a string enumerator from the menu, paths one by one from
// a script) and shows them; the window keeps its object while it is open.
#include "Automation.h"
#include "Server.h"
#include "ViewerParts.h"

#include "lumeno_h.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>

namespace Lumeno::Shell {
namespace {
template <class Interface> class Viewer final : public DispatchObject<Interface> {
public:
    using Open = HWND (*)(const std::vector<std::string>& files, const ViewerHooks& hooks);

    Viewer(Open open, Viewer** singleton, IUnknown* outer) : DispatchObject<Interface>(outer), open_(open), singleton_(singleton) {}
    ~Viewer() override
    {
        if (singleton_ != nullptr) {
            std::lock_guard<std::mutex> lock(singletonMutex());
            if (*singleton_ == this) {
                *singleton_ = nullptr;
            }
        }
    }

    static std::mutex& singletonMutex()
    {
        static std::mutex mutex;
        return mutex;
    }

    HRESULT STDMETHODCALLTYPE AddFile(BSTR path) override
    {
        if (path == nullptr || SysStringLen(path) == 0) {
            return E_INVALIDARG;
        }
        try {
            std::lock_guard<std::mutex> lock(mutex_);
            files_.push_back(portablePath(path));
        } catch (...) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE AddFiles(IUnknown* files) override
    {
        if (files == nullptr) {
            return E_INVALIDARG;
        }
        IEnumString* strings = nullptr;
        if (FAILED(files->QueryInterface(IID_IEnumString, reinterpret_cast<void**>(&strings)))) {
            return E_NOINTERFACE;
        }
        HRESULT result = S_OK;
        for (;;) {
            LPOLESTR text = nullptr;
            ULONG got = 0;
            if (strings->Next(1, &text, &got) != S_OK || got != 1) {
                break;
            }
            if (text != nullptr && text[0] != 0) {
                result = AddFile(text);
            }
            CoTaskMemFree(text);
            if (FAILED(result)) {
                break;
            }
        }
        strings->Release();
        return result;
    }

    HRESULT STDMETHODCALLTYPE Show() override
    {
        std::vector<std::string> files;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            files = files_;
        }
        if (files.empty()) {
            return E_INVALIDARG; // nothing to show
        }
        // The window shown is replaced by one on the pictures given now.
        if (HWND open = window_.load()) {
            SendMessageW(open, WM_CLOSE, 0, 0);
        }
        ViewerHooks hooks;
        hooks.opened = [this](HWND window) {
            // The window keeps its object, and so the module, while it is open.
            this->controllingUnknown()->AddRef();
            window_ = window;
        };
        hooks.closed = [this] {
            window_ = nullptr;
            this->controllingUnknown()->Release();
        };
        try {
            return open_(files, hooks) != nullptr ? S_OK : E_FAIL;
        } catch (...) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE Close() override
    {
        if (HWND open = window_.load()) {
            SendMessageW(open, WM_CLOSE, 0, 0);
        }
        std::lock_guard<std::mutex> lock(mutex_);
        files_.clear();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override
    {
        if (count == nullptr) {
            return E_POINTER;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        *count = static_cast<LONG>(files_.size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Window(LONG* window) override
    {
        if (window == nullptr) {
            return E_POINTER;
        }
        // Window handles fit 32 bits, also in 64-bit processes.
        *window = static_cast<LONG>(reinterpret_cast<LONG_PTR>(window_.load()));
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Current(LONG* index) override
    {
        if (index == nullptr) {
            return E_POINTER;
        }
        HWND open = window_.load();
        *index = open == nullptr ? -1
                                 : static_cast<LONG>(LOWORD(SendMessageW(open, viewerStateMessage(), 0, 0)));
        return S_OK;
    }

private:
    Open open_;
    Viewer** singleton_;
    std::mutex mutex_;
    std::vector<std::string> files_;
    std::atomic<HWND> window_{nullptr};
};

using Preview = Viewer<ILumenoPreview>;
using SlideShow = Viewer<ILumenoSlideShow>;

Preview* g_preview = nullptr;
SlideShow* g_slideShow = nullptr;

HWND openPreviewHere(const std::vector<std::string>& files, const ViewerHooks& hooks)
{
    return openPreview(files, GetActiveWindow(), hooks);
}

// The one object of its class, made when there is none (or the last one is going).
template <class T> HRESULT createViewer(T** singleton, typename T::Open open, IUnknown* outer, IUnknown** inner)
{
    if (outer != nullptr) {
        return createObject<T>(inner, outer, open, static_cast<T**>(nullptr));
    }
    std::lock_guard<std::mutex> lock(T::singletonMutex());
    if (*singleton != nullptr && (*singleton)->addRefUnlessGone()) {
        *inner = (*singleton)->innerUnknown();
        return S_OK;
    }
    T* made = new (std::nothrow) T(open, singleton, nullptr);
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    *singleton = made;
    *inner = made->innerUnknown();
    return S_OK;
}

// A path handed out by the selection's string enumerator, the hand-over the viewer classes take.
LPOLESTR copyOf(const std::basic_string<WCHAR>& text)
{
    const std::size_t bytes = (text.size() + 1) * sizeof(WCHAR);
    auto* copy = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    if (copy != nullptr) {
        std::memcpy(copy, text.c_str(), bytes);
    }
    return copy;
}

using StringEnumerator = ListEnumerator<IEnumString, std::basic_string<WCHAR>, LPOLESTR, copyOf>;

// Hands the pictures to a viewer object in place of any it had, and shows them.
template <class Interface> HRESULT handOver(IUnknown* object, IEnumString* pictures)
{
    Interface* viewer = nullptr;
    HRESULT result = object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&viewer));
    if (SUCCEEDED(result)) {
        viewer->Close();
        result = viewer->AddFiles(pictures);
        if (SUCCEEDED(result)) {
            result = viewer->Show();
        }
        viewer->Release();
    }
    return result;
}

} // namespace

HRESULT showPictures(bool slideShow, const std::vector<std::string>& files)
{
    auto strings = std::make_shared<std::vector<std::basic_string<WCHAR>>>();
    for (const std::string& file : files) {
        strings->push_back(toUtf16(file));
    }
    IUnknown* inner = nullptr;
    HRESULT result = slideShow ? createSlideShow(nullptr, &inner) : createPreview(nullptr, &inner);
    if (FAILED(result)) {
        return result;
    }
    IEnumString* enumerator = nullptr;
    result = createInterface<StringEnumerator>(IID_IEnumString, reinterpret_cast<void**>(&enumerator),
                                               std::shared_ptr<const std::vector<std::basic_string<WCHAR>>>(strings),
                                               std::size_t{0});
    if (FAILED(result)) {
        inner->Release();
        return result;
    }
    result = slideShow ? handOver<ILumenoSlideShow>(inner, enumerator) : handOver<ILumenoPreview>(inner, enumerator);
    enumerator->Release();
    inner->Release();
    return result;
}

HRESULT createPreview(IUnknown* outer, IUnknown** inner)
{
    return createViewer<Preview>(&g_preview, openPreviewHere, outer, inner);
}

HRESULT createSlideShow(IUnknown* outer, IUnknown** inner)
{
    return createViewer<SlideShow>(&g_slideShow, startSlideShow, outer, inner);
}

} // namespace Lumeno::Shell
