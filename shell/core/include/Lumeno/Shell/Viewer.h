// What the preview and the slide show compute, apart from the windows that show it: the zoom
// and pan of a picture, the order pictures come in, the filmstrip's places, the texts drawn over
// a picture and where they go, and the decoding of the pictures to come while one is shown.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace Metadata {
class ImageMetadata;
}

namespace Lumeno::Shell {

struct Rect {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool contains(int x, int y) const { return x >= left && y >= top && x < left + width && y < top + height; }
    bool operator==(const Rect& o) const
    {
        return left == o.left && top == o.top && width == o.width && height == o.height;
    }
};

// ---- Zoom and pan ----------------------------------------------------------------------------

// A picture of `pictureWidth` x `pictureHeight` (as seen, at its full size) in a window area.
// At fit it is as large as the area allows, never enlarged, and centred; zoomed, it keeps the
// point under the cursor where it was and can be dragged, never further than its edges allow.
class Viewport {
public:
    static constexpr double Step = 1.25; // one zoom step, in and out
    static constexpr double Largest = 16.0;

    void setArea(const Rect& area);
    void setPicture(int width, int height);

    void fit();
    void actualSize();
    // Zoom by `factor` about a point of the area (window coordinates).
    void zoomAbout(double factor, int x, int y);
    void zoomIn() { zoomAbout(Step, area_.left + area_.width / 2, area_.top + area_.height / 2); }
    void zoomOut() { zoomAbout(1 / Step, area_.left + area_.width / 2, area_.top + area_.height / 2); }
    void panBy(int dx, int dy);

    bool fitting() const noexcept { return fitting_; }
    double scale() const noexcept { return scale_; }
    double fitScale() const;
    // Where the whole picture lands (it may reach beyond the area when zoomed).
    Rect pictureRect() const;
    // Whether the picture is larger than the area, so that dragging moves it.
    bool draggable() const;

private:
    void keepInside();

    Rect area_;
    int width_ = 0;
    int height_ = 0;
    double scale_ = 1.0;
    bool fitting_ = true;
    double left_ = 0; // the picture's top left corner, in window coordinates
    double top_ = 0;
};

// ---- Order -----------------------------------------------------------------------------------

// The order of a slide show or preview over `count` pictures: as selected, or shuffled
// (Sequence 1) with every picture once per round; with `repeat` the end leads back to the start.
class Sequence {
public:
    Sequence(std::size_t count, bool shuffled, bool repeat, std::uint32_t seed = 0);

    std::size_t size() const noexcept { return order_.size(); }
    bool empty() const noexcept { return order_.empty(); }
    // The picture (its index among the files) at the current place.
    std::size_t current() const { return order_.at(position_); }
    std::size_t position() const noexcept { return position_; }
    // The picture a step forward or back would show; nothing at an end without repeat.
    std::optional<std::size_t> peek(int step) const;
    // Takes that step; false (and no move) at an end without repeat.
    bool step(int step);
    // Goes to the picture with this index (for a click on its thumbnail).
    void showIndex(std::size_t index);
    void first() { position_ = 0; }
    void last() { position_ = order_.empty() ? 0 : order_.size() - 1; }
    // Leaves a picture out (it was removed, renamed away or could not be read for good).
    void remove(std::size_t index);

private:
    std::optional<std::size_t> placeAfter(int step) const;

    std::vector<std::size_t> order_;
    std::size_t position_ = 0;
    bool repeat_;
};

// ---- Filmstrip -------------------------------------------------------------------------------

// Thumbnails in a row across the bottom of the preview, the current one kept in view.
class Filmstrip {
public:
    static constexpr int Cell = 96; // a thumbnail's square
    static constexpr int Gap = 8;
    static constexpr int Height = Cell + 2 * Gap;

