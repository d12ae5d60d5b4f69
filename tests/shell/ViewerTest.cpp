#include <Lumeno/Shell/Viewer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>
#include <stdexcept>

using namespace Lumeno::Shell;

TEST(Viewport, FitsWithoutEnlargingZoomsAboutTheCursorAndKeepsTheEdgesOut)
{
    Viewport view;
    view.setArea({0, 0, 800, 600});
    view.setPicture(4000, 3000);
    EXPECT_TRUE(view.fitting());
    EXPECT_DOUBLE_EQ(view.scale(), 0.2);
    EXPECT_EQ(view.pictureRect(), (Rect{0, 0, 800, 600}));
    EXPECT_FALSE(view.draggable());

    // A portrait picture is centred across.
    view.setPicture(3000, 4000);
    EXPECT_EQ(view.pictureRect(), (Rect{175, 0, 450, 600}));

    // A small picture stays at its size, centred, and cannot be zoomed out below it.
    view.setPicture(200, 100);
    EXPECT_EQ(view.pictureRect(), (Rect{300, 250, 200, 100}));
    view.zoomOut();
    EXPECT_DOUBLE_EQ(view.scale(), 1.0);

    // Zooming about a point keeps the picture's point under it.
    view.setPicture(4000, 3000);
    view.zoomAbout(2.0, 200, 150); // the picture's (1000, 750)
    EXPECT_FALSE(view.fitting());
    Rect r = view.pictureRect();
    EXPECT_NEAR((200 - r.left) / view.scale(), 1000.0, 1.0);
    EXPECT_NEAR((150 - r.top) / view.scale(), 750.0, 1.0);
    EXPECT_TRUE(view.draggable());

    // Dragged, it never leaves a gap at its edges.
    view.panBy(10000, 10000);
    EXPECT_EQ(view.pictureRect().left, 0);
    EXPECT_EQ(view.pictureRect().top, 0);
    view.panBy(-100000, -100000);
    r = view.pictureRect();
    EXPECT_EQ(r.left + r.width, 800);
    EXPECT_EQ(r.top + r.height, 600);

    view.actualSize();
    EXPECT_DOUBLE_EQ(view.scale(), 1.0);
    EXPECT_EQ(view.pictureRect().width, 4000);
    for (int i = 0; i < 40; ++i) {
        view.zoomIn();
    }
    EXPECT_DOUBLE_EQ(view.scale(), Viewport::Largest);
    for (int i = 0; i < 40; ++i) {
        view.zoomOut();
    }
    EXPECT_DOUBLE_EQ(view.scale(), 0.2);
    EXPECT_TRUE(view.fitting());

    // A window made larger refits a fitted picture.
    view.setArea({0, 0, 1600, 1200});
    EXPECT_DOUBLE_EQ(view.scale(), 0.4);

    // No picture, no area: nothing divides by zero.
    Viewport empty;
    empty.zoomIn();
    empty.setArea({0, 0, 0, 0});
    empty.setPicture(0, 0);
    EXPECT_DOUBLE_EQ(empty.scale(), 1.0);
}

