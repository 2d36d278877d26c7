#include <utility>

#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;

constexpr uint32_t kUncovered = 0xFFFFFFFF;

/// The words of a picture shifted by index arithmetic.
Pixels shifted(const Pixels& words, int width, int height, int64_t dx, int64_t dy, bool wrap) {
  Pixels result(words.size(), kUncovered);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      int64_t fromX = x - dx, fromY = y - dy;
      if (wrap) {
        fromX = (fromX % width + width) % width;
        fromY = (fromY % height + height) % height;
      } else if (fromX < 0 || fromX >= width || fromY < 0 || fromY >= height) {
        continue;
      }
      result[static_cast<size_t>(y) * width + x] =
          words[static_cast<size_t>(fromY * width + fromX)];
    }
  }
  return result;
}

class ScrollingTest : public LayoutTest {
 protected:
  static PictureRef picture(PluginHost& setup, int width, int height, uint32_t seed) {
    PictureRef result = setup.host.newPicture(width, height, setup.options);
    result->setWords(randomPixels(width, height, seed, true));
    return result;
  }
};

TEST_P(ScrollingTest, MovesEveryPixelByEveryDelta) {
  PluginHost setup(GetParam().options);
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {10, 10}, {7, 1}, {1, 7}, {75, 3}}) {
    const PictureRef subject = picture(setup, width, height, 1);
    const Pixels words = subject->words();
    std::vector<int> deltas = {INT32_MIN, INT32_MAX};
    const int most = 2 * std::max(width, height) + 1;
    for (int delta = -most; delta <= most; ++delta) deltas.push_back(delta);
    for (const int delta : deltas) {
      for (const bool wrap : {false, true}) {
        for (const bool down : {false, true}) {
          subject->setWords(words);
          const char* method = down ? "ScrollVerticalZVK" : "ScrollHorizontalZVK";
          ASSERT_TRUE(setup.plugin.call(subject, method, delta, wrap, false).boolean());
          ASSERT_EQ(subject->words(),
                    shifted(words, width, height, down ? 0 : delta, down ? delta : 0, wrap))
              << method << " " << delta << " wrap " << wrap << ", " << width << " x " << height;
        }
      }
    }
  }
}

TEST_P(ScrollingTest, ScrollsBothWays) {
  PluginHost setup(GetParam().options);
  constexpr int kWidth = 67, kHeight = 4;
  const PictureRef subject = picture(setup, kWidth, kHeight, 2);
  const Pixels words = subject->words();
  for (int right = -kWidth - 1; right <= kWidth + 1; ++right) {
    for (int down = -kHeight - 1; down <= kHeight + 1; ++down) {
      for (const bool wrap : {false, true}) {
        subject->setWords(words);
        const int clears = subject->cacheClears();
        ASSERT_TRUE(setup.plugin.call(subject, "ScrollZVK", right, down, wrap, false).boolean());
        ASSERT_EQ(subject->words(), shifted(words, kWidth, kHeight, right, down, wrap))
            << right << ", " << down << " wrap " << wrap;
        ASSERT_EQ(subject->cacheClears() > clears, right != 0 || down != 0);
      }
    }
  }
}

TEST_P(ScrollingTest, MovesTheMaskAlong) {
  PluginHost setup(GetParam().options);
  for (const bool wrap : {false, true}) {
    for (const bool withMask : {false, true}) {
      const PictureRef subject = picture(setup, 20, 10, 3);
      // A mask need not have the size of its picture.
      const PictureRef mask = setup.picture(15, 12, randomPixels(15, 12, 4));
      subject->setMask(mask);
      const Pixels words = subject->words(), maskWords = mask->words();
      EXPECT_TRUE(setup.plugin.call(subject, "ScrollZVK", 4, 3, wrap, withMask).boolean());
      EXPECT_TRUE(setup.plugin.call(subject, "ScrollVerticalZVK", -5, wrap, withMask).boolean());
      EXPECT_TRUE(setup.plugin.call(subject, "ScrollHorizontalZVK", 1, wrap, withMask).boolean());
      const auto expected = [wrap](const Pixels& source, int width, int height) {
        Pixels result = shifted(source, width, height, 4, 3, wrap);
        result = shifted(result, width, height, 0, -5, wrap);
        return shifted(result, width, height, 1, 0, wrap);
      };
      EXPECT_EQ(subject->words(), expected(words, 20, 10));
      EXPECT_EQ(mask->words(), withMask ? expected(maskWords, 15, 12) : maskWords);
    }
  }
}

// A mask that cannot be changed stops a vertical scroll before the picture, a horizontal one not.
TEST_P(ScrollingTest, KeepsThePictureWhenTheMaskFails) {
  PluginHost setup(GetParam().options);
  const PictureRef subject = picture(setup, 8, 8, 5);
  const PictureRef mask = setup.picture(8, 8, randomPixels(8, 8, 6));
  mask->faults.refusedLocks = -1;
  subject->setMask(mask);
  const Pixels words = subject->words();
  EXPECT_FALSE(setup.plugin.call(subject, "ScrollVerticalZVK", 2, true, true).boolean());
  EXPECT_EQ(subject->words(), words);
  EXPECT_FALSE(setup.plugin.call(subject, "ScrollZVK", 3, 2, true, true).boolean());
  EXPECT_EQ(subject->words(), shifted(words, 8, 8, 3, 0, true));
}

