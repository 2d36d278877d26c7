#include "picture/PictureHelpers.h"

#include "Support.h"

namespace {

using namespace test;
using host::Host;
using host::PictureRef;
using host::Storage;

PictureRef adopt(REALpictureStruct* picture) { return Host::adopt<host::Picture>(picture); }

class PictureHelpersTest : public LayoutTest {
 protected:
  void SetUp() override {
    ZVK_NEEDS_STORAGE(GetParam().options);
    host::PictureOptions plain = setup.options;
    plain.alpha = false;
    picture->setMask(setup.picture(5, 4, mask, plain));
  }

  // Colours of the top left part of a picture of 5 columns.
  static Pixels part(const Pixels& pixels, size_t width, size_t height) {
    Pixels result;
    for (size_t i = 0; i < 5 * height; ++i) {
      if (i % 5 < width) result.push_back(pixels[i] & 0xFFFFFF);
    }
    return result;
  }

  LinkedHost setup{GetParam().options};
  // Opaque, so that drawing keeps the colours.
  const Pixels pixels = randomPixels(5, 4, 1), mask = randomPixels(5, 4, 2);
  PictureRef picture = setup.picture(5, 4, pixels);
};

TEST_P(PictureHelpersTest, ClonesHoldTheTopLeftPartUnscaled) {
  EXPECT_EQ(colors(adopt(ClonePicture(picture.handle()))), part(pixels, 5, 4));
  const PictureRef clone = adopt(ClonePicture(picture.handle(), 3, 2));
  EXPECT_EQ(clone->width(), 3);
  EXPECT_EQ(clone->height(), 2);
  EXPECT_EQ(colors(clone), part(pixels, 3, 2));
  EXPECT_FALSE(clone->hasAlpha());
  EXPECT_EQ(clone->mask(false), nullptr);

  const PictureRef masked = adopt(ClonePictureWithMask(picture.handle()));
  EXPECT_EQ(colors(masked), part(pixels, 5, 4));
  EXPECT_EQ(colors(PictureRef(masked->mask(false))), part(mask, 5, 4));
  const PictureRef small = adopt(ClonePictureWithMask(picture.handle(), 2, 3));
  EXPECT_EQ(colors(small), part(pixels, 2, 3));
  EXPECT_EQ(colors(PictureRef(small->mask(false))), part(mask, 2, 3));
  picture->setMask(nullptr);
  EXPECT_EQ(adopt(ClonePictureWithMask(picture.handle()))->mask(false), nullptr);
}

TEST_P(PictureHelpersTest, ClonesOfNothingAreNil) {
  EXPECT_FALSE(adopt(ClonePicture(nullptr)));
  EXPECT_FALSE(adopt(ClonePictureWithMask(nullptr)));
  EXPECT_FALSE(adopt(ClonePicture(nullptr, 2, 2)));
  for (const auto& [width, height] : {std::pair(0, 2), {2, 0}, {-1, 2}}) {
    EXPECT_FALSE(adopt(ClonePicture(picture.handle(), width, height)));
    EXPECT_FALSE(adopt(ClonePictureWithMask(picture.handle(), width, height)));
  }
  picture->faults.unreadableSize = true;
  EXPECT_FALSE(adopt(ClonePicture(picture.handle())));
  EXPECT_FALSE(adopt(ClonePictureWithMask(picture.handle())));
}

TEST_P(PictureHelpersTest, ClonesSurviveFailingServices) {
  for (const char* service :
       {"newPicture", "pluginPictureGraphicsGetter", "REALLoadObjectMethod", "REALGetPictureMask",
        "REALLockPictureDescription", "Graphics.DrawPicture", "REALPictureClearCache"}) {
    for (int call = 1; call <= 3; ++call) {
      setup.host.failCall(service, call);
      adopt(ClonePicture(picture.handle()));
      adopt(ClonePictureWithMask(picture.handle()));
      setup.host.restore(service);
      EXPECT_THAT(setup.host.accounts(), testing::IsEmpty()) << service;
    }
  }
  setup.host.failCall("pluginPictureGraphicsGetter");
  EXPECT_TRUE(adopt(ClonePicture(picture.handle()))) << "undrawn";
}

ZVK_ALL_LAYOUTS(PictureHelpersTest);

// --- Drawing ------------------------------------------------------------------------------------

TEST(DrawPicture, CopiesRecordsWhereTheMethodIsMissing) {
  for (const double version : {2012.0, 2011.0}) {
    host::Settings settings = host::Settings::forStorage(Storage::kRecord);
    settings.version = version;
    LinkedHost setup(settings);
    setup.host.withhold("Graphics.DrawPicture");
    const PictureRef from =
        setup.host.newPicture(4, 3, randomPixels(4, 3, 5), settings.newPictures);
    const PictureRef to = setup.host.newPicture(4, 3);
    EXPECT_TRUE(GraphicsDrawPicture(to.handle(), from.handle(), 0, 0, 4, 3, 0, 0, 4, 3));
    EXPECT_EQ(colors(to), colors(from));
    // Old hosts have a service of their own. Nobody knows its parameters: the host reports a call.
    EXPECT_EQ(setup.host.resolutions("RuntimeGraphicsDrawPicture"), version < 2012.0 ? 1 : 0);

    const PictureRef other = setup.host.newPicture(4, 3);
    EXPECT_TRUE(
        GraphicsDrawPicture(nullptr, other.handle(), from.handle(), 0, 0, 4, 3, 0, 0, 4, 3));
    EXPECT_EQ(colors(other), colors(from));
    EXPECT_FALSE(GraphicsDrawPicture(nullptr, from.handle(), 0, 0, 4, 3, 0, 0, 4, 3));
    EXPECT_FALSE(GraphicsDrawPicture(to.handle(), nullptr, 0, 0, 4, 3, 0, 0, 4, 3));
  }
}

// --- Copying records ----------------------------------------------------------------------------

class OwnCopyTest : public testing::Test {
 protected:
  bool copy(const PictureRef& target, const PictureRef& source, int x = 0, int y = 0, int w = 4,
            int h = 3, int sx = 0, int sy = 0, int sw = 4, int sh = 3) {
    return OwnCopy(target.handle(), source.handle(), x, y, w, h, sx, sy, sw, sh);
  }
  void expectRefused(const PictureRef& target, const PictureRef& source, bool sourceLocks) {
    const int before = target->cacheClears();
    EXPECT_FALSE(copy(target, source));
    EXPECT_EQ(target->cacheClears() - before, sourceLocks) << "cleared once the source was locked";
    EXPECT_EQ(to->pixels(), Pixels(12, 0xFF000000));
  }

