// What both filter classes have in common: their rectangle, and how they hold their pictures.
#include <functional>
#include <limits>

#include "FilterSupport.h"

namespace {

using namespace test;

class FilterClassTest : public testing::TestWithParam<const char*> {};

struct RectangleCase {
  const char* what;
  int minX, minY, maxX, maxY;
  int left, top, right, bottom;  ///< of the block that is filtered
};

constexpr int kLowest = std::numeric_limits<int>::min();
constexpr int kHighest = std::numeric_limits<int>::max();

constexpr RectangleCase kRectangles[] = {
    {"all zero", 0, 0, 0, 0, 0, 0, 20, 6},
    {"inside, at the corner", 0, 0, 10, 5, 0, 0, 10, 5},
    {"inside", 3, 2, 17, 4, 3, 2, 17, 4},
    {"maximum at the edge", 3, 2, 20, 6, 3, 2, 20, 6},
    {"maximum beyond the edge", 3, 2, 21, kHighest, 3, 2, 20, 6},
    {"maximum at the minimum", 7, 4, 7, 4, 7, 4, 20, 6},
    {"maximum below the minimum", 7, 4, 2, 1, 7, 4, 20, 6},
    {"minimum beyond the edge", 20, 0, 30, 3, 0, 0, 0, 0},
    {"negative minimum", -5, -1, 4, 3, 0, 0, 4, 3},
    {"negative minimum alone", -5, -1, 0, 0, 0, 0, 20, 6},
    {"lowest minimum", kLowest, kLowest, 4, 3, 0, 0, 4, 3},
    {"lowest minimum and highest maximum", kLowest, kLowest, kHighest, kHighest, 0, 0, 20, 6},
    {"left of the picture", -5, 0, -2, 0, 0, 0, 20, 6},
    {"above the picture", 0, kLowest, 0, -1, 0, 0, 20, 6},
};

TEST_P(FilterClassTest, FiltersTheRectangleAndLeavesTheRestFresh) {
  constexpr int kWidth = 20, kHeight = 6;
  constexpr uint32_t kFresh = 0x123456;
  host::Settings settings = host::Settings::forStorage(host::Storage::kCairo);
  settings.freshPixel = kFresh;
  PluginHost setup(settings);
  // New instances map to grey or black, never to the fresh colour.
  const host::PictureRef source = setup.picture(kWidth, kHeight, randomPixels(kWidth, kHeight, 1));
  for (const RectangleCase& c : kRectangles) {
    SCOPED_TRACE(c.what);
    const host::InstanceRef filter =
        newFilter(setup, GetParam(),
                  {{"MinX", c.minX}, {"MinY", c.minY}, {"MaxX", c.maxX}, {"MaxY", c.maxY}});
    const host::InstanceRef whole = newFilter(setup, GetParam());
    Pixels expected = filtered(setup, whole, source);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const bool inside = x >= c.left && x < c.right && y >= c.top && y < c.bottom;
        if (!inside) expected[static_cast<size_t>(y * kWidth + x)] = kFresh;
      }
    }
    EXPECT_EQ(filtered(setup, filter, source), expected);
    for (const auto& [name, value] :
         {std::pair{"MinX", c.minX}, {"MinY", c.minY}, {"MaxX", c.maxX}, {"MaxY", c.maxY}}) {
      EXPECT_EQ(filter->property(name).integer(), value);
    }
  }
}

TEST_P(FilterClassTest, FindsItsDataWhereTheHostPutsIt) {
  for (const int offset : {16, 48, 4096}) {
    host::Settings settings = host::Settings::forStorage(host::Storage::kRecord);
    settings.dataOffset = offset;
    PluginHost setup(settings);
    const host::InstanceRef filter = newFilter(setup, GetParam());
    EXPECT_EQ(filtered(setup, filter, setup.picture(1, 1, {0xFF000000})), Pixels{0});
  }
}