TEST_P(ScrollingTest, LeavesPictureClosedWhenNothingMoves) {
  PluginHost setup(GetParam().options);
  const PictureRef subject = picture(setup, 5, 5, 7);
  setup.host.clearCalls();
  for (const bool wrap : {false, true}) {
    EXPECT_TRUE(setup.plugin.call(subject, "ScrollZVK", 0, 0, wrap, true).boolean());
  }
  EXPECT_EQ(setup.host.callCount("REALLockPictureDescription"), 0);
  EXPECT_EQ(setup.host.callCount("REALGetPictureMask"), 4);
}

// Only a copy of a drawable's pixels can be had.
TEST(ScrollingDrawables, StayAsTheyAre) {
  const host::PictureOptions options{.storage = host::Storage::kDrawable};
  ZVK_NEEDS_STORAGE(options);
  PluginHost setup(options);
  const Pixels source = randomPixels(9, 4, 8);
  const PictureRef subject = setup.picture(9, 4, source);
  for (const bool wrap : {false, true}) {
    EXPECT_FALSE(setup.plugin.call(subject, "ScrollVerticalZVK", 1, wrap, false).boolean());
    EXPECT_TRUE(setup.plugin.call(subject, "ScrollHorizontalZVK", 1, wrap, false).boolean());
    EXPECT_FALSE(setup.plugin.call(subject, "ScrollZVK", 1, 1, wrap, false).boolean());
  }
  EXPECT_EQ(subject->pixels(), source);
}

// Surfaces are one piece of memory, of which whole rows move; records have nothing behind their
// rows.
TEST(Scrolling, MovesWhatLiesBehindTheRowsOfSurfacesAlone) {
  constexpr int kWidth = 5, kHeight = 4;
  for (const auto& [right, wrap] : {std::pair{0, true}, {2, true}, {0, false}, {2, false}}) {
    const host::PictureOptions cairo{.paddingWords = 1};
    PluginHost setup(cairo);
    const PictureRef subject = setup.picture(kWidth, kHeight, randomPixels(kWidth, kHeight, 1));
    const auto padding = [&](int y) -> uint8_t& {
      return subject->storage().row(y)[4 * kWidth + 2];
    };
    for (int y = 0; y < kHeight; ++y) padding(y) = static_cast<uint8_t>(y + 1);
    EXPECT_TRUE(setup.plugin.call(subject, "ScrollZVK", right, 1, wrap, false).boolean());
    for (int y = 0; y < kHeight; ++y) {
      EXPECT_EQ(padding(y), y > 0 ? y : wrap ? kHeight : 0xFF) << right << wrap << y;
    }

    PluginHost console({.storage = host::Storage::kRecord, .paddingWords = 1});
    const PictureRef record = console.picture(kWidth, kHeight, randomPixels(kWidth, kHeight, 1));
    EXPECT_TRUE(console.plugin.call(record, "ScrollZVK", right, 1, wrap, false).boolean());
    EXPECT_TRUE(record->surroundingsIntact());
  }
}

// No more than 2^31 - 1 bytes turn around the edge: of four rows downwards, of all five upwards.
TEST(ScrollingRecords, RefuseToTurnMoreThanTheLimit) {
  PluginHost setup({.storage = host::Storage::kRecord});
  const PictureRef subject = setup.picture(2, 5, randomPixels(2, 5, 1));
  const Pixels words = subject->words();
  for (const auto& [width, delta] : {std::pair{134'217'728, 1}, {107'374'183, -1}}) {
    subject->faults.width = width;
    EXPECT_FALSE(setup.plugin.call(subject, "ScrollVerticalZVK", delta, true, false).boolean());
  }
  EXPECT_EQ(subject->words(), words);
}

// Nothing moves from a row that is not there, nor into it.
TEST(ScrollingRecords, LeaveOutMissingRowsAndEmptySizes) {
  PluginHost setup({.storage = host::Storage::kRecord, .scatteredRows = true});
  const PictureRef subject = setup.picture(6, 5, randomPixels(6, 5, 9));
  const Pixels words = subject->words();
  uint8_t** rows = subject->record()->rowStarts;
  const std::pair<int, bool> ways[] = {{0, false}, {0, true}, {2, false}, {2, true}};
  for (const auto& [right, wrap] : ways) {
    for (const int missing : {0, 2}) {
      const auto keepRows = [missing](Pixels moved, const Pixels& from, int count) {
        std::copy_n(from.begin() + 6 * missing, 6 * count, moved.begin() + 6 * missing);
        return moved;
      };
      const Pixels sideways = keepRows(shifted(words, 6, 5, right, 0, wrap), words, 1);
      subject->setWords(words);
      uint8_t* const row = std::exchange(rows[missing], nullptr);
      EXPECT_TRUE(setup.plugin.call(subject, "ScrollZVK", right, 1, wrap, false).boolean());
      rows[missing] = row;
      EXPECT_EQ(subject->words(), keepRows(shifted(sideways, 6, 5, 0, 1, wrap), sideways, 2))
          << missing << ", " << right << wrap;
    }
  }
  subject->setWords(words);
  for (const auto& [width, height] : {std::pair{0, 5}, {6, 0}, {-1, -1}}) {
    subject->faults.width = width;
    subject->faults.height = height;
    for (const bool wrap : {false, true}) {
      EXPECT_TRUE(setup.plugin.call(subject, "ScrollZVK", 2, 3, wrap, false).boolean());
    }
  }
  EXPECT_EQ(subject->words(), words);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Storage, ScrollingTest, testing::ValuesIn(test::inPlaceLayouts()),
                         test::layoutName);
