#include "Lumeno/Shell/Viewer.h"

#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageMetadata.h>
#include <Metadata/ImageStream.h>
#include <Metadata/MetadataValues.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

namespace Lumeno::Shell {

// ---- Viewport --------------------------------------------------------------------------------

void Viewport::setArea(const Rect& area)
{
    area_ = area;
    fitting_ ? fit() : keepInside();
}

void Viewport::setPicture(int width, int height)
{
    width_ = std::max(width, 0);
    height_ = std::max(height, 0);
    fit();
}

double Viewport::fitScale() const
{
    if (width_ <= 0 || height_ <= 0 || area_.width <= 0 || area_.height <= 0) {
        return 1.0;
    }
    return std::min({1.0, static_cast<double>(area_.width) / width_, static_cast<double>(area_.height) / height_});
}

void Viewport::fit()
{
    fitting_ = true;
    scale_ = fitScale();
    keepInside();
}

void Viewport::actualSize()
{
    zoomAbout(1.0 / scale_, area_.left + area_.width / 2, area_.top + area_.height / 2);
}

void Viewport::zoomAbout(double factor, int x, int y)
{
    if (width_ <= 0 || height_ <= 0 || !(factor > 0)) {
        return;
    }
    // Never smaller than fit (or than full size, for a picture smaller than the area).
    const double least = std::min(fitScale(), 1.0);
    double scale = std::clamp(scale_ * factor, least, Largest);
    if (std::abs(scale - 1.0) < 1e-9) {
        scale = 1.0;
    }
    // The picture's point under (x, y) stays there.
    const double px = (x - left_) / scale_;
    const double py = (y - top_) / scale_;
    scale_ = scale;
    left_ = x - px * scale_;
    top_ = y - py * scale_;
    fitting_ = std::abs(scale_ - fitScale()) < 1e-9;
    keepInside();
}

void Viewport::panBy(int dx, int dy)
{
    left_ += dx;
    top_ += dy;
    keepInside();
}

void Viewport::keepInside()
{
    // Centred along a side where it is smaller than the area; otherwise its edges may not come
    // inside the area.
    auto place = [](double& at, double size, int start, int length) {
        if (size <= length) {
            at = start + (length - size) / 2;
        } else {
            at = std::clamp(at, start + length - size, static_cast<double>(start));
        }
    };
    place(left_, width_ * scale_, area_.left, area_.width);
    place(top_, height_ * scale_, area_.top, area_.height);
}

Rect Viewport::pictureRect() const
{
    return {static_cast<int>(std::lround(left_)), static_cast<int>(std::lround(top_)),
            std::max(1, static_cast<int>(std::lround(width_ * scale_))),
            std::max(1, static_cast<int>(std::lround(height_ * scale_)))};
}

bool Viewport::draggable() const
{
    return width_ * scale_ > area_.width + 0.5 || height_ * scale_ > area_.height + 0.5;
}

// ---- Sequence --------------------------------------------------------------------------------

Sequence::Sequence(std::size_t count, bool shuffled, bool repeat, std::uint32_t seed) : order_(count), repeat_(repeat)
{
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    if (shuffled) {
        std::mt19937 random(seed);
        std::shuffle(order_.begin(), order_.end(), random);
    }
}

std::optional<std::size_t> Sequence::placeAfter(int step) const
{
    if (order_.empty()) {
        return std::nullopt;
    }
    const auto n = static_cast<long long>(order_.size());
    long long place = static_cast<long long>(position_) + step;
    if (place < 0 || place >= n) {
        if (!repeat_) {
            return std::nullopt;
        }
        place = ((place % n) + n) % n;
    }
    return static_cast<std::size_t>(place);
}

std::optional<std::size_t> Sequence::peek(int step) const
{
    const std::optional<std::size_t> place = placeAfter(step);
    if (!place) {
        return std::nullopt;
    }
    return order_[*place];
}

bool Sequence::step(int step)
{
    const std::optional<std::size_t> place = placeAfter(step);
    if (!place) {
        return false;
    }
    position_ = *place;
    return true;
}

void Sequence::showIndex(std::size_t index)
{
    const auto found = std::find(order_.begin(), order_.end(), index);
    if (found != order_.end()) {
        position_ = static_cast<std::size_t>(found - order_.begin());
    }
}

void Sequence::remove(std::size_t index)
{
    const auto found = std::find(order_.begin(), order_.end(), index);
    if (found == order_.end()) {
        return;
    }
    const auto place = static_cast<std::size_t>(found - order_.begin());
    order_.erase(found);
    if (place < position_ || (position_ > 0 && position_ >= order_.size())) {
        --position_;
    }
}

// ---- Filmstrip -------------------------------------------------------------------------------

std::size_t Filmstrip::visibleCount() const
{
    if (count_ == 0 || area_.width <= 0) {
        return 0;
    }
    const auto fits = static_cast<std::size_t>((area_.width - Gap + Cell + Gap - 1) / (Cell + Gap));
    return std::min(fits, count_ - first_);
}

void Filmstrip::keepInView(std::size_t index)
{
    if (index >= count_) {
        return;
    }
    // Cells wholly in view.
    const auto whole = static_cast<std::size_t>(std::max(1, (area_.width - Gap) / (Cell + Gap)));
    if (index < first_) {
        first_ = index;
    } else if (index >= first_ + whole) {
        first_ = index + 1 - whole;
    }
}

Rect Filmstrip::cell(std::size_t index) const
{
    const auto place = static_cast<long long>(index) - static_cast<long long>(first_);
    return {area_.left + Gap + static_cast<int>(place) * (Cell + Gap), area_.top + Gap, Cell, Cell};
}

Rect Filmstrip::thumbnailRect(std::size_t index, int width, int height) const
{
    const Rect c = cell(index);
    if (width <= 0 || height <= 0) {
        return c;
    }
    const double scale = std::min(static_cast<double>(Cell) / width, static_cast<double>(Cell) / height);
    const int w = std::max(1, static_cast<int>(std::lround(width * scale)));
    const int h = std::max(1, static_cast<int>(std::lround(height * scale)));
    return {c.left + (Cell - w) / 2, c.top + (Cell - h) / 2, w, h};
}

std::optional<std::size_t> Filmstrip::hit(int x, int y) const
{
    for (std::size_t i = first_; i < first_ + visibleCount(); ++i) {
        if (cell(i).contains(x, y)) {
            return i;
        }
    }
    return std::nullopt;
}

// ---- Texts -----------------------------------------------------------------------------------

TextPlace textPlace(unsigned long setting)
{
    return setting <= static_cast<unsigned long>(TextPlace::BottomRight) ? static_cast<TextPlace>(setting)
                                                                         : TextPlace::BottomCentre;
}

Rect placeText(TextPlace place, const Rect& area, int width, int height, int margin)
{
    const auto column = static_cast<int>(place) % 3; // left, centre, right
    const bool top = static_cast<int>(place) < 3;
    Rect r{0, 0, width, height};
    r.left = column == 0 ? area.left + margin
             : column == 1 ? area.left + (area.width - width) / 2
                           : area.left + area.width - margin - width;
    r.top = top ? area.top + margin : area.top + area.height - margin - height;
    return r;
}

namespace {

// "2004:02:26 06:27:51-05:00" as people write it: "2004-02-26 06:27:51".
std::string readableDate(std::string date)
{
    if (date.size() >= 19 && date[4] == ':' && date[7] == ':' && date[10] == ' ') {
        date[4] = '-';
        date[7] = '-';
        return date.substr(0, 19);
    }
    return date;
}

std::string valueOf(const Metadata::MetadataValues& values, const char* name)
{
    const Metadata::MetadataValues::Value* value = values.find(name);
    return value != nullptr ? value->text : std::string();
}

template <class T> T fromFile(const std::string& path, T (*read)(const Metadata::ImageMetadata&), T fallback)
{
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        return read(*image);
    } catch (const std::exception&) {
        return fallback;
    }
}

} // namespace