// The accounts at the end of the test show a reference released too often or never.
TEST_P(FilterClassTest, HoldsEachPictureOnceHoweverOftenItRunsAndCloses) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  const host::PictureRef source = setup.picture(3, 2, randomPixels(3, 2, 2));
  host::InstanceRef filter = newFilter(setup, GetParam(), {{"SourcePicture", source}});
  EXPECT_EQ(source->references(), 2);
  ASSERT_TRUE(run(setup, filter));
  const host::PictureRef first = destination(filter);
  ASSERT_TRUE(run(setup, filter));
  EXPECT_EQ(first->references(), 1) << "the first result is released by the second run";
  EXPECT_FALSE(destination(filter) == first);
  EXPECT_EQ(source->references(), 2);
  for (int closings = 0; closings < 2; ++closings) {
    setup.plugin.call(filter, "Close");
    EXPECT_TRUE(filter->property("SourcePicture").isNil());
    EXPECT_TRUE(filter->property("DestinationPicture").isNil());
    EXPECT_EQ(source->references(), 1);
  }
  filter = nullptr;

  // Without closing, the destructor releases both.
  filter = newFilter(setup, GetParam(), {{"SourcePicture", source}});
  ASSERT_TRUE(run(setup, filter));
  const host::PictureRef last = destination(filter);
  filter = nullptr;
  EXPECT_EQ(source->references(), 1);
  EXPECT_EQ(last->references(), 1);
}

TEST_P(FilterClassTest, MayFilterItsOwnDestination) {
  PluginHost setup(host::Settings::forStorage(host::Storage::kCairo));
  const host::PictureRef source = setup.picture(3, 2, randomPixels(3, 2, 3));
  const host::InstanceRef filter =
      newFilter(setup, GetParam(), {{"SourcePicture", source}, {"DestinationPicture", source}});
  ASSERT_TRUE(run(setup, filter));
  EXPECT_FALSE(destination(filter) == source);
  EXPECT_EQ(source->references(), 2);
}

// A failed run clears the table filter's destination and keeps the sepia filter's.
TEST_P(FilterClassTest, FailsWithoutSourceWriterOrResult) {
  const bool clears = GetParam() == std::string_view("PictureLut3DZVK");
  struct Failure {
    const char* what;
    host::Storage storage;
    std::function<void(PluginHost&, const host::InstanceRef&)> provoke;
  };
  const Failure failures[] = {
      {"no source", host::Storage::kCairo,
       [](PluginHost&, const host::InstanceRef& filter) {
         filter->setProperty("SourcePicture", nullptr);
       }},
      {"source cannot be read", host::Storage::kCairo,
       [](PluginHost&, const host::InstanceRef& filter) {
         filter->property("SourcePicture").picture()->faults.nullData = true;
       }},
      {"no new picture", host::Storage::kCairo,
       [](PluginHost& setup, const host::InstanceRef&) { setup.host.failCall("newPicture"); }},
      {"no picture from the buffer", host::Storage::kDrawable,
       [](PluginHost& setup, const host::InstanceRef&) {
         setup.host.failCall("REALBuildPictureFromBuffer");
       }},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.what);
    if (!storageAvailable({.storage = failure.storage})) continue;
    PluginHost setup(host::Settings::forStorage(failure.storage));
    const host::InstanceRef filter = newFilter(
        setup, GetParam(), {{"SourcePicture", setup.picture(3, 2, randomPixels(3, 2, 4))}});
    ASSERT_TRUE(run(setup, filter));
    const host::PictureRef earlier = destination(filter);
    failure.provoke(setup, filter);
    EXPECT_FALSE(run(setup, filter));
    EXPECT_EQ(destination(filter), clears ? host::PictureRef() : earlier);
    EXPECT_EQ(earlier->references(), clears ? 1 : 2);
  }
}

INSTANTIATE_TEST_SUITE_P(Classes, FilterClassTest,
                         testing::Values("PictureSepiaZVK", "PictureLut3DZVK"),
                         [](const auto& parameter) { return std::string(parameter.param); });

}  // namespace
