#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;
using host::Storage;

class EmbeddedMaskTest : public LayoutTest {
 protected:
  static bool isRecord() { return GetParam().options.storage == Storage::kRecord; }
  static bool keepsAlpha() {
    return isRecord() ||
           (GetParam().options.storage == Storage::kCairo && GetParam().options.alpha);
  }
  /// What is read of a word in memory.
  static uint32_t maskValue(uint32_t word) {
    if (!keepsAlpha()) return 255;
    if (!isRecord()) return word >> 24;
    const uint32_t bits = word >> 24 & 0x7F;
    return bits == 0 ? 0 : 2 * bits + bits % 2;
  }
  /// What remains of a value that is written and read back.
  static uint32_t remaining(uint32_t value) {
    return isRecord() ? maskValue(value >> 1 << 24) : value;
  }
  static uint32_t grey(uint32_t value) { return value << 16 | value << 8 | value; }
};

TEST_P(EmbeddedMaskTest, ReadsAlphaAsGrey) {
  PluginHost setup(GetParam().options);
  const PictureRef subject = setup.host.newPicture(67, 9, setup.options);
  Pixels words = randomPixels(67, 9, 1, true);
  for (uint32_t i = 0; i < 256; ++i) words[i] = i << 24 | (words[i] & 0xFFFFFF);
  subject->setWords(words);
  words = subject->words();
  for (const bool swap : {false, true}) {
    Pixels expected;
    for (const uint32_t word : words) {
      expected.push_back(grey(swap ? 255 - maskValue(word) : maskValue(word)));
    }
    const PictureRef result = setup.plugin.call(subject, "EmbeddedMaskZVK", swap);
    ASSERT_TRUE(result);
    EXPECT_EQ(colors(result), expected);
    EXPECT_FALSE(result->hasAlpha());
  }
  EXPECT_EQ(subject->words(), words);
}

// Where the mask ends, and where the picture has no alpha, nothing is written.
TEST_P(EmbeddedMaskTest, WritesRedOfTheMaskOnTheCommonArea) {
  PluginHost setup(GetParam().options);
  for (const auto& [maskWidth, maskHeight] : {std::pair{40, 20}, {25, 30}, {60, 11}, {1, 1}}) {
    const PictureRef mask =
        setup.picture(maskWidth, maskHeight, randomPixels(maskWidth, maskHeight, 2));
    for (const bool swap : {false, true}) {
      const PictureRef subject = setup.host.newPicture(40, 20, setup.options);
      subject->setWords(randomPixels(40, 20, 3, true));
      const Pixels words = subject->words();
      setup.plugin.assignTo(subject, "EmbeddedMaskZVK", mask, swap);
      const Pixels written = subject->words();
      for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 40; ++x) {
          const uint32_t before = words[static_cast<size_t>(y) * 40 + x];
          const uint32_t after = written[static_cast<size_t>(y) * 40 + x];
          // The top bit of records is the host's.
          const uint32_t kept = isRecord() ? 0x80FFFFFF : 0xFFFFFF;
          ASSERT_EQ(after & kept, before & kept);
          if (!keepsAlpha() || x >= maskWidth || y >= maskHeight) {
            ASSERT_EQ(after, before);
          } else {
            const uint32_t red = mask->pixel(x, y) >> 16 & 0xFF;
            ASSERT_EQ(maskValue(after), remaining(swap ? 255 - red : red)) << x << ", " << y;
          }
        }
      }
      EXPECT_EQ(subject->cacheClears(), 0);
    }
  }
}

TEST_P(EmbeddedMaskTest, TellsWhetherThereIsASeparateMask) {
  PluginHost setup(GetParam().options);
  const PictureRef subject = setup.picture(3, 3, randomPixels(3, 3, 6));
  EXPECT_FALSE(setup.plugin.call(subject, "HasMaskZVK").boolean());
  subject->setMask(setup.picture(3, 3, randomPixels(3, 3, 7)));
  EXPECT_TRUE(setup.plugin.call(subject, "HasMaskZVK").boolean());
}

}  // namespace

ZVK_ALL_LAYOUTS(EmbeddedMaskTest);
