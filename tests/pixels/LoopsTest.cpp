// The drivers of pixel work, seen through operations that use them.
#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;
using host::Storage;

constexpr host::PictureOptions kRecord = {.storage = Storage::kRecord, .scatteredRows = true};

Rgb lighter(Rgb a, Rgb b) {
  return {std::max(a.red, b.red), std::max(a.green, b.green), std::max(a.blue, b.blue)};
}

// Byte triples are handled in blocks of 512 pixels.
TEST(Loops, SourcesInAnyMixtureOfStoragesAndBlocks) {
  ZVK_NEEDS_STORAGE(host::PictureOptions{.storage = Storage::kDrawable});
  const host::PictureOptions cairo = {.paddingWords = 1}, alpha = {.alpha = true},
                             drawable = {.storage = Storage::kDrawable};
  PluginHost setup(cairo);
  for (const int width : {5, 511, 512, 513, 1100}) {
    const Pixels a = randomPixels(width, 2, 1), b = randomPixels(width, 2, 2);
    Pixels expected;
    for (size_t i = 0; i < a.size(); ++i) {
      expected.push_back(opaque(lighter(rgbOf(a[i]), rgbOf(b[i]))));
    }
    for (const auto& first : {cairo, alpha, drawable}) {
      for (const auto& second : {cairo, drawable}) {
        for (const auto& result : {cairo, drawable}) {
          setup.host.settings.newPictures = result;
          const PictureRef merged =
              setup.plugin.callGlobal("MergePictureZVK", setup.picture(width, 2, a, first),
                                      setup.picture(width, 2, b, second));
          ASSERT_TRUE(merged);
          ASSERT_EQ(merged->pixels(), expected) << width;
        }
      }
    }
  }
}

TEST(Loops, RowsWithoutMemoryAreLeftOut) {
  for (const bool scattered : {true, false}) {
    PluginHost setup({.storage = Storage::kRecord, .scatteredRows = scattered});
    setup.host.settings.freshPixel = 0x123456;
    for (int missing = 0; missing < 3; ++missing) {
      const Pixels source = randomPixels(4, 3, 5);
      const PictureRef picture = setup.picture(4, 3, source);
      uint8_t* row = std::exchange(picture->record()->rowStarts[missing], nullptr);
      const PictureRef result = setup.plugin.call(picture, "InvertZVK");
      const int green = static_cast<int>(source[5] & 0xFFFFFF);
      const int counted = static_cast<int>(
          setup.plugin.call(picture, "CountColorZVK", host::Color{static_cast<uint32_t>(green)})
              .integer());
      picture->record()->rowStarts[missing] = row;
      EXPECT_EQ(counted, missing == 1 ? 0 : 1);
      for (int y = 0; y < 3; ++y) {
        const uint32_t pixel = source[static_cast<size_t>(4 * y + 2)];
        EXPECT_EQ(result->words()[static_cast<size_t>(4 * y + 2)],
                  y == missing ? 0x123456 : ~pixel & 0xFFFFFF);
      }
    }
  }
}

TEST(Loops, RowsMayLieInAnyOrder) {
  PluginHost setup({.storage = Storage::kRecord});
  const PictureRef picture = setup.picture(3, 4, randomPixels(3, 4, 8));
  uint8_t** rows = picture->record()->rowStarts;
  std::swap(rows[1], rows[2]);
  const PictureRef result = setup.plugin.call(picture, "InvertZVK");
  for (size_t i = 0; i < 12; ++i) {
    EXPECT_EQ(result->words()[i], ~picture->words()[i] & 0xFFFFFF) << i;
  }
}

TEST(Loops, RowsMayLieAnywhere) {
  // At odd addresses, too.
  constexpr int kWidth = 200, kHeight = 48;
  constexpr size_t kPitch = size_t{4} * kWidth + 97;
  PluginHost setup(kRecord);
  setup.host.settings.newPictures.scatteredRows = false;
  const Pixels source = randomPixels(kWidth, kHeight, 3);
  std::vector<uint8_t> memory(kPitch * kHeight);
  const PictureRef picture = setup.picture(kWidth, kHeight, Pixels(source.size()), kRecord);
  uint8_t** rows = picture->record()->rowStarts;
  const std::vector<uint8_t*> own(rows, rows + kHeight);
  for (size_t y = 0; y < kHeight; ++y) {
    rows[y] = memory.data() + y * kPitch;
    memcpy(rows[y], &source[y * kWidth], size_t{4} * kWidth);
  }
  const PictureRef result = setup.plugin.call(picture, "InvertZVK");
  std::copy(own.begin(), own.end(), rows);
  Pixels expected;
  for (const uint32_t pixel : source) expected.push_back(~pixel & 0xFFFFFF);
  EXPECT_EQ(result->words(), expected);
}

TEST(Loops, PicturesWithoutExtentGiveNoResult) {
  PluginHost setup(kRecord);
  for (const auto& [width, height] : {std::pair(0, 3), {4, 0}, {-4, 3}, {4, INT32_MIN}}) {
    const PictureRef picture = setup.picture(4, 3, randomPixels(4, 3, 5));
    picture->faults.width = width;
    picture->faults.height = height;
    EXPECT_FALSE(PictureRef(setup.plugin.call(picture, "InvertZVK")));
    EXPECT_EQ(setup.plugin.call(picture, "CountColorZVK", host::Color{0}).integer(), 0);
  }
}

// New pictures that turn out smaller than asked for are written no further than they reach.
TEST(Loops, ResultsSmallerThanTheirSourceAreNotOverrun) {
  host::PictureOptions guarded = kRecord;
  guarded.placement = host::Placement::kGuarded;
  PluginHost setup(guarded);
  const PictureRef picture = setup.picture(4, 3, randomPixels(4, 3, 5));
  picture->faults.width = 3;
  picture->faults.height = 2;
  const PictureRef result = setup.plugin.call(picture, "ChangeContrastZVK", 0.5);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->width(), 3);
  EXPECT_EQ(result->height(), 2);
}

}  // namespace