  LinkedHost setup{host::PictureOptions{.storage = Storage::kRecord, .scatteredRows = true}};
  PictureRef from = setup.picture(4, 3, randomPixels(4, 3, 9));
  PictureRef to = setup.picture(4, 3, Pixels(12));
};

TEST_F(OwnCopyTest, CopiesWholeRowsWithTheirFourthBytes) {
  std::vector<uint32_t> words = from->words();
  words[7] |= 0x81000000;
  from->setWords(words);
  EXPECT_TRUE(copy(to, from));
  EXPECT_EQ(to->words(), words);
  EXPECT_EQ(to->cacheClears(), 1);
  EXPECT_TRUE(copy(to, from, 0, 0, -7, 900, 0, 0, -7, 900)) << "the copy is always whole";
  EXPECT_TRUE(copy(to, to));

  std::vector<std::string> order;
  setup.host.clearCalls();
  copy(to, from);
  for (const host::CallRecord& call : setup.host.calls()) {
    order.push_back(std::string(call.name) + " " + call.arguments[0]);
  }
  const std::string a = from->name(), b = to->name();
  EXPECT_THAT(order, testing::ElementsAre(
                         "REALLockPictureDescription " + a, "REALLockPictureDescription " + b,
                         "unlockPictureDescription " + b, "unlockPictureDescription " + a,
                         "REALPictureClearCache " + b));
}

TEST_F(OwnCopyTest, RefusesPartsWithoutLockingAnything) {
  setup.host.clearCalls();
  EXPECT_FALSE(copy(to, from, 1) || copy(to, from, 0, 1) || copy(to, from, 0, 0, 5) ||
               copy(to, from, 0, 0, 4, 2) || copy(to, from, 0, 0, 4, 3, 1) ||
               copy(to, from, 0, 0, 4, 3, 0, -1) || copy(nullptr, from) || copy(to, nullptr));
  EXPECT_TRUE(setup.host.calls().empty());
}

TEST_F(OwnCopyTest, RefusesWhatItCannotCopy) {
  expectRefused(setup.picture(4, 2, Pixels(8)), from, true);
  expectRefused(setup.picture(3, 3, Pixels(9)), from, true);
  from->record()->type = 1;
  expectRefused(to, from, true);
  from->record()->type = 0;
  uint8_t** rows = std::exchange(to->record()->rowStarts, nullptr);
  EXPECT_FALSE(copy(to, from));
  to->record()->rowStarts = rows;
  from->faults.nullData = true;
  expectRefused(to, from, true);
  from->faults = {.kind = 12};
  expectRefused(to, from, true);
  from->faults = {.refusedLocks = -1};
  expectRefused(to, from, false);
  from->faults = {};
  to->faults.refusedLocks = -1;
  expectRefused(to, from, true);
}

TEST_F(OwnCopyTest, LeavesRowsWithoutMemoryOut) {
  uint8_t* row = std::exchange(from->record()->rowStarts[1], nullptr);
  EXPECT_TRUE(copy(to, from));
  from->record()->rowStarts[1] = row;
  EXPECT_TRUE(to->words()[11] == from->words()[11] && to->words()[5] == 0);
}

// --- Queries ------------------------------------------------------------------------------------

TEST(PictureQueries, AnswerForNilAndForSilentHosts) {
  LinkedHost setup{host::Settings{}};
  const PictureRef picture = setup.host.newPicture(7, 5);
  EXPECT_EQ(GetPictureWidth(picture.handle()), 7);
  EXPECT_EQ(GetPictureHeight(picture.handle()), 5);
  EXPECT_EQ(GetPictureWidth(nullptr) + GetPictureHeight(nullptr) + GetPictureLockCount(nullptr), 0);
  const int references = picture->references();
  EXPECT_EQ(GetPictureLockCount(picture.handle()), references);
  EXPECT_EQ(adopt(BitmapPicture(picture.handle())), picture);
  EXPECT_EQ(BitmapPicture(nullptr), nullptr);
  EXPECT_FALSE(PictureHasAlphaChannel(nullptr));
  setup.host.failFrom("REALGetPropValueInt");
  EXPECT_EQ(GetPictureWidth(picture.handle()) + GetPictureHeight(picture.handle()), 0);
}

}  // namespace
