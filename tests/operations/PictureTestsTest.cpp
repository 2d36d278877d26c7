#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;

class PictureTestsTest : public LayoutTest {};

constexpr uint32_t kWhite = 0xFFFFFFFF, kBlack = 0xFF000000;

/// Whether all pixels of the rectangle have this colour, one by one.
bool allAre(const Pixels& pixels, int width, int height, uint32_t color, int64_t left, int64_t top,
            int64_t w, int64_t h) {
  const int64_t right = left + (w < 0 ? width : w), bottom = top + (h < 0 ? height : h);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool inside = x >= left && x < right && y >= top && y < bottom;
      if (inside && (pixels[static_cast<size_t>(y) * width + x] ^ color) & 0xFFFFFF) return false;
    }
  }
  return true;
}

// A picture with one odd pixel, whose difference is a single bit of a single channel, and whose
// alpha says nothing.
TEST_P(PictureTestsTest, FindsTheOddPixelOfWholePicturesAndRectangles) {
  PluginHost setup(GetParam().options);
  // Every access to a drawable waits for the display.
  const int rectangles = setup.options.storage == host::Storage::kDrawable ? 6 : 40;
  std::mt19937 random(3);
  for (const auto& [width, height] : {std::pair{1, 1}, {6, 5}, {520, 3}}) {
    for (int round = 0; round < 6; ++round) {
      Pixels white(static_cast<size_t>(width) * height, kWhite & 0x80FFFFFF);
      Pixels black(white.size(), kBlack & 0x80FFFFFF);
      const size_t odd = random() % white.size();
      const uint32_t bit = 1U << (random() % 3 * 8);
      if (round > 0) white[odd] ^= bit, black[odd] ^= bit;
      const PictureRef whites = setup.picture(width, height, white);
      const PictureRef blacks = setup.picture(width, height, black);
      EXPECT_EQ(setup.plugin.call(whites, "isWhiteZVK").boolean(), round == 0);
      EXPECT_EQ(setup.plugin.call(blacks, "isBlackZVK").boolean(), round == 0);
      EXPECT_FALSE(setup.plugin.call(whites, "isBlackZVK").boolean());
      EXPECT_FALSE(setup.plugin.call(blacks, "isWhiteZVK").boolean());
      for (int i = 0; i < rectangles; ++i) {
        const int left = edge(width, random), top = edge(height, random);
        const int w = edge(width, random), h = edge(height, random);
        const bool expected = allAre(white, width, height, kWhite, left, top, w, h);
        const std::string where = testing::PrintToString(std::vector{left, top, w, h, int(odd)});
        ASSERT_EQ(setup.plugin.call(whites, "isWhiteZVK", left, top, w, h).boolean(), expected)
            << where;
        ASSERT_EQ(setup.plugin.call(blacks, "isBlackZVK", left, top, w, h).boolean(), expected)
            << where;
      }
    }
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(PictureTestsTest);
