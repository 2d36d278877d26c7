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
      const PictureRef result = setup.plugin.call(self, r.method, channel);
      ASSERT_TRUE(result);
      EXPECT_EQ(words(result), written(expected, result->options()));
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
    const auto combine = [&](const PictureRef& a, const PictureRef& b, const PictureRef& c) {
      return setup.plugin.callGlobal("CombinePicturesZVK", a, b, c).picture();
    };
    EXPECT_FALSE(combine(bad, self, self) || combine(self, bad, self) || combine(self, self, bad));
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

}  // namespace

ZVK_ALL_LAYOUTS(ChannelsTest);