TEST(Sequence, StepsWrapOnlyWithRepeatAndShuffleShowsEachOnce)
{
    Sequence plain(3, false, false);
    EXPECT_EQ(plain.current(), 0u);
    EXPECT_FALSE(plain.peek(-1));
    EXPECT_TRUE(plain.step(1));
    EXPECT_TRUE(plain.step(1));
    EXPECT_EQ(plain.current(), 2u);
    EXPECT_FALSE(plain.step(1));
    EXPECT_EQ(plain.current(), 2u);

    Sequence looping(3, false, true);
    EXPECT_EQ(looping.peek(-1), 2u);
    looping.last();
    EXPECT_TRUE(looping.step(1));
    EXPECT_EQ(looping.current(), 0u);

    Sequence shuffled(50, true, true, 7);
    std::set<std::size_t> seen;
    for (int i = 0; i < 50; ++i) {
        seen.insert(shuffled.current());
        shuffled.step(1);
    }
    EXPECT_EQ(seen.size(), 50u);
    Sequence again(50, true, true, 7);
    Sequence other(50, true, true, 8);
    bool differs = false;
    for (int i = 0; i < 50; ++i, again.step(1), other.step(1)) {
        differs = differs || again.current() != other.current();
    }
    EXPECT_TRUE(differs);

    // Leaving out pictures keeps the place on the same picture, or the one after it.
    Sequence s(4, false, false);
    s.showIndex(2);
    s.remove(0);
    EXPECT_EQ(s.current(), 2u);
    s.remove(2);
    EXPECT_EQ(s.current(), 3u);
    s.remove(3);
    EXPECT_EQ(s.current(), 1u);
    s.remove(1);
    EXPECT_TRUE(s.empty());
    EXPECT_FALSE(s.peek(0));
}

TEST(Filmstrip, KeepsTheCurrentCellInViewAndHitsCellsOnly)
{
    Filmstrip strip;
    const int step = Filmstrip::Cell + Filmstrip::Gap;
    strip.setArea({0, 500, Filmstrip::Gap + 5 * step, Filmstrip::Height}); // five cells wholly
    strip.setCount(20);
    EXPECT_EQ(strip.visibleCount(), 5u);
    strip.keepInView(4);
    EXPECT_EQ(strip.first(), 0u);
    strip.keepInView(5);
    EXPECT_EQ(strip.first(), 1u);
    strip.keepInView(19);
    EXPECT_EQ(strip.first(), 15u);
    strip.keepInView(3);
    EXPECT_EQ(strip.first(), 3u);

    const Rect c = strip.cell(4);
    EXPECT_EQ(strip.hit(c.left + 1, c.top + 1), 4u);
    EXPECT_FALSE(strip.hit(c.left - 1, c.top + 1)); // the gap
    EXPECT_FALSE(strip.hit(c.left + 1, c.top - 1));
    // A landscape thumbnail is centred in its square.
    EXPECT_EQ(strip.thumbnailRect(4, 160, 120), (Rect{c.left, c.top + 12, 96, 72}));

    strip.setCount(2);
    EXPECT_EQ(strip.first(), 0u);
    EXPECT_EQ(strip.visibleCount(), 2u);
    EXPECT_FALSE(strip.hit(strip.cell(2).left + 1, c.top + 1));
}

TEST(Texts, PlacesFollowTheCaptionsPageListAndOutOfRangeFallsBack)
{
    const Rect area{0, 0, 1000, 800};
    EXPECT_EQ(placeText(textPlace(0), area, 100, 20, 10), (Rect{10, 10, 100, 20}));
    EXPECT_EQ(placeText(textPlace(1), area, 100, 20, 10), (Rect{450, 10, 100, 20}));
    EXPECT_EQ(placeText(textPlace(2), area, 100, 20, 10), (Rect{890, 10, 100, 20}));
    EXPECT_EQ(placeText(textPlace(4), area, 100, 20, 10), (Rect{450, 770, 100, 20}));
    EXPECT_EQ(placeText(textPlace(5), area, 100, 20, 10), (Rect{890, 770, 100, 20}));
    EXPECT_EQ(textPlace(99), TextPlace::BottomCentre);
}

namespace {

struct Item {
    std::size_t index;
};

} // namespace