std::vector<std::string> overlayLines(const Metadata::ImageMetadata& image, const std::string& fileName)
{
    const Metadata::MetadataValues values(image);
    std::vector<std::string> lines{fileName};
    auto line = [&](const char* label, const std::string& text) {
        if (!text.empty()) {
            lines.push_back(std::string(label) + ": " + text);
        }
    };
    line("Title", valueOf(values, "Title"));
    line("Taken", readableDate(valueOf(values, "DateTaken")));
    // The model often repeats the maker's name ("Canon" "Canon EOS 300D").
    const std::string make = valueOf(values, "Make");
    const std::string model = valueOf(values, "Model");
    line("Camera", model.compare(0, make.size(), make) == 0 || make.empty() ? model : make + " " + model);
    line("Lens", valueOf(values, "Lens"));
    std::string exposure;
    auto add = [&](const std::string& text, const char* before, const char* after) {
        if (!text.empty()) {
            exposure += (exposure.empty() ? "" : "  ") + std::string(before) + text + after;
        }
    };
    add(valueOf(values, "ExposureTime"), "", " s");
    add(valueOf(values, "FNumber"), "f/", "");
    add(valueOf(values, "ISO"), "ISO ", "");
    add(valueOf(values, "FocalLength"), "", "");
    line("Exposure", exposure);
    line("Flash", valueOf(values, "Flash"));
    line("Size", valueOf(values, "ImageSize"));
    line("Place", valueOf(values, "GPSPosition"));
    return lines;
}

Captions captionsOf(const Metadata::ImageMetadata& image)
{
    const Metadata::MetadataValues values(image);
    Captions captions;
    captions.caption = valueOf(values, "Description");
    if (captions.caption.empty()) {
        captions.caption = valueOf(values, "Title");
    }
    captions.dateTime = readableDate(valueOf(values, "DateTaken"));
    return captions;
}

std::vector<std::string> overlayLinesForFile(const std::string& path)
{
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        const std::size_t slash = path.find_last_of("/\\");
        return overlayLines(*image, slash == std::string::npos ? path : path.substr(slash + 1));
    } catch (const std::exception&) {
        return {};
    }
}

Captions captionsForFile(const std::string& path)
{
    return fromFile<Captions>(path, captionsOf, Captions{});
}

int orientationForFile(const std::string& path)
{
    return fromFile<int>(
        path,
        [](const Metadata::ImageMetadata& image) {
            std::uint32_t value = 1;
            if (image.exif().getUInt32(Metadata::DirectoryId::Primary, 274, value) && value >= 1 && value <= 8) {
                return static_cast<int>(value);
            }
            return 1;
        },
        1);
}

} // namespace Lumeno::Shell
