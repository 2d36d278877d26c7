#include "Support.h"

namespace {

using namespace test;
using host::PictureRef;

class ChannelsTest : public LayoutTest {};

struct Replacement {
  const char* method;
  uint32_t bits;
};
constexpr Replacement kReplacements[] = {{"ReplaceRedChannelZVK", 0xFF0000},
                                         {"ReplaceGreenChannelZVK", 0x00FF00},
                                         {"ReplaceBlueChannelZVK", 0x0000FF}};

uint32_t lighter(uint32_t a, uint32_t b) {
  const Rgb c = rgbOf(a), d = rgbOf(b);
  return opaque(std::max(c.red, d.red), std::max(c.green, d.green), std::max(c.blue, d.blue));
}

Pixels combined(const Pixels& red, const Pixels& blue, const Pixels& green) {
  Pixels result;
  for (size_t i = 0; i < red.size(); ++i) {
    result.push_back(opaque(rgbOf(red[i]).red, rgbOf(green[i]).green, rgbOf(blue[i]).blue));
  }
  return result;
}

Pixels merged(const Pixels& a, const Pixels& b) {
  Pixels result;
  for (size_t i = 0; i < a.size(); ++i) result.push_back(lighter(a[i], b[i]));
  return result;
}

void expectPlain(PictureRef result, const Pixels& pixels) {
  ASSERT_TRUE(result);
  EXPECT_FALSE(result->hasAlpha());
  EXPECT_EQ(words(result), written(pixels, result->options()));
}

TEST_P(ChannelsTest, CombinesAndMergesPictures) {
  PluginHost setup(GetParam().options);
  for (const int width : {1, 7, 33, 513, 1030}) {
    SCOPED_TRACE(width);
    Pixels source[3];
    PictureRef picture[3];
    for (int i = 0; i < 3; ++i) {
      source[i] = randomPixels(width, 3, static_cast<uint32_t>(3 * width + i), true);
      picture[i] = setup.picture(width, 3, source[i]);
    }
    expectPlain(setup.plugin.callGlobal("CombinePicturesZVK", picture[0], picture[1], picture[2]),
                combined(source[0], source[1], source[2]));
    expectPlain(setup.plugin.callGlobal("MergePictureZVK", picture[0], picture[1]),
                merged(source[0], source[1]));
  }
  const Pixels source = randomPixels(9, 4, 1, true);
  const PictureRef same = setup.picture(9, 4, source);
  expectPlain(setup.plugin.callGlobal("CombinePicturesZVK", same, same, same), source);
  expectPlain(setup.plugin.callGlobal("MergePictureZVK", same, same), source);
}

TEST_P(ChannelsTest, ReplacesAChannelFromAPictureOfAtLeastTheSameSize) {
  PluginHost setup(GetParam().options);
  const Pixels own = randomPixels(518, 4, 1, true);
  const PictureRef self = setup.picture(518, 4, own);
  for (const auto& [wider, higher] : {std::pair{0, 0}, {1, 0}, {0, 1}, {600, 3}}) {
    const Pixels large = randomPixels(518 + wider, 4 + higher, 2, true);
    const PictureRef channel = setup.picture(518 + wider, 4 + higher, large);
    for (const Replacement& r : kReplacements) {
      SCOPED_TRACE(r.method);
      Pixels expected = own;
      for (size_t i = 0; i < own.size(); ++i) {
        const uint32_t other = large[i / 518 * static_cast<size_t>(518 + wider) + i % 518];
        expected[i] = (own[i] & ~r.bits) | (other & r.bits);
      }
      expectPlain(setup.plugin.call(self, r.method, channel), expected);
    }
  }
}

// The host's accounts at the end of each test show that nothing stays locked.
TEST_P(ChannelsTest, RefusesWhatDoesNotFit) {
  PluginHost setup(GetParam().options);
  const PictureRef nil;
  const PictureRef self = setup.picture(4, 3, randomPixels(4, 3, 1));
  std::vector<PictureRef> unfit = {nil};
  for (const auto& [width, height] : {std::pair{3, 3}, {5, 3}, {4, 2}, {4, 4}}) {
    unfit.push_back(setup.picture(width, height, randomPixels(width, height, 2)));
  }
  for (const PictureRef& bad : unfit) {
    EXPECT_FALSE(setup.plugin.callGlobal("CombinePicturesZVK", bad, self, self).picture());
    EXPECT_FALSE(setup.plugin.callGlobal("CombinePicturesZVK", self, bad, self).picture());
    EXPECT_FALSE(setup.plugin.callGlobal("CombinePicturesZVK", self, self, bad).picture());
    EXPECT_FALSE(setup.plugin.callGlobal("MergePictureZVK", bad, self).picture());
    EXPECT_FALSE(setup.plugin.callGlobal("MergePictureZVK", self, bad).picture());
    for (const Replacement& r : kReplacements) {
      if (bad && (bad->width() < 4 || bad->height() < 3)) {
        EXPECT_FALSE(setup.plugin.call(self, r.method, bad).picture());
      }
    }
  }
  for (const Replacement& r : kReplacements) {
    EXPECT_FALSE(setup.callOnNil(r.method, {self}).picture());
    // Whatever the picture itself is, a nil channel is heard of.
    constexpr char kMessage[] = "The channel picture is nil.";
    setup.expectException("NilObjectException", kMessage,
                          [&] { setup.plugin.call(self, r.method, nil); });
    setup.expectException("NilObjectException", kMessage,
                          [&] { setup.callOnNil(r.method, {nil}); });
  }
}

// Readers are closed in the reverse order of opening, the writer before all of them.
TEST(ChannelsOrderTest, OpensRedGreenBlueAndClosesThemBackwards) {
  PluginHost setup(host::PictureOptions{});
  const PictureRef red = setup.picture(1, 1, {0}), blue = setup.picture(1, 1, {0}),
                   green = setup.picture(1, 1, {0});
  setup.host.clearCalls();
  const PictureRef result = setup.plugin.callGlobal("CombinePicturesZVK", red, blue, green);
  std::vector<std::string> locks;
  for (const host::CallRecord& call : setup.host.calls()) {
    if (call.name == "REALLockPictureDescription") locks.push_back("+" + call.arguments.at(0));
    if (call.name == "unlockPictureDescription") locks.push_back("-" + call.arguments.at(0));
  }
  EXPECT_THAT(locks,
              testing::ElementsAre("+" + red->name(), "+" + green->name(), "+" + blue->name(),
                                   "+" + result->name(), "-" + result->name(), "-" + blue->name(),
                                   "-" + green->name(), "-" + red->name()));
}

/// Layouts that pictures of one process can have side by side.
using Mixture = std::vector<host::PictureOptions>;
class MixedLayoutTest : public testing::TestWithParam<Mixture> {};

TEST_P(MixedLayoutTest, ReadsEachSourceInItsOwnFormat) {
  for (const host::PictureOptions& options : GetParam()) ZVK_NEEDS_STORAGE(options);
  Mixture mixture = GetParam();
  const Pixels source[3] = {randomPixels(530, 2, 1, true), randomPixels(530, 2, 2, true),
                            randomPixels(530, 2, 3, true)};
  const auto less = [](const auto& a, const auto& b) {
    return std::pair(a.storage, a.alpha) < std::pair(b.storage, b.alpha);
  };
  std::sort(mixture.begin(), mixture.end(), less);
  do {
    // A host of its own for each order: the first picture opened must not decide for the others.
    PluginHost setup(mixture[0]);
    PictureRef picture[3];
    for (int i = 0; i < 3; ++i) picture[i] = setup.picture(530, 2, source[i], mixture[i]);
    expectPlain(setup.plugin.callGlobal("CombinePicturesZVK", picture[0], picture[1], picture[2]),
                combined(source[0], source[1], source[2]));
    expectPlain(setup.plugin.callGlobal("MergePictureZVK", picture[0], picture[1]),
                merged(source[0], source[1]));
  } while (std::next_permutation(mixture.begin(), mixture.end(), less));
}

constexpr host::PictureOptions kCairoAlpha{.alpha = true};
constexpr host::PictureOptions kCairo{.paddingWords = 2};
constexpr host::PictureOptions kDrawable{.storage = host::Storage::kDrawable};
constexpr host::PictureOptions kRecord{.storage = host::Storage::kRecord};
constexpr host::PictureOptions kRecordAlpha{
    .storage = host::Storage::kRecord, .alpha = true, .scatteredRows = true};

INSTANTIATE_TEST_SUITE_P(Storage, MixedLayoutTest,
                         testing::Values(Mixture{kCairoAlpha, kCairo, kDrawable},
                                         Mixture{kRecord, kRecordAlpha, kRecordAlpha}));

}  // namespace

ZVK_ALL_LAYOUTS(ChannelsTest);
