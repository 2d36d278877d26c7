#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <bit>
#include <fstream>
#include <limits>
#include <random>
#include <utility>

#include "Support.h"

namespace {

using namespace test;
using host::CallResult;
using host::PictureRef;
using host::Value;

struct Grid {
  int width, height;
  Pixels pixels;

  uint32_t color(int x, int y) const {
    return pixels[static_cast<size_t>(y) * width + x] & 0xFFFFFF;
  }
  Grid crop(int x, int y, int w, int h) const {
    Grid part{w, h, Pixels(static_cast<size_t>(w) * h)};
    for (int row = 0; row < h; ++row) {
      std::copy_n(pixels.begin() + static_cast<ptrdiff_t>(y + row) * width + x, w,
                  part.pixels.begin() + static_cast<ptrdiff_t>(row) * w);
    }
    return part;
  }
  void paste(const Grid& part, int x, int y) {
    for (int row = 0; row < part.height; ++row) {
      std::copy_n(part.pixels.begin() + static_cast<ptrdiff_t>(row) * part.width, part.width,
                  pixels.begin() + static_cast<ptrdiff_t>(y + row) * width + x);
    }
  }
};

/// Whether there is a copy, and where.
using Found = std::tuple<bool, int64_t, int64_t>;

/// Every place in reading order, every pixel.
Found plainSearch(const Grid& haystack, const Grid& needle) {
  const auto matches = [&](int x, int y) {
    for (int row = 0; row < needle.height; ++row) {
      for (int column = 0; column < needle.width; ++column) {
        if (haystack.color(x + column, y + row) != needle.color(column, row)) return false;
      }
    }
    return true;
  };
  for (int y = 0; y + needle.height <= haystack.height; ++y) {
    for (int x = 0; x + needle.width <= haystack.width; ++x) {
      if (matches(x, y)) return {true, x, y};
    }
  }
  return {false, 0, 0};
}

Found search(const PluginHost& setup, const PictureRef& haystack, const PictureRef& needle) {
  const CallResult result = setup.plugin.invokeByName(
      haystack, "FindPicture", {needle ? Value(needle) : Value(nullptr), Value(77), Value(-5)});
  return {result.value.boolean(), result.byReference.at(0).value.integer(),
          result.byReference.at(1).value.integer()};
}

/// Pixels of few colours that differ in single bits, under alpha values that mean nothing.
Grid nearlyAlike(int width, int height, int colorCount, uint32_t seed) {
  constexpr uint32_t kColors[] = {0x804020, 0x804021, 0x814020, 0x804120, 0x004020};
  std::mt19937 random(seed);
  Grid grid{width, height, Pixels(static_cast<size_t>(width) * height)};
  for (uint32_t& pixel : grid.pixels) {
    pixel = kColors[random() % static_cast<uint32_t>(colorCount)] | (random() & 0xFF) << 24;
  }
  return grid;
}

class PictureSearchTest : public LayoutTest {
 protected:
  /// Layouts of needles that can be in one application with the haystack.
  static std::vector<Layout> needleLayouts() {
    std::vector<Layout> layouts = allLayouts();
    std::erase_if(layouts, [](const Layout& layout) {
      constexpr auto kRecord = host::Storage::kRecord;
      return (layout.options.storage == kRecord) != (GetParam().options.storage == kRecord) ||
             !storageAvailable(layout.options);
    });
    return layouts;
  }
};

// With two or three colours most places match in their first pixels.
TEST_P(PictureSearchTest, AgreesWithPlainSearchWhereNearMatchesAbound) {
  PluginHost setup(GetParam().options);
  std::mt19937 random(7);
  const auto upTo = [&random](int limit) {
    return 1 + static_cast<int>(random() % static_cast<uint32_t>(limit));
  };
  for (const Layout& layout : needleLayouts()) {
    for (uint32_t round = 0; round < 120; ++round) {
      const Grid haystack =
          nearlyAlike(upTo(150), upTo(12), 1 + static_cast<int>(round % 4), round);
      Grid needle = haystack.crop(0, 0, 1, 1);
      if (round % 5 != 0) {
        const int width = upTo(std::min(haystack.width, round % 2 == 0 ? 5 : 150));
        const int height = upTo(haystack.height);
        needle = haystack.crop(upTo(haystack.width - width + 1) - 1,
                               upTo(haystack.height - height + 1) - 1, width, height);
      }
      if (round % 3 == 0) needle.pixels.back() ^= 1;
      ASSERT_EQ(search(setup, setup.picture(haystack.width, haystack.height, haystack.pixels),
                       setup.picture(needle.width, needle.height, needle.pixels, layout.options)),
                plainSearch(haystack, needle))
          << "needle in " << layout.name << ", round " << round;
    }
  }
}

// So much noise of two colours that comparing wherever a pixel fits is given up. The copy stands
// behind near copies that differ in one pixel only.
TEST_P(PictureSearchTest, FindsFirstCopyInNoiseOfTwoColors) {
  PluginHost setup(GetParam().options);
  for (const Layout& layout : needleLayouts()) {
    for (const auto& [width, height] : {std::pair{37, 20}, {1, 150}, {600, 1}, {128, 64}}) {
      Grid haystack = nearlyAlike(700, 200, 2, 3);
      const Grid needle = nearlyAlike(width, height, 2, 4);
      const int x = 700 - width, y = 200 - height;
      Grid flawed = needle;
      flawed.pixels.back() ^= 1;
      haystack.paste(flawed, 0, 0);
      if (height < 100 && width < 200) haystack.paste(flawed, x / 2, y / 2);
      const PictureRef wanted = setup.picture(width, height, needle.pixels, layout.options);
      EXPECT_EQ(search(setup, setup.picture(700, 200, haystack.pixels), wanted),
                (Found{false, 0, 0}));
      haystack.paste(needle, x, y);
      EXPECT_EQ(search(setup, setup.picture(700, 200, haystack.pixels), wanted),
                (Found{true, x, y}))
          << layout.name << ", needle " << width << " x " << height;
    }
  }
}

// Rows of two colours in the order of Thue and Morse, and with the colours exchanged, have the same
// polynomial hash modulo 2^32 whatever its constants are.
TEST_P(PictureSearchTest, TellsWindowsOfEqualHashesApart) {
  PluginHost setup(GetParam().options);
  Grid haystack = nearlyAlike(300, 300, 2, 5);
  Grid needle = haystack.crop(0, 0, 128, 3), exchanged = needle;
  for (uint32_t i = 0; i < 128; ++i) {
    const bool odd = std::popcount(i) % 2 != 0;
    needle.pixels[i] = odd ? 0x804020 : 0x804021;
    exchanged.pixels[i] = odd ? 0x804021 : 0x804020;
  }
  haystack.paste(exchanged, 100, 200);
  haystack.paste(needle, 150, 280);
  EXPECT_EQ(
      search(setup, setup.picture(300, 300, haystack.pixels), setup.picture(128, 3, needle.pixels)),
      (Found{true, 150, 280}));
}

TEST_P(PictureSearchTest, ReportsNothingAtZero) {
  PluginHost setup(GetParam().options);
  const Grid grid = nearlyAlike(9, 7, 5, 1);
  const PictureRef picture = setup.picture(9, 7, grid.pixels);
  const Found nothing{false, 0, 0};
  EXPECT_EQ(search(setup, picture, picture), (Found{true, 0, 0}));
  EXPECT_EQ(search(setup, picture, setup.picture(10, 7, Pixels(70, grid.color(0, 0)))), nothing);
  EXPECT_EQ(search(setup, picture, setup.picture(9, 8, Pixels(72, grid.color(0, 0)))), nothing);
  EXPECT_EQ(search(setup, picture, {}), nothing);
  const PictureRef locked = setup.picture(1, 1, {0xFF000000});
  locked->faults.nullData = true;
  EXPECT_EQ(search(setup, picture, locked), nothing);
  EXPECT_EQ(search(setup, locked, picture), nothing);
}

// Rows that the host does not deliver match nothing, and neither do sizes below 1.
TEST(PictureSearchRecords, PassesOverMissingRowsAndEmptySizes) {
  const host::PictureOptions options{.storage = host::Storage::kRecord, .scatteredRows = true};
  PluginHost setup(options);
  const Grid haystack = nearlyAlike(200, 100, 2, 9);
  const PictureRef picture = setup.picture(200, 100, haystack.pixels);
  const PictureRef needle = setup.picture(3, 3, haystack.crop(150, 90, 3, 3).pixels);
  uint8_t** rows = picture->record()->rowStarts;
  uint8_t* const row = std::exchange(rows[50], nullptr);
  const Found nothing{false, 0, 0};
  EXPECT_EQ(search(setup, picture, setup.picture(3, 3, Pixels(9, 0xFF000000))), nothing);
  // The needle lies over the gap with any of its rows; few colours go by hashes, many by comparing.
  const Grid colorful{200, 100, randomPixels(200, 100, 9)};
  const PictureRef other = setup.picture(200, 100, colorful.pixels);
  uint8_t* const otherRow = std::exchange(other->record()->rowStarts[50], nullptr);
  for (int y = 48; y <= 50; ++y) {
    for (const auto& [where, grid] : {std::pair(picture, haystack), std::pair(other, colorful)}) {
      const Grid part = grid.crop(70, y, 60, 3);
      EXPECT_EQ(search(setup, where, setup.picture(60, 3, part.pixels)), nothing);
    }
  }
  other->record()->rowStarts[50] = otherRow;
  EXPECT_EQ(search(setup, picture, needle), plainSearch(haystack, haystack.crop(150, 90, 3, 3)));
  rows[50] = row;
  uint8_t** needleRows = needle->record()->rowStarts;
  uint8_t* const needleRow = std::exchange(needleRows[1], nullptr);
  EXPECT_EQ(search(setup, picture, needle), nothing);
  needleRows[1] = needleRow;

  for (const PictureRef& empty : {picture, needle}) {
    for (const int size : {0, -1, std::numeric_limits<int>::min()}) {
      empty->faults.width = size;
      EXPECT_EQ(search(setup, picture, needle), nothing);
    }
    empty->faults.width.reset();
  }
}

/// Leaves room for small pieces of memory only.
class MemoryLimit {
 public:
  MemoryLimit() {
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    getrlimit(RLIMIT_AS, &old_);
    const rlimit tight{pages * 4096 + (8 << 20), old_.rlim_max};
    setrlimit(RLIMIT_AS, &tight);
  }
  ~MemoryLimit() { setrlimit(RLIMIT_AS, &old_); }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

 private:
  rlimit old_;
};

// The row in which comparing becomes too dear holds the only copy, behind that place. Hashes take
// over there, and where there is no memory for them, comparing goes on.
TEST(PictureSearchRecords, GoesOnInTheRowThatItReached) {
  constexpr int kWidth = 2'000'000;
  mallopt(M_MMAP_THRESHOLD, 1 << 20);  // what was freed is no longer the process's
  PluginHost setup({.storage = host::Storage::kRecord});
  Grid haystack = nearlyAlike(kWidth, 4, 2, 3);
  const Grid needle = nearlyAlike(40, 2, 2, 4);
  std::fill_n(haystack.pixels.begin(), kWidth, 0xFF112233);
  haystack.paste(needle, kWidth - 40, 1);
  const PictureRef picture = setup.picture(kWidth, 4, haystack.pixels);
  const PictureRef wanted = setup.picture(40, 2, needle.pixels);
  const Found found{true, kWidth - 40, 1};
  EXPECT_EQ(search(setup, picture, wanted), found);
#if !defined(ZVK_SANITIZED)
  const MemoryLimit limit;
  EXPECT_EQ(search(setup, picture, wanted), found);
#endif
}

}  // namespace

ZVK_ALL_LAYOUTS(PictureSearchTest);