TEST(AheadLoader, MakesAskedItemsFirstHintsNextAndKeepsFew)
{
    std::atomic<int> calls{0};
    std::atomic<int> told{0};
    AheadLoader<Item> loader(
        [&](std::size_t i) {
            ++calls;
            if (i == 13) {
                throw std::runtime_error("unreadable");
            }
            return std::make_shared<const Item>(Item{i});
        },
        3, [&](std::size_t) { ++told; });

    EXPECT_EQ(loader.wait(0)->index, 0u);
    loader.hint({1, 2});
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!(loader.ready(1) && loader.ready(2)) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(loader.ready(1) && loader.ready(2));
    // The hinted one is there when asked for, made once.
    ASSERT_NE(loader.get(1), nullptr);
    EXPECT_EQ(loader.get(1)->index, 1u);
    EXPECT_EQ(calls.load(), 3);

    // A failure is kept, not tried again.
    EXPECT_EQ(loader.wait(13), nullptr);
    bool failed = false;
    EXPECT_EQ(loader.get(13, &failed), nullptr);
    EXPECT_TRUE(failed);
    EXPECT_EQ(calls.load(), 4);

    // At most three items: the oldest asked for (0) went, those asked for and hinted stayed.
    EXPECT_FALSE(loader.ready(0));
    EXPECT_TRUE(loader.ready(1));

    // Forgotten items are made again.
    loader.forget(1);
    EXPECT_FALSE(loader.ready(1));
    EXPECT_EQ(loader.wait(1)->index, 1u);
    // The window is told of each item it asked for and did not have (0, 13, 1 again), after the
    // item is there.
    deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (told.load() < 3 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(told.load(), 3);
}

TEST(AheadLoader, StopsWhileAnItemIsMade)
{
    std::atomic<bool> started{false};
    std::atomic<int> calls{0};
    {
        AheadLoader<Item> loader(
            [&](std::size_t i) {
                started = true;
                ++calls;
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                return std::make_shared<const Item>(Item{i});
            },
            2);
        loader.hint({0, 1, 2, 3, 4, 5});
        while (!started) {
            std::this_thread::yield();
        }
    } // joins after the item in hand, without making the others
    EXPECT_EQ(calls.load(), 1);
}

TEST(ViewerTexts, TheOverlayAndCaptionsComeFromThePhotosReconciledValues)
{
    const std::string sample = LUMENO_TEST_DATA "/sample.jpg";
    EXPECT_EQ(overlayLinesForFile(sample),
              (std::vector<std::string>{"sample.jpg", "Title: Morning light", "Taken: 2024-05-06 07:08:09",
                                        "Camera: Acme Roadrunner 7", "Exposure: 1/250 s  f/5.6  ISO 400  35 mm",
                                        "Flash: Fired", "Size: 64 x 48"}));
    const Captions captions = captionsForFile(sample);
    EXPECT_EQ(captions.caption, "Sunrise over the lake");
    EXPECT_EQ(captions.dateTime, "2024-05-06 07:08:09");
    EXPECT_EQ(orientationForFile(sample), 1);

    // A camera whose model repeats its maker is named once; a file that is no picture says nothing.
    const std::string canon = LUMENO_TEST_DATA "/camera/Canon.jpg";
    const std::vector<std::string> lines = overlayLinesForFile(canon);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Camera: Canon EOS DIGITAL REBEL"), lines.end());
    const std::string notPicture = LUMENO_TEST_DATA "/../CMakeLists.txt";
    EXPECT_TRUE(overlayLinesForFile(notPicture).empty());
    EXPECT_TRUE(captionsForFile(notPicture).caption.empty());
    EXPECT_EQ(orientationForFile(notPicture), 1);
}

TEST(AheadLoader, AnItemForgottenWhileItIsMadeIsMadeAgain)
{
    // The window resized while a picture was being decoded for the old size: that picture must
    // not be kept, the next ask makes it anew.
    std::atomic<int> version{1};
    std::atomic<bool> inside{false};
    std::atomic<bool> release{false};
    AheadLoader<Item> loader(
        [&](std::size_t) {
            const int made = version.load();
            inside = true;
            while (!release) {
                std::this_thread::yield();
            }
            return std::make_shared<const Item>(Item{static_cast<std::size_t>(made)});
        },
        2);
    loader.get(0);
    while (!inside) {
        std::this_thread::yield();
    }
    version = 2;
    loader.forgetAll();
    release = true;
    EXPECT_EQ(loader.wait(0)->index, 2u);
}
