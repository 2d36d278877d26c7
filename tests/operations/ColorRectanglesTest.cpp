#include <algorithm>
#include <limits>
#include <random>

#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;

struct Rectangle {
  int left, top, width, height;
};
struct Box {
  int left, top, right, bottom;  ///< inclusive
};

/// The mask, every pixel looked at by itself: 0 where boxes are, else 0xFFFFFF.
Pixels plainMask(int width, int height, const Pixels& pixels, const Rectangle& r) {
  // With a frame of zeros.
  const auto cell = [=](int x, int y) {
    return static_cast<size_t>(y + 1) * (static_cast<size_t>(width) + 2) +
           static_cast<size_t>(x + 1);
  };
  std::vector<char> colored(cell(width, height + 1));
  Pixels mask(pixels.size(), 0xFFFFFF);
  const auto within = [](int64_t value, int limit) {
    return static_cast<int>(std::clamp<int64_t>(value, 0, limit));
  };
  const int right = within(int64_t{r.left} + (r.width < 0 ? width : r.width), width);
  const int bottom = within(int64_t{r.top} + (r.height < 0 ? height : r.height), height);
  for (int y = within(r.top, height); y < bottom; ++y) {
    for (int x = within(r.left, width); x < right; ++x) {
      const Rgb c = rgbOf(pixels[static_cast<size_t>(y) * width + x]);
      colored[cell(x, y)] = c.red != c.green || c.green != c.blue;
    }
  }
  const auto any = [&](const Box& box) {
    for (int y = box.top; y <= box.bottom; ++y) {
      for (int x = box.left; x <= box.right; ++x) {
        if (colored[cell(x, y)]) return true;
      }
    }
    return false;
  };
  for (int i = 0; i < width * height; ++i) {
    const int x = i % width, y = i / width;
    if (!colored[cell(x, y)]) continue;
    Box box{x, y, x, y};
    for (bool grown = true; grown;) {
      const bool up = any({box.left, box.top - 1, box.right, box.top - 1});
      const bool down = any({box.left, box.bottom + 1, box.right, box.bottom + 1});
      box.top -= up, box.bottom += down;
      const bool before = any({box.left - 1, box.top, box.left - 1, box.bottom});
      const bool behind = any({box.right + 1, box.top, box.right + 1, box.bottom});
      box.left -= before, box.right += behind;
      grown = up || down || before || behind;
    }
    for (int row = box.top; row <= box.bottom; ++row) {
      for (int column = box.left; column <= box.right; ++column) {
        colored[cell(column, row)] = 0;
        mask[static_cast<size_t>(row) * width + column] = 0;
      }
    }
  }
  return mask;
}

/// Greys, and colours that are almost grey.
Pixels noise(int width, int height, double density, uint32_t seed) {
  std::mt19937 random(seed);
  std::bernoulli_distribution colored(density);
  Pixels pixels(static_cast<size_t>(width) * height);
  for (uint32_t& pixel : pixels) {
    pixel = (random() & 0xFF) * 0x010101U;
    if (colored(random)) pixel ^= 1U << random() % 24;
    pixel |= random() << 24;
  }
  return pixels;
}

class ColorRectanglesTest : public LayoutTest {
 protected:
  static void check(PluginHost& setup, int width, int height, const Pixels& pixels,
                    const std::string& what) {
    const PictureRef source = setup.picture(width, height, pixels);
    const PictureRef result = setup.plugin.call(source, "ExtractColorRectangleMaskZVK");
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->hasAlpha());
    const Pixels expected = plainMask(width, height, pixels, {0, 0, width, height});
    ASSERT_EQ(words(result), written(expected, result->options())) << what;
  }
};

// Sizes on both sides of whole words, stretches and blocks.
TEST_P(ColorRectanglesTest, AgreesWithPlainBoxesOnNoise) {
  PluginHost setup(GetParam().options);
  for (const double density : {0.0, 0.002, 0.03, 0.1, 0.2, 0.35, 0.6, 1.0}) {
    for (const auto& [width, height] : {std::pair{1, 1},
                                        {5, 90},
                                        {63, 20},
                                        {64, 33},
                                        {65, 20},
                                        {130, 40},
                                        {319, 50},
                                        {1100, 24}}) {
      check(setup, width, height, noise(width, height, density, static_cast<uint32_t>(width)),
            "density " + std::to_string(density) + ", width " + std::to_string(width));
    }
  }
}

