#include "picture/PictureEditor.h"

#include <cmath>
#include <limits>

#include "Support.h"
#include "frame/HostState.h"
#include "picture/PictureHelpers.h"

namespace {

using namespace test;
using host::ApplicationKind;
using host::Host;
using host::PictureRef;
using host::Storage;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

// "service argument argument", without what has no name; refused requests say so.
Texts shortCalls(const Host& host) {
  Texts texts;
  for (const host::CallRecord& call : const_cast<Host&>(host).calls()) {
    std::string text(call.name);
    for (const std::string& argument : call.arguments) {
      if (argument != "address") text += " " + argument;
    }
    const bool isLock = call.name == "REALLockPictureDescription";
    if (isLock && call.result == "0") text += " refused";
    texts.push_back(text);
  }
  return texts;
}

Texts operator+(Texts a, const Texts& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class PictureEditorTest : public LayoutTest {
 protected:
  PictureRef source(int width = 5, int height = 3) {
    pixels = randomPixels(width, height, 7, GetParam().options.alpha);
    return setup.picture(width, height, pixels);
  }
  bool isDrawable() const { return setup.options.storage == Storage::kDrawable; }

  // The calls that open a picture once the kind of application is known.
  Texts opening(const std::string& picture) const {
    const std::string lock = "REALLockPictureDescription " + picture;
    Texts locks;
    switch (setup.options.storage) {
      case Storage::kCairo:
        locks = {lock + " 12"};
        break;
      case Storage::kDrawable:
        locks = {lock + " 12 refused", lock + " 6"};
        break;
      case Storage::kRecord:
        locks = {lock + " 10"};
        break;
    }
    return Texts{"REALGetPropValueBool " + picture + " \"HasAlphaChannel\""} + locks +
           Texts{"REALLockObject " + picture};
  }

  LinkedHost setup{GetParam().options};
  Pixels pixels;
  PictureEditor e;
};

// What a program that only knows the editor's fields and routines reads.
Pixels readThrough(PictureEditor& e) {
  Pixels result;
  for (int y = 0; y < e.height; ++y) {
    EXPECT_EQ(e.y, y);
    for (int x = 0; x < e.width; ++x) {
      const uint8_t* p = e.row + x * e.bytesPerPixel;
      result.push_back(static_cast<uint32_t>(p[GetRedOffset(e)] << 16 | p[GetGreenOffset(e)] << 8 |
                                             p[GetBlueOffset(e)]));
    }
    NextRow(e);
  }
  return result;
}

// --- Readers ------------------------------------------------------------------------------------

TEST_P(PictureEditorTest, ReaderShowsGeometryAndPixels) {
  const PictureRef picture = source();
  memset(&e, 0xA5, sizeof e);
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(e.width, 5);
  EXPECT_EQ(e.height, 3);
  const bool isRecord = setup.options.storage == Storage::kRecord;
  const int format = isRecord ? 8 : isDrawable() ? 11 : setup.options.alpha ? 14 : 15;
  EXPECT_EQ(e.pixelFormat, format);
  EXPECT_EQ(e.bytesPerPixel, format == 11 ? 3 : 4);
  EXPECT_EQ(e.bytesPerPixel, GetBytesPerPixel(e));
  const int padding = format == 15 ? setup.options.paddingWords : 0;
  EXPECT_EQ(e.rowBytes, format == 11 ? 16 : 4 * (5 + padding)) << "pixbuf rows fill whole words";
  EXPECT_EQ(e.hasAlpha != 0, setup.options.alpha);
  EXPECT_EQ(e.clearCacheOnClose, 0);
  EXPECT_EQ(e.ownBuffer, nullptr);
  EXPECT_EQ(e.picture, picture.handle());
  EXPECT_EQ(e.pixbuf != nullptr, format == 11);
  EXPECT_EQ(e.rowTable != nullptr, format == 8);
  EXPECT_EQ(e.row, e.base);
  EXPECT_EQ(readThrough(e), colors(picture));
  EXPECT_EQ(e.y, 3);
  EXPECT_EQ(e.row, e.base) << "behind the last row the cursor is back on row 0";
  NextRow(e);
  EXPECT_EQ(e.row, e.base);
  EXPECT_EQ(e.y, 4);
  ClosePictureReader(e);
  EXPECT_EQ(e.picture, nullptr);
  EXPECT_EQ(e.pixbuf, nullptr);
  EXPECT_EQ(picture->cacheClears(), 0);
  ClosePictureReader(e);
  ClosePictureEditor(e);
  FreePictureWriter(e);
}

TEST_P(PictureEditorTest, ReadersAskTheHostInOrder) {
  const PictureRef picture = source();
  const std::string name = picture->name();
  setup.host.clearCalls();
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  const Texts classes = {"pluginObjectType \"Application\"", "pluginObjectType \"WebApplication\"",
                         "pluginObjectType \"ConsoleApplication\""};
  EXPECT_EQ(shortCalls(setup.host), classes + opening(name));
  setup.host.clearCalls();
  ClosePictureReader(e);
  EXPECT_THAT(shortCalls(setup.host),
              ElementsAre("unlockPictureDescription " + name, "REALUnlockObject " + name));

  setup.host.clearCalls();
  ASSERT_TRUE(GetPictureReader(e, picture.handle(), 0, 1));
  EXPECT_EQ(shortCalls(setup.host), opening(name));
  setup.host.clearCalls();
  ClosePictureEditor(e);
  EXPECT_THAT(shortCalls(setup.host),
              ElementsAre("unlockPictureDescription " + name, "REALPictureClearCache " + name,
                          "REALUnlockObject " + name));
}

// --- Writers ------------------------------------------------------------------------------------

TEST_P(PictureEditorTest, WritersKeepToTheirSizes) {
  for (const auto& [width, height] : {std::pair(0, 1),
                                      {1, 0},
                                      {-1, 5},
                                      {5, -1},
                                      {32768, 1},
                                      {1, 32768},
                                      {INT32_MIN, INT32_MAX}}) {
    EXPECT_FALSE(NewPictureWriter(e, width, height)) << width << " x " << height;
    EXPECT_EQ(e.picture, nullptr);
  }
  EXPECT_EQ(setup.host.callCount("newPicture"), 0);
  EXPECT_FALSE(NewPictureWriter(e, 32767, 32767)) << "the host has no room for it";
  EXPECT_EQ(setup.host.callCount("newPicture"), 1);
  ASSERT_TRUE(NewPictureWriter(e, 32767, 1));
  EXPECT_EQ(e.width, 32767);
  FreePictureWriter(e);
}

TEST_P(PictureEditorTest, TargetsAreWrittenIntoWhereTheyAreLargeEnough) {
  const PictureRef target = source(5, 3);
  const auto opens = [&](REALpictureStruct* picture, int width, int height) {
    EXPECT_TRUE(NewPictureWriter(e, picture, width, height));
    const bool inTarget = e.picture == target.handle();
    const bool whole = inTarget ? e.width == 5 && e.height == 3 : e.width == width;
    EXPECT_TRUE(whole && (inTarget || e.height == height));
    FreePictureWriter(e);
    return inTarget;
  };
  EXPECT_EQ(opens(target.handle(), 5, 3), !isDrawable());
  EXPECT_EQ(opens(target.handle(), 2, 1), !isDrawable());
  EXPECT_EQ(target->cacheClears(), 2);
  EXPECT_FALSE(opens(target.handle(), 6, 3));
  EXPECT_FALSE(opens(target.handle(), 5, 4));
  EXPECT_FALSE(opens(nullptr, 5, 3));
  EXPECT_EQ(target->cacheClears(), 2);
  target->faults.unreadableSize = true;
  EXPECT_FALSE(opens(target.handle(), 5, 3));
}

// --- Damaged pictures ---------------------------------------------------------------------------

struct Damage {
  const char* what;
  void (*inflict)(host::Picture&);
  bool concerns[3];  ///< cairo, drawables, records
};

const Damage kDamages[] = {
    {"no description at all", [](host::Picture& p) { p.faults.refusedLocks = -1; }, {1, 0, 1}},
    {"a description of another kind", [](host::Picture& p) { p.faults.kind = 3; }, {1, 1, 1}},
    {"no data handle", [](host::Picture& p) { p.faults.nullData = true; }, {1, 1, 1}},
    {"a surface without size",
     [](host::Picture& p) { p.faults.surface = host::SurfaceFault::kZeroSize; },
     {1, 0, 0}},
    {"a surface that is no image",
     [](host::Picture& p) { p.faults.surface = host::SurfaceFault::kNotAnImage; },
     {1, 0, 0}},
    {"a surface of one byte per pixel",
     [](host::Picture& p) { p.faults.surface = host::SurfaceFault::kEightBit; },
     {1, 0, 0}},
    {"more columns than the drawable has",
     [](host::Picture& p) { p.faults.width = 100; },
     {0, 1, 0}},
    {"more columns than 32 bits count bytes for",
     [](host::Picture& p) { p.faults.width = 1 << 29; },
     {0, 0, 1}},
    {"a record without pixels",
     [](host::Picture& p) { p.record()->hostPixels = nullptr; },
     {0, 0, 1}},
    {"a record without row table",
     [](host::Picture& p) { p.record()->rowStarts = nullptr; },
     {0, 0, 1}},
};

TEST_P(PictureEditorTest, DamagedPicturesAreRefusedAndNothingStaysHeld) {
  testing::internal::CaptureStderr();  // GDK complains about drawables that are too small
  for (const Damage& damage : kDamages) {
    if (!damage.concerns[static_cast<size_t>(setup.options.storage)]) continue;
    SCOPED_TRACE(damage.what);
    const PictureRef picture = source();
    // The kind of application is settled by a good picture first.
    ASSERT_TRUE(GetPictureReader(e, picture.handle()));
    ClosePictureReader(e);
    damage.inflict(*picture);
    EXPECT_FALSE(GetPictureReader(e, picture.handle(), 0, 0));
    EXPECT_TRUE(e.picture == nullptr && e.pixbuf == nullptr && e.ownBuffer == nullptr);
    EXPECT_FALSE(GetPictureEditor(e, picture.handle()));
    EXPECT_TRUE(NewPictureWriter(e, picture.handle(), 2, 2)) << "a new picture instead";
    EXPECT_NE(e.picture, picture.handle());
    FreePictureWriter(e);
    const bool isLocked = picture->faults.refusedLocks != 0;
    const bool clones =
        isLocked && setup.options.storage == Storage::kCairo && !setup.options.alpha;
    EXPECT_EQ(static_cast<bool>(PictureRef(setup.plugin.call(picture, "InvertZVK"))), clones);
    EXPECT_EQ(picture->openLocks(), 0);
    EXPECT_THAT(setup.host.accounts(), testing::IsEmpty());
  }
  testing::internal::GetCapturedStderr();
}

TEST_P(PictureEditorTest, UnreadableAlphaCountsAsNone) {
  const PictureRef picture = source();
  picture->faults.unreadableAlpha = true;
  const bool isAlphaRecord = setup.options.storage == Storage::kRecord && setup.options.alpha;
  ASSERT_EQ(GetPictureReader(e, picture.handle()) != 0, !isAlphaRecord)
      << "without alpha channel the record's first word must be 0";
  EXPECT_EQ(e.hasAlpha, 0);
  if (setup.options.storage == Storage::kCairo) {
    EXPECT_EQ(e.pixelFormat, 15);
  }
  ClosePictureReader(e);
}

TEST(DamagedPicture, HasNoRowsToLookAt) {
  LinkedHost setup(host::PictureOptions{.storage = Storage::kRecord});
  const PictureRef picture = setup.host.newPicture(2, 2);
  const host::Memory none(8, host::Placement::kGuarded);
  picture->record()->rowStarts = reinterpret_cast<uint8_t**>(none.data() + 8);
  picture->faults.height = 0;
  PictureEditor e;
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(e.base, nullptr);
  ClosePictureReader(e);
}

TEST(DamagedPicture, WithoutSizeIsNothingForGdkToComplainOf) {
  const host::PictureOptions options{.storage = Storage::kDrawable};
  ZVK_NEEDS_STORAGE(options);
  LinkedHost setup(options);
  const PictureRef picture = setup.host.newPicture(2, 2);
  picture->faults.width = 0;
  PictureEditor e;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- Old hosts ----------------------------------------------------------------------------------

// They keep a description locked when they refuse it.
TEST_P(PictureEditorTest, LocksOfOldHostsAreGivenBack) {
  for (const std::optional<double> version : {std::optional<double>(), std::optional(2011.9),
                                              std::optional(2012.0), std::optional(kNoNumber)}) {
    setup.host.settings.version = version;
    rbversion = version.value_or(0.0);
    const PictureRef picture = source();
    ASSERT_TRUE(GetPictureReader(e, picture.handle()));
    EXPECT_EQ(picture->openLocks(), 1);
    ClosePictureReader(e);
    picture->faults.refusedLocks = -1;
    EXPECT_FALSE(GetPictureReader(e, picture.handle(), 0, 0));
    EXPECT_EQ(picture->openLocks(), 0) << version.value_or(0.0);
  }
}

ZVK_ALL_LAYOUTS(PictureEditorTest);

// --- What kind of application runs --------------------------------------------------------------

TEST(ApplicationDetection, FollowsTheClassesOrTheFirstPicture) {
  const struct {
    ApplicationKind application;
    Storage storage;
    bool desktop, console;
    int lookUps;
    bool alpha = false;
  } cases[] = {{ApplicationKind::kDesktop, Storage::kCairo, true, false, 3},
               {ApplicationKind::kConsole, Storage::kRecord, false, true, 3},
               {ApplicationKind::kWeb, Storage::kRecord, false, true, 3},
               {ApplicationKind::kNone, Storage::kCairo, true, false, 3},
               // A drawn copy is tried before records, and opened while nothing is known yet.
               {ApplicationKind::kNone, Storage::kRecord, false, true, 6},
               {ApplicationKind::kNone, Storage::kRecord, false, true, 3, true}};
  for (const auto& c : cases) {
    host::Settings settings = host::Settings::forStorage(c.storage);
    settings.application = c.application;
    LinkedHost setup(settings);
    const PictureRef picture =
        setup.host.newPicture(2, 2, {.storage = c.storage, .alpha = c.alpha});
    PictureEditor e;
    for (int i = 0; i < 2; ++i) {
      ASSERT_TRUE(GetPictureReader(e, picture.handle()));
      ClosePictureReader(e);
    }
    EXPECT_EQ(IsDesktop != 0, c.desktop);
    EXPECT_EQ(IsConsole != 0, c.console);
    EXPECT_EQ(setup.host.callCount("pluginObjectType"), c.lookUps);
  }
}

TEST(ApplicationDetection, TheOtherFamilyIsNeverTriedAgain) {
  for (const Storage first : {Storage::kCairo, Storage::kRecord}) {
    const Storage second = first == Storage::kCairo ? Storage::kRecord : Storage::kCairo;
    for (const bool alpha : {false, true}) {
      host::Settings settings = host::Settings::forStorage(first);
      settings.application = ApplicationKind::kNone;
      LinkedHost setup(settings);
      PictureEditor e;
      const PictureRef picture = setup.host.newPicture(2, 2);
      ASSERT_TRUE(GetPictureReader(e, picture.handle()));
      ClosePictureReader(e);
      const PictureRef other = setup.host.newPicture(2, 2, {.storage = second, .alpha = alpha});
      setup.host.clearCalls();
      EXPECT_FALSE(GetPictureReader(e, other.handle(), 0, 0));
      for (const std::string& call : shortCalls(setup.host)) {
        const bool triesFirst =
            call.find(first == Storage::kCairo ? " 10" : " 12") == std::string::npos;
        EXPECT_TRUE(triesFirst && call.find("t 6") == std::string::npos) << call;
      }
    }
  }
}

// --- Drawn copies -------------------------------------------------------------------------------

class DrawnCopy : public testing::Test {
 protected:
  DrawnCopy() { picture->faults.refusedLocks = -1; }

  LinkedHost setup{host::Settings{}};
  const Pixels pixels = randomPixels(6, 4, 3);
  PictureRef picture = setup.host.newPicture(6, 4, pixels, {});
  PictureEditor e;
};

TEST_F(DrawnCopy, IsReadWhereThePictureCannotBe) {
  setup.host.clearCalls();
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  EXPECT_NE(e.picture, picture.handle());
  EXPECT_EQ(readThrough(e), colors(picture));
  auto* copy = Host::as<host::Picture>(e.picture);
  EXPECT_EQ(copy->references(), 1) << "the editor's";
  ClosePictureReader(e);
  EXPECT_FALSE(copy->alive());
  EXPECT_EQ(setup.host.callCount("newPicture"), 1);

  const std::string lock = "REALLockPictureDescription " + picture->name();
  EXPECT_THAT(shortCalls(setup.host),
              testing::IsSupersetOf({lock + " 12 refused", lock + " 6 refused"}));
}

TEST_F(DrawnCopy, IsNotForWritingNorAgainstTheCallersWill) {
  EXPECT_FALSE(GetPictureReader(e, picture.handle(), 0, 0));
  EXPECT_FALSE(GetPictureReader(e, picture.handle(), 1, 1));
  EXPECT_FALSE(GetPictureEditor(e, picture.handle()));
  EXPECT_EQ(setup.host.callCount("newPicture"), 0);
  picture->faults.alpha = true;
  EXPECT_FALSE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(setup.host.callCount("newPicture"), 0) << "drawing would lose the alpha channel";
}

TEST_F(DrawnCopy, IsMadeOnlyOnce) {
  setup.host.failFrom("REALLockPictureDescription");
  EXPECT_FALSE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(setup.host.callCount("newPicture"), 1);
}

// --- Pictures with alpha channel ----------------------------------------------------------------

TEST(AlphaWriter, NeedsAHostThatMakesSuchPictures) {
  const struct {
    std::optional<double> version;
    bool makes;
  } cases[] = {{std::nullopt, false}, {2011.03, false}, {kNoNumber, false}, {2011.04, true}};
  for (const auto& c : cases) {
    host::Settings settings;
    settings.version = c.version;
    LinkedHost setup(settings);
    const PictureRef like = setup.host.newPicture(3, 2, {.alpha = true});
    PictureEditor reader, e;
    ASSERT_TRUE(GetPictureReader(reader, like.handle()));
    EXPECT_EQ(NewPictureWriter(e, reader) != 0, c.makes) << "no fallback";
    FreePictureWriter(e);
    setup.host.clearCalls();
    EXPECT_FALSE(NewPictureWriterWithAlphaChannel(e, 40000, 1)) << "more than cairo can do";
    EXPECT_EQ(setup.host.calls().empty(), !c.makes) << "there is no limit of our own";
    ASSERT_TRUE(NewPictureWriter(e, 3, 2, 1));
    EXPECT_EQ(e.pixelFormat, c.makes ? 14 : 15);
    FreePictureWriter(e);
    ASSERT_TRUE(NewPictureWriter(e, 3, 2, 0));
    EXPECT_EQ(e.pixelFormat, 15);
    FreePictureWriter(e);
    ClosePictureReader(reader);

    const auto picture = Host::adopt<host::Picture>(NewPicture(3, 2, 1));
    ASSERT_TRUE(picture) << "falls back to a plain picture";
    EXPECT_EQ(picture->hasAlpha(), c.makes);
    EXPECT_EQ(PictureHasAlphaChannel(picture.handle()) != 0, c.makes);
    EXPECT_FALSE(Host::adopt<host::Picture>(NewPicture(3, 2, 0))->hasAlpha());
    for (const auto& [width, height] : {std::pair(0, 2), {2, 0}, {-1, 2}, {2, -1}}) {
      EXPECT_FALSE(NewPictureWriterWithAlphaChannel(e, width, height));
      EXPECT_EQ(NewPicture(width, height, 1), nullptr);
    }
  }
}

TEST(AlphaWriter, FailsWithoutInstanceConstructorOrPixels) {
  LinkedHost setup{host::Settings{}};
  PictureEditor e;
  for (const char* service : {"PluginNewInstance", "REALLoadObjectMethod", "Picture.Constructor",
                              "REALLockPictureDescription"}) {
    setup.host.failCall(service);
    EXPECT_FALSE(NewPictureWriterWithAlphaChannel(e, 3, 2)) << service;
    EXPECT_THAT(setup.host.accounts(), testing::IsEmpty()) << service;
  }
  setup.host.settings.alphaPictures = false;
  EXPECT_FALSE(NewPictureWriterWithAlphaChannel(e, 3, 2));
}

// --- Buffer writers and the format table --------------------------------------------------------

TEST(BufferWriter, IsBlackAndBecomesAPicture) {
  LinkedHost setup{host::Settings{}};
  PictureEditor e{};
  ASSERT_TRUE(NewPictureWriterLinux(e, 3, 2));
  EXPECT_EQ(e.pixelFormat, 11);
  EXPECT_EQ(e.bytesPerPixel, 3);
  EXPECT_EQ(e.rowBytes, 9);
  EXPECT_TRUE(e.row == e.base && e.base == e.ownBuffer && e.y == 0);
  NextRow(e);
  e.row[3] = 0x12;
  e.row[4] = 0x34;
  e.row[5] = 0x56;
  const auto picture = Host::adopt<host::Picture>(RenderPictureWriter(e));
  EXPECT_EQ(colors(picture), (Pixels{0, 0, 0, 0, 0x123456, 0}));
  EXPECT_EQ(e.ownBuffer, nullptr);

  ASSERT_TRUE(NewPictureWriterLinux(e, 3, 2));
  setup.host.failCall("REALBuildPictureFromBuffer");
  EXPECT_EQ(RenderPictureWriter(e), nullptr);
  EXPECT_FALSE(NewPictureWriterLinux(e, 32767, 21846)) << "with one row more, 2^31 - 1 bytes";
  EXPECT_EQ(e.ownBuffer, nullptr);
#if !defined(ZVK_SANITIZED)
  ASSERT_TRUE(NewPictureWriterLinux(e, 16384, 16384));
  FreePictureWriter(e);
#endif
}

TEST(FormatTable, CoversCodes0To16) {
  LinkedHost setup{host::Settings{}};
  // Bytes per pixel, then positions of red, green and blue.
  const char* const layouts[] = {"0000", "4012", "4123", "4012", "4123", "4012",
                                 "4123", "0000", "4210", "4210", "3210", "3012",
                                 "3012", "4123", "4210", "4210", "4210"};
  for (const int code : {-1, INT32_MIN, 17, 1000, INT32_MAX}) {
    PictureEditor e{.pixelFormat = code};
    EXPECT_EQ(GetBytesPerPixel(e) + GetRedOffset(e) + GetGreenOffset(e) + GetBlueOffset(e), 0);
  }
  for (int code = 0; code <= 16; ++code) {
    PictureEditor e{.pixelFormat = code};
    std::string layout;
    for (const auto look : {&GetBytesPerPixel, &GetRedOffset, &GetGreenOffset, &GetBlueOffset}) {
      layout += std::to_string(look(e));
    }
    EXPECT_EQ(layout, layouts[code]) << code;
  }
}

}  // namespace
