// The image service on Windows: the Windows Imaging Component decodes, scales, turns and encodes.
// It is part of the system, so nothing has to be installed or loaded beside the program. The
// orientation comes from the caller (our own EXIF reader), never from the component: under Wine
// it exposes no EXIF at all.
#include "Lumeno/Platform/Images.h"
#include "WindowsText.h"

#include <windows.h>
#include <objbase.h>
#include <shlwapi.h>
#include <wincodec.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Lumeno::Platform {

namespace {

// An interface pointer released when it goes.
template <class T> class Com {
public:
    Com() = default;
    ~Com()
    {
        if (p_ != nullptr) {
            p_->Release();
        }
    }
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;
    T** put() { return &p_; }
    T* operator->() const { return p_; }
    T* get() const { return p_; }

private:
    T* p_ = nullptr;
};

void check(HRESULT result, const char* step)
{
    if (FAILED(result)) {
        char text[128];
        std::snprintf(text, sizeof text, "the Windows Imaging Component could not %s (0x%08lX)", step,
                      static_cast<unsigned long>(result));
        throw std::runtime_error(text);
    }
}

// COM for the calling thread when it has none yet (the command-line tool); a thread that has it
// (the file manager's) keeps its own.
class Apartment {
public:
    Apartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~Apartment()
    {
        if (SUCCEEDED(result_)) {
            CoUninitialize();
        }
    }

private:
    HRESULT result_;
};

// Pixels of three bytes a row after another, rows padded to four bytes as bitmaps have them.
struct Pixels {
    UINT width = 0;
    UINT height = 0;
    UINT stride = 0;
    std::vector<BYTE> bytes;

    Pixels(UINT w, UINT h) : width(w), height(h), stride((w * 3 + 3) & ~3u), bytes(static_cast<std::size_t>(stride) * h) {}
    BYTE* at(UINT x, UINT y) { return &bytes[static_cast<std::size_t>(y) * stride + x * 3]; }
};

// The picture as it is meant to be seen, from the pixels as stored and the EXIF orientation
// (EXIF 2.2, 4.6.4 A). Done here rather than by the component's flip-rotator, which under Wine
// cannot turn by a quarter.
Pixels upright(Pixels& stored, int orientation)
{
    if (orientation < 2 || orientation > 8) {
        return std::move(stored);
    }
    const bool swaps = orientation >= 5;
    const UINT w = stored.width;
    const UINT h = stored.height;
    Pixels out(swaps ? h : w, swaps ? w : h);
    for (UINT y = 0; y < h; ++y) {
        for (UINT x = 0; x < w; ++x) {
            UINT tx = x;
            UINT ty = y;
            switch (orientation) {
            case 2: tx = w - 1 - x; break;                 // mirrored
            case 3: tx = w - 1 - x; ty = h - 1 - y; break; // upside down
            case 4: ty = h - 1 - y; break;                 // mirrored upside down
            case 5: tx = y; ty = x; break;                 // transposed
            case 6: tx = h - 1 - y; ty = x; break;         // a quarter clockwise
            case 7: tx = h - 1 - y; ty = w - 1 - x; break; // transversed
            case 8: tx = y; ty = w - 1 - x; break;         // a quarter counter-clockwise
            }
            std::memcpy(out.at(tx, ty), stored.at(x, y), 3);
        }
    }
    return out;
}

class WicImages final : public ImageService {
public:
    void start() const override {}

