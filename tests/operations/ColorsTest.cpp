#include "Support.h"

namespace {

using namespace test;
using host::BlockRef;
using host::PictureRef;
using Counters = std::vector<uint32_t>;

// --- Histograms ---------------------------------------------------------------------------------

Counters countersOf(const BlockRef& block) {
  Counters counters(static_cast<size_t>(block->size()) / 4);
  memcpy(counters.data(), block->data(), counters.size() * 4);
  return counters;
}

/// CountColorsZVK with variables that hold these blocks; the blocks and the count afterwards.
struct Counted {
  BlockRef red, blue, green;
  int64_t count;

  Counted(PluginHost& setup, const PictureRef& picture, const BlockRef& r = {},
          const BlockRef& b = {}, const BlockRef& g = {}) {
    const auto results =
        setup.plugin.invokeByName(picture, "CountColorsZVK", {r, b, g, 77}).byReference;
    red = results[0].value.block(), blue = results[1].value.block();
    green = results[2].value.block(), count = results[3].value.integer();
  }
};

// One block for two channels, and one that is longer than needed and at an odd address.
TEST(HistogramTest, IsAddedToBlocks) {
  PluginHost setup(host::PictureOptions{});
  const PictureRef picture = setup.picture(514, 3, randomPixels(514, 3, 9, true));
  const Counted made(setup, picture);
  ASSERT_TRUE(made.red && made.blue && made.green);
  const Counters red = countersOf(made.red), blue = countersOf(made.blue),
                 green = countersOf(made.green);
  const BlockRef odd = setup.host.newBlock(1027, host::Placement::kGuarded);
  memset(odd->data(), 0xFF, 1027);
  const Counted again(setup, picture, made.red, made.red, odd);
  EXPECT_TRUE(again.red == made.red && again.blue == made.red && again.green == odd);
  for (size_t v = 0; v < 256; ++v) {
    EXPECT_EQ(countersOf(made.red)[v], 2 * red[v] + blue[v]);
    EXPECT_EQ(countersOf(odd)[v], green[v] + 0xFFFFFFFF);
  }
  EXPECT_EQ(odd->data()[1026], 0xFF);
}

// Nothing is written to any block unless all of them can be.
TEST(HistogramTest, RefusesShortBlocksAndPicturesItCannotRead) {
  PluginHost setup(host::PictureOptions{});
  const PictureRef picture = setup.picture(2, 2, randomPixels(2, 2, 1));
  const BlockRef nowhere = setup.host.newBlock(1024);
  nowhere->hideAddress = true;
  for (const BlockRef& bad :
       {nowhere, setup.host.newBlock(1023, host::Placement::kGuarded), setup.host.newBlock(0)}) {
    const BlockRef a = setup.host.newBlock(1024), b = setup.host.newBlock(1024);
    EXPECT_EQ(Counted(setup, picture, bad, a, b).count, -1);
    EXPECT_EQ(Counted(setup, picture, a, bad, b).count, -1);
    EXPECT_EQ(Counted(setup, picture, a, b, bad).count, -1);
    EXPECT_EQ(countersOf(a), Counters(256));
    EXPECT_EQ(countersOf(b), Counters(256));
  }
  // New blocks reach the caller whatever happens next.
  const PictureRef unreadable = setup.picture(1, 1, {0});
  unreadable->faults.nullData = true;
  const Counted unread(setup, unreadable);
  EXPECT_EQ(unread.count, -1);
  EXPECT_TRUE(unread.red && unread.blue && unread.green);
  setup.host.failCall("newMemoryBlock", 2);
  const Counted unmade(setup, picture);
  EXPECT_EQ(unmade.count, -1);
  EXPECT_TRUE(unmade.red && !unmade.blue && unmade.green);
}

// --- Tables -------------------------------------------------------------------------------------

BlockRef table(PluginHost& setup, const std::function<int(int)>& f) {
  BlockRef block = setup.host.newBlock(256, host::Placement::kGuarded);
  for (int v = 0; v < 256; ++v) block->data()[v] = static_cast<uint8_t>(f(v));
  return block;
}

TEST(TableTest, RaisesForTheFirstNilInOrderRedGreenBlue) {
  PluginHost setup(host::PictureOptions{});
  const PictureRef picture = setup.picture(2, 2, randomPixels(2, 2, 1));
  const BlockRef block = table(setup, [](int v) { return v; }), nil;
  struct Case {
    BlockRef red, blue, green;
    const char* message;
  };
  const Case cases[] = {
      {nil, nil, nil, "red memoryblock is nil"},
      {block, nil, nil, "green memoryblock is nil"},
      {block, block, nil, "green memoryblock is nil"},
      {block, nil, block, "blue memoryblock is nil"},
  };
  setup.host.clearCalls();
  for (const Case& c : cases) {
    setup.expectException("NilObjectException", c.message, [&] {
      setup.plugin.call(picture, "TransformColorsZVK", c.red, c.blue, c.green);
    });
  }
  EXPECT_THAT(setup.host.callTexts(),
              testing::Not(testing::Contains(testing::HasSubstr("LockPictureDescription"))));
  setup.expectException("NilObjectException", "picture is nil", [&] {
    setup.callOnNil("TransformColorsZVK", {nil, nil, nil});
  });
}

TEST(TableTest, RefusesShortTablesWhereSizesAreKnown) {
  for (const bool sizesKnown : {true, false}) {
    PluginHost setup(host::PictureOptions{});
    if (!sizesKnown) setup.host.withhold("memoryBlockGetSize");
    const PictureRef picture = setup.picture(2, 1, {0x010203, 0x800000});
    const BlockRef whole = table(setup, [](int v) { return v; });
    const BlockRef brief = setup.host.newBlock(255, host::Placement::kGuarded);
    const BlockRef nowhere = table(setup, [](int v) { return v; });
    nowhere->hideAddress = true;
    const auto map = [&](const BlockRef& red, const BlockRef& blue, const BlockRef& green) {
      return setup.plugin.call(picture, "TransformColorsZVK", red, blue, green).picture();
    };
    const BlockRef unsized(host::MemoryBlock::wrap(setup.host, whole->data()));
    EXPECT_TRUE(map(whole, whole, whole) && map(unsized, whole, unsized));
    EXPECT_FALSE(map(nowhere, whole, whole) || map(whole, nowhere, whole) ||
                 map(whole, whole, nowhere));
    if (sizesKnown) {
      EXPECT_FALSE(map(brief, whole, whole) || map(whole, brief, whole) ||
                   map(whole, whole, brief));
    }
  }
}

}  // namespace