// Large boxes that begin at one corner and grow by one line per round, past earlier ones.
TEST_P(ColorRectanglesTest, GrowsNestedAndWindingShapes) {
  PluginHost setup(GetParam().options);
  constexpr int kSide = 150;
  Pixels corners(kSide * kSide, 0xFF808080), spiral = corners;
  const auto set = [](Pixels& pixels, int x, int y) { pixels[y * kSide + x] = 0xFF0000FF; };
  for (int k = 0; k < kSide; k += 2) {
    for (int i = 0; i <= k; ++i) {
      set(corners, k, i);
      set(corners, i, k);
    }
  }
  for (int k = 0; k < kSide / 2; k += 2) {
    for (int i = k; i < kSide - k; ++i) {
      if (i > k) set(spiral, i, k);
      set(spiral, i, kSide - 1 - k);
      set(spiral, kSide - 1 - k, i);
      if (i > k + 1) set(spiral, k, i);
    }
  }
  // A long row that only one pixel in the middle lengthens downwards.
  Pixels bar(300 * 3, 0xFF808080);
  std::fill_n(bar.begin(), 300, 0xFF0000FF);
  bar[300 + 100] = 0xFF0000FF;
  check(setup, 300, 3, bar, "bar");
  check(setup, kSide, kSide, corners, "corners");
  check(setup, kSide, kSide, spiral, "spiral");
  std::reverse(corners.begin(), corners.end());
  check(setup, kSide, kSide, corners, "turned corners");
}

// Every shape of three by two pixels on both sides of column 64, where a machine word begins.
TEST_P(ColorRectanglesTest, GrowsAcrossWords) {
  PluginHost setup(GetParam().options);
  constexpr int kWidth = 70, kHeight = 20;
  for (uint32_t shape = 1; shape < 64; ++shape) {
    Pixels pixels(kWidth * kHeight, 0xFF000000);
    for (int place = 0; place < 5; ++place) {
      for (int i = 0; i < 6; ++i) {
        const int x = 61 + place + i % 3, y = 4 * place + i / 3;
        if ((shape >> i & 1) != 0) pixels[y * kWidth + x] = 0xFF000100;
      }
    }
    check(setup, kWidth, kHeight, pixels, "shape " + std::to_string(shape));
  }
}

TEST_P(ColorRectanglesTest, LooksOnlyAtTheRectangle) {
  PluginHost setup(GetParam().options);
  constexpr int kMax = std::numeric_limits<int>::max(), kMin = std::numeric_limits<int>::min();
  const Pixels pixels = noise(140, 30, 0.15, 8);
  const PictureRef source = setup.picture(140, 30, pixels);
  for (const Rectangle& r : std::initializer_list<Rectangle>{{0, 0, -1, -1},
                                                             {10, 5, 70, 20},
                                                             {-10, -5, 30, 15},
                                                             {100, 20, 500, 500},
                                                             {1, 1, 64, -9},
                                                             {5, 5, 0, 10},
                                                             {200, 5, 10, 10},
                                                             {3, 4, kMax, kMax},
                                                             {kMin, kMin, kMax, kMax},
                                                             {kMin, 0, -1, -1},
                                                             {kMax, kMax, kMax, kMax}}) {
    const PictureRef result =
        setup.plugin.call(source, "ExtractColorRectangleMaskZVK", r.left, r.top, r.width, r.height);
    ASSERT_TRUE(result);
    EXPECT_EQ(colors(result), plainMask(140, 30, pixels, r))
        << r.left << ", " << r.top << ", " << r.width << ", " << r.height;
  }
}

// So large that the mask is streamed; no coloured pixel has a neighbour.
TEST(ColorRectangles, LargeMasksHaveEveryLonelyPixel) {
  constexpr int kWidth = 2051, kHeight = 2052;
  PluginHost setup(host::PictureOptions{});
  Pixels pixels, expected;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const bool colored = x % 3 == 1 && y % 3 == 1;
      pixels.push_back(colored ? 0xFF808081 : 0xFF808080);
      expected.push_back(colored ? 0xFF000000 : 0xFFFFFFFF);
    }
  }
  const PictureRef source = setup.picture(kWidth, kHeight, pixels);
  const PictureRef result = setup.plugin.call(source, "ExtractColorRectangleMaskZVK");
  EXPECT_TRUE(words(result) == expected);
}

// What a picture held before is gone, on whichever side of the rectangle it lies, and rows that are
// not there are passed over.
TEST(ColorRectangles, MasksAreWhiteOutsideOfTheRectangle) {
  host::Settings settings = host::Settings::forStorage(host::Storage::kRecord);
  settings.newPictures.scatteredRows = true;
  settings.freshPixel = 0x123456;
  PluginHost setup(settings);
  const Pixels pixels = noise(70, 6, 0.3, 5);
  const PictureRef source = setup.picture(70, 6, pixels);
  for (const Rectangle& r : {Rectangle{0, 0, 70, 3}, {0, 2, 70, 4}, {0, 0, 9, 6}, {9, 0, 61, 6}}) {
    Pixels expected = plainMask(70, 6, pixels, r);
    const auto mask = [&]() -> PictureRef {
      return setup.plugin.call(source, "ExtractColorRectangleMaskZVK", r.left, r.top, r.width,
                               r.height);
    };
    EXPECT_EQ(words(mask()), expected);
    setup.host.settings.lies.pictures.missingRow = 4;
    std::fill(expected.begin() + 4 * 70, expected.begin() + 5 * 70, 0);
    EXPECT_EQ(words(mask()), expected);
    setup.host.settings.lies = {};
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(ColorRectanglesTest);