    void setArea(const Rect& area) { area_ = area; }
    void setCount(std::size_t count) { count_ = count; first_ = first_ < count ? first_ : 0; }
    // Scrolls just enough for `index` to be wholly in view.
    void keepInView(std::size_t index);
    std::size_t first() const noexcept { return first_; }
    // How many cells are wholly or partly in view from first().
    std::size_t visibleCount() const;
    Rect cell(std::size_t index) const;
    // Where a thumbnail of `width` x `height` is drawn in its cell, fitted and centred.
    Rect thumbnailRect(std::size_t index, int width, int height) const;
    // The picture whose cell holds the point; nothing between or past the cells.
    std::optional<std::size_t> hit(int x, int y) const;

private:
    Rect area_;
    std::size_t count_ = 0;
    std::size_t first_ = 0;
};

// ---- Texts -----------------------------------------------------------------------------------

// The places a caption may take (CaptionLocation, DateTimeLocation), as the Captions page
// lists them.
enum class TextPlace { TopLeft, TopCentre, TopRight, BottomLeft, BottomCentre, BottomRight };
TextPlace textPlace(unsigned long setting);
// Where a text of `width` x `height` goes in `area` at `place`, `margin` from its edges.
Rect placeText(TextPlace place, const Rect& area, int width, int height, int margin);

// The preview's overlay: the file's name, then the photo's principal values a line each
// ("Taken: 2004-02-26 06:27:51", "Camera: ...", exposure, aperture...), those it has.
std::vector<std::string> overlayLines(const Metadata::ImageMetadata& image, const std::string& fileName);

// The slide show's captions of a photo: its caption (the description, else the title) and when
// it was taken ("2004-02-26 06:27:51"), each empty when the photo has none.
struct Captions {
    std::string caption;
    std::string dateTime;
};
Captions captionsOf(const Metadata::ImageMetadata& image);

// The texts of a file, empty when it cannot be read.
std::vector<std::string> overlayLinesForFile(const std::string& path);
Captions captionsForFile(const std::string& path);
// The picture's EXIF orientation (1 to 8), 1 when it has none or cannot be read.
int orientationForFile(const std::string& path);

// ---- Decoding ahead --------------------------------------------------------------------------

// Makes items (decoded pictures, thumbnails) on a thread of its own, those asked for first: the
// window asks for the picture it shows and hints at the ones it will show next, so that they
// are ready when the user moves on. At most `keep` items are kept; those least recently asked
// for go first. `ready` is told (on the loader's thread) when an item asked for is made, so
// that the window can be woken.
template <class T> class AheadLoader {
public:
    using Make = std::function<std::shared_ptr<const T>(std::size_t index)>;

    AheadLoader(Make make, std::size_t keep, std::function<void(std::size_t)> ready = nullptr)
        : make_(std::move(make)), ready_(std::move(ready)), keep_(keep < 1 ? 1 : keep), worker_([this] { run(); })
    {
    }
    ~AheadLoader()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        worker_.join();
    }
    AheadLoader(const AheadLoader&) = delete;
    AheadLoader& operator=(const AheadLoader&) = delete;

    // The item when it is made; otherwise nothing, and it is made next, before anything
    // hinted at. `failed` (when given) tells whether making it failed: it is not tried again
    // until forgotten.
    std::shared_ptr<const T> get(std::size_t index, bool* failed = nullptr)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        touch(index);
        auto found = items_.find(index);
        if (found != items_.end()) {
            if (failed != nullptr) {
                *failed = !found->second;
            }
            return found->second;
        }
        if (failed != nullptr) {
            *failed = false;
        }
        queue_.erase(std::remove(queue_.begin(), queue_.end(), index), queue_.end());
        queue_.push_front(index);
        asked_.insert(index);
        wake_.notify_all();
        return nullptr;
    }
    // Waits for the item (a caller that cannot go on without it); null when it failed.
    std::shared_ptr<const T> wait(std::size_t index)
    {
        get(index);
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait(lock, [&] { return items_.count(index) != 0 || stopping_; });
        auto found = items_.find(index);
        return found != items_.end() ? found->second : nullptr;
    }
    // Items to make when nothing is asked for, in this order (the next pictures); replaces the
    // earlier hints.
    void hint(const std::vector<std::size_t>& indices)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        hints_.assign(indices.begin(), indices.end());
        wake_.notify_all();
    }
    // Drops an item (its file changed), or every item.
    void forget(std::size_t index)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        items_.erase(index);
        stale_.insert(index);
    }
    void forgetAll()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& item : items_) {
            stale_.insert(item.first);
        }
        items_.clear();
        if (busy_) {
            stale_.insert(*busy_);
        }
    }
    // Whether the item is made (for tests and measurements).
    bool ready(std::size_t index)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return items_.count(index) != 0;
    }
    std::size_t made()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return made_;
    }

