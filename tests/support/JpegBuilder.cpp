#include "JpegBuilder.h"

#include <algorithm>

namespace TestSupport {

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes iptcDataSet(std::uint8_t record, std::uint8_t number, const std::string& value)
{
    Bytes b(5 + value.size());
    b[0] = 0x1C;
    b[1] = record;
    b[2] = number;
    b[3] = static_cast<std::uint8_t>(value.size() >> 8);
    b[4] = static_cast<std::uint8_t>(value.size());
    std::copy(value.begin(), value.end(), b.begin() + 5);
    return b;
}

Bytes bytesOf(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

JpegBuilder& JpegBuilder::segment(std::uint8_t marker, const Bytes& payload)
{
    const std::size_t length = payload.size() + 2;
    bytes_.push_back(0xFF);
    bytes_.push_back(marker);
    bytes_.push_back(static_cast<std::uint8_t>(length >> 8));
    bytes_.push_back(static_cast<std::uint8_t>(length));
    bytes_.insert(bytes_.end(), payload.begin(), payload.end());
    return *this;
}

JpegBuilder& JpegBuilder::raw(const Bytes& bytes)
{
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

JpegBuilder& JpegBuilder::exif(const Bytes& tiff)
{
    return segment(0xE1, bytesOf(std::string("Exif\0\0", 6)) + tiff);
}

JpegBuilder& JpegBuilder::xmp(const std::string& packet)
{
    return segment(0xE1, bytesOf(std::string("http://ns.adobe.com/xap/1.0/\0", 29)) + bytesOf(packet));
}

JpegBuilder& JpegBuilder::photoshop(const Bytes& resources)
{
    return segment(0xED, bytesOf(std::string("Photoshop 3.0\0", 14)) + resources);
}

JpegBuilder& JpegBuilder::frame()
{
    Bytes table(65, 1);
    table[0] = 0;
    segment(0xDB, table);
    segment(0xC0, {8, 0, 8, 0, 8, 1, 1, 0x11, 0}); // 8x8, one component
    return segment(0xC4, Bytes{0x00, 1} + Bytes(15, 0) + Bytes{0});
}

JpegBuilder& JpegBuilder::scan()
{
    segment(0xDA, {1, 1, 0x00, 0, 63, 0});
    return raw({0x12, 0x34, 0xFF, 0x00, 0x56, 0xFF, 0xD9});
}

Bytes resourceBlock(std::uint16_t id, const Bytes& data, const std::string& name)
{
    Bytes b = bytesOf("8BIM");
    b.push_back(static_cast<std::uint8_t>(id >> 8));
    b.push_back(static_cast<std::uint8_t>(id));
    b.push_back(static_cast<std::uint8_t>(name.size()));
    b.insert(b.end(), name.begin(), name.end());
    if (name.size() % 2 == 0) {
        b.push_back(0); // the Pascal string is padded to even length
    }
    const std::size_t n = data.size();
    b.push_back(static_cast<std::uint8_t>(n >> 24));
    b.push_back(static_cast<std::uint8_t>(n >> 16));
    b.push_back(static_cast<std::uint8_t>(n >> 8));
    b.push_back(static_cast<std::uint8_t>(n));
    b.insert(b.end(), data.begin(), data.end());
    if (n % 2 != 0) {
        b.push_back(0);
    }
    return b;
}

} // namespace TestSupport