    std::string thumbnail(const std::string& path, unsigned longerSide, int orientation) const override
    {
        const Apartment apartment;
        Com<IWICImagingFactory> factory;
        check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                               reinterpret_cast<void**>(factory.put())),
              "start");
        Com<IWICBitmapDecoder> decoder;
        check(factory->CreateDecoderFromFilename(wide(path).c_str(), nullptr, GENERIC_READ,
                                                 WICDecodeMetadataCacheOnDemand, decoder.put()),
              "read the picture");
        Com<IWICBitmapFrameDecode> frame;
        check(decoder->GetFrame(0, frame.put()), "read the picture");
        UINT width = 0;
        UINT height = 0;
        check(frame->GetSize(&width, &height), "read the picture's size");
        if (width == 0 || height == 0) {
            throw std::runtime_error("the picture has no pixels");
        }
        // Only ever smaller, the aspect kept.
        UINT targetWidth = width;
        UINT targetHeight = height;
        if (width > longerSide || height > longerSide) {
            if (width >= height) {
                targetWidth = longerSide;
                targetHeight = static_cast<UINT>((static_cast<unsigned long long>(height) * longerSide + width / 2) / width);
            } else {
                targetHeight = longerSide;
                targetWidth = static_cast<UINT>((static_cast<unsigned long long>(width) * longerSide + height / 2) / height);
            }
            targetWidth = targetWidth == 0 ? 1 : targetWidth;
            targetHeight = targetHeight == 0 ? 1 : targetHeight;
        }
        Com<IWICBitmapScaler> scaler;
        check(factory->CreateBitmapScaler(scaler.put()), "scale the picture");
        check(scaler->Initialize(frame.get(), targetWidth, targetHeight, WICBitmapInterpolationModeFant),
              "scale the picture");
        Com<IWICFormatConverter> converter;
        check(factory->CreateFormatConverter(converter.put()), "convert the picture");
        check(converter->Initialize(scaler.get(), GUID_WICPixelFormat24bppBGR, WICBitmapDitherTypeNone, nullptr, 0.0,
                                    WICBitmapPaletteTypeCustom),
              "convert the picture");
        Pixels stored(targetWidth, targetHeight);
        check(converter->CopyPixels(nullptr, stored.stride, static_cast<UINT>(stored.bytes.size()), stored.bytes.data()),
              "read the picture's pixels");
        Pixels seen = upright(stored, orientation);
        Com<IWICBitmap> bitmap;
        check(factory->CreateBitmapFromMemory(seen.width, seen.height, GUID_WICPixelFormat24bppBGR, seen.stride,
                                              static_cast<UINT>(seen.bytes.size()), seen.bytes.data(), bitmap.put()),
              "turn the picture");

        IStream* raw = SHCreateMemStream(nullptr, 0);
        if (raw == nullptr) {
            throw std::runtime_error("no memory for the thumbnail");
        }
        Com<IStream> stream;
        *stream.put() = raw;
        Com<IWICBitmapEncoder> encoder;
        check(factory->CreateEncoder(GUID_ContainerFormatJpeg, nullptr, encoder.put()), "encode a JPEG");
        check(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache), "encode a JPEG");
        Com<IWICBitmapFrameEncode> out;
        Com<IPropertyBag2> options;
        check(encoder->CreateNewFrame(out.put(), options.put()), "encode a JPEG");
        PROPBAG2 quality{};
        quality.pstrName = const_cast<LPOLESTR>(L"ImageQuality");
        VARIANT value;
        VariantInit(&value);
        value.vt = VT_R4;
        value.fltVal = 0.85f; // the store's thumbnails' quality
        options->Write(1, &quality, &value);
        check(out->Initialize(options.get()), "encode a JPEG");
        check(out->SetSize(seen.width, seen.height), "encode a JPEG");
        WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
        check(out->SetPixelFormat(&format), "encode a JPEG");
        check(out->WriteSource(bitmap.get(), nullptr), "encode a JPEG");
        check(out->Commit(), "encode a JPEG");
        check(encoder->Commit(), "encode a JPEG");

        STATSTG stat{};
        check(stream->Stat(&stat, STATFLAG_NONAME), "encode a JPEG");
        LARGE_INTEGER start{};
        check(stream->Seek(start, STREAM_SEEK_SET, nullptr), "encode a JPEG");
        std::string jpeg(static_cast<std::size_t>(stat.cbSize.QuadPart), '\0');
        ULONG read = 0;
        check(stream->Read(&jpeg[0], static_cast<ULONG>(jpeg.size()), &read), "encode a JPEG");
        jpeg.resize(read);
        return jpeg;
    }
};

} // namespace

const ImageService& imageService()
{
    static const WicImages service;
    return service;
}

} // namespace Lumeno::Platform