private:
    void touch(std::size_t index)
    {
        used_.erase(std::remove(used_.begin(), used_.end(), index), used_.end());
        used_.push_back(index);
        if (used_.size() > 4 * keep_) {
            used_.erase(used_.begin());
        }
    }
    // Keeps at most `keep_` items: the latest asked for, and the hints.
    void trim()
    {
        while (items_.size() > keep_) {
            std::optional<std::size_t> victim;
            for (const auto& item : items_) {
                const bool hinted = std::find(hints_.begin(), hints_.end(), item.first) != hints_.end();
                const auto use = std::find(used_.begin(), used_.end(), item.first);
                if (!hinted && use == used_.end()) {
                    victim = item.first;
                    break;
                }
            }
            if (!victim) {
                for (std::size_t index : used_) { // least recently asked for first
                    if (items_.count(index) != 0 && std::find(hints_.begin(), hints_.end(), index) == hints_.end()) {
                        victim = index;
                        break;
                    }
                }
            }
            if (!victim) {
                victim = items_.begin()->first;
            }
            items_.erase(*victim);
            used_.erase(std::remove(used_.begin(), used_.end(), *victim), used_.end());
        }
    }
    std::optional<std::size_t> nextJob()
    {
        while (!queue_.empty()) {
            const std::size_t index = queue_.front();
            queue_.pop_front();
            if (items_.count(index) == 0) {
                return index;
            }
        }
        for (std::size_t index : hints_) {
            if (items_.count(index) == 0) {
                return index;
            }
        }
        return std::nullopt;
    }
    void run()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            std::optional<std::size_t> job;
            wake_.wait(lock, [&] { return stopping_ || (job = nextJob()).has_value(); });
            if (stopping_) {
                return;
            }
            busy_ = job;
            stale_.erase(*job);
            lock.unlock();
            std::shared_ptr<const T> item;
            try {
                item = make_(*job);
            } catch (...) {
                item.reset(); // a failure is kept as an empty item: not tried again
            }
            lock.lock();
            busy_.reset();
            if (stale_.count(*job) != 0) {
                continue; // forgotten while it was made: made again when asked
            }
            ++made_;
            items_[*job] = item;
            trim();
            const bool wanted = asked_.erase(*job) != 0;
            done_.notify_all();
            if (wanted && ready_) {
                lock.unlock();
                ready_(*job);
                lock.lock();
            }
        }
    }

    Make make_;
    std::function<void(std::size_t)> ready_;
    std::size_t keep_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::map<std::size_t, std::shared_ptr<const T>> items_;
    std::deque<std::size_t> queue_;
    std::vector<std::size_t> hints_;
    std::vector<std::size_t> used_;
    std::set<std::size_t> stale_;
    std::set<std::size_t> asked_; // asked for and not made yet: the window waits for them
    std::optional<std::size_t> busy_;
    std::size_t made_ = 0;
    bool stopping_ = false;
    std::thread worker_; // last: it starts once everything above is made
};

} // namespace Lumeno::Shell
