#include "picture/PictureEditor.h"

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
using testing::HasSubstr;
using testing::Not;

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

/// What the host was asked since it was last looked at, as "service argument argument; ": without
/// what has no name; refused requests say so.
std::string askedOf(Host& host) {
  std::string text;
  for (const host::CallRecord& call : host.calls()) {
    text += call.name;
    for (const std::string& argument : call.arguments) {
      if (argument != "address") text += " " + argument;
    }
    const bool isLock = call.name == "REALLockPictureDescription";
    text += isLock && call.result == "0" ? " refused; " : "; ";
  }
  host.clearCalls();
  return text;
}

/// What a program that only knows the editor's fields and routines reads.
Pixels readThrough(PictureEditor& e) {
  Pixels result;
  for (int y = 0; y < e.height; ++y, NextRow(e)) {
    EXPECT_EQ(e.y, y);
    for (const uint8_t* p = e.row; p < e.row + e.width * e.bytesPerPixel; p += e.bytesPerPixel) {
      result.push_back(opaque(p[GetRedOffset(e)], p[GetGreenOffset(e)], p[GetBlueOffset(e)]) &
                       0xFFFFFF);
    }
  }
  return result;
}

class PictureEditorTest : public LayoutTest {
 protected:
  PictureRef source() {
    return setup.picture(5, 3, randomPixels(5, 3, 7, GetParam().options.alpha));
  }
  bool isIn(Storage storage) const { return setup.options.storage == storage; }

  LinkedHost setup{GetParam().options};
  PictureEditor e;
};

// --- Readers ------------------------------------------------------------------------------------

TEST_P(PictureEditorTest, ReaderShowsGeometryAndPixels) {
  const PictureRef picture = source();
  memset(&e, 0xA5, sizeof e);
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  const int format = isIn(Storage::kRecord)     ? 8
                     : isIn(Storage::kDrawable) ? 11
                     : setup.options.alpha      ? 14
                                                : 15;
  EXPECT_EQ(e.pixelFormat, format);
  EXPECT_EQ(e.bytesPerPixel, format == 11 ? 3 : 4);
  const int padding = format == 15 ? setup.options.paddingWords : 0;
  EXPECT_EQ(e.rowBytes, format == 11 ? 16 : 4 * (5 + padding)) << "pixbuf rows fill whole words";
  EXPECT_EQ(e.hasAlpha != 0, setup.options.alpha);
  EXPECT_TRUE(e.picture == picture.handle() && e.ownBuffer == nullptr && e.clearCacheOnClose == 0);
  EXPECT_EQ(e.pixbuf != nullptr, format == 11);
  EXPECT_EQ(e.rowTable != nullptr, format == 8);
  EXPECT_EQ(readThrough(e), colors(picture));
  EXPECT_TRUE(e.y == 3 && e.row == e.base) << "behind the last row the cursor is back on row 0";
  NextRow(e);
  EXPECT_TRUE(e.y == 4 && e.row == e.base);
  ClosePictureReader(e);
  EXPECT_TRUE(e.picture == nullptr && e.pixbuf == nullptr);
  EXPECT_EQ(picture->cacheClears(), 0);
  // Closing what is closed does nothing.
  ClosePictureReader(e);
  ClosePictureEditor(e);
  FreePictureWriter(e);
}

TEST_P(PictureEditorTest, ReadersAskTheHostInOrder) {
  const PictureRef picture = source();
  const std::string name = picture->name() + "; ";
  const std::string lock = "REALLockPictureDescription " + picture->name();
  const std::string opening = "REALGetPropValueBool " + picture->name() + " \"HasAlphaChannel\"; " +
                              lock +
                              (isIn(Storage::kCairo)      ? " 12; "
                               : isIn(Storage::kDrawable) ? " 12 refused; " + lock + " 6; "
                                                          : " 10; ") +
                              "REALLockObject " + name;
  setup.host.clearCalls();
  ASSERT_TRUE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(askedOf(setup.host),
            "pluginObjectType \"Application\"; pluginObjectType \"WebApplication\"; "
            "pluginObjectType \"ConsoleApplication\"; " +
                opening);
  ClosePictureReader(e);
  EXPECT_EQ(askedOf(setup.host), "unlockPictureDescription " + name + "REALUnlockObject " + name);

  ASSERT_TRUE(GetPictureReader(e, picture.handle(), 0, 1));
  EXPECT_EQ(askedOf(setup.host), opening);
  ClosePictureEditor(e);
  EXPECT_EQ(askedOf(setup.host), "unlockPictureDescription " + name + "REALPictureClearCache " +
                                     name + "REALUnlockObject " + name);
}

// --- Writers ------------------------------------------------------------------------------------

TEST_P(PictureEditorTest, WritersKeepToTheirSizes) {
  for (const int size : {0, -1, 32768, INT32_MIN, INT32_MAX}) {
    EXPECT_FALSE(NewPictureWriter(e, size, 1) || NewPictureWriter(e, 1, size)) << size;
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
  const PictureRef target = source();
  const auto opens = [&](REALpictureStruct* picture, int width, int height) {
    EXPECT_TRUE(NewPictureWriter(e, picture, width, height));
    const bool inTarget = e.picture == target.handle();
    EXPECT_TRUE(e.width == (inTarget ? 5 : width) && e.height == (inTarget ? 3 : height));
    FreePictureWriter(e);
    return inTarget;
  };
  EXPECT_EQ(opens(target.handle(), 5, 3), !isIn(Storage::kDrawable));
  EXPECT_EQ(opens(target.handle(), 2, 1), !isIn(Storage::kDrawable));
  EXPECT_EQ(target->cacheClears(), 2);
  EXPECT_FALSE(opens(target.handle(), 6, 3) || opens(target.handle(), 5, 4) ||
               opens(nullptr, 5, 3));
  EXPECT_EQ(target->cacheClears(), 2);
  target->faults.unreadableSize = true;
  EXPECT_FALSE(opens(target.handle(), 5, 3));
}

// --- Damaged pictures ---------------------------------------------------------------------------

using P = host::Picture;
using host::SurfaceFault;

struct Damage {
  const char* what;
  bool concerns[3];  ///< cairo, drawables, records
  void (*inflict)(P&);
};

const Damage kDamages[] = {
    {"no description at all", {1, 0, 1}, [](P& p) { p.faults.refusedLocks = -1; }},
    {"a description of another kind", {1, 1, 1}, [](P& p) { p.faults.kind = 3; }},
    {"no data handle", {1, 1, 1}, [](P& p) { p.faults.nullData = true; }},
    {"no size", {1, 0, 0}, [](P& p) { p.faults.surface = SurfaceFault::kZeroSize; }},
    {"no image", {1, 0, 0}, [](P& p) { p.faults.surface = SurfaceFault::kNotAnImage; }},
    {"one byte per pixel", {1, 0, 0}, [](P& p) { p.faults.surface = SurfaceFault::kEightBit; }},
    {"more columns than the drawable has", {0, 1, 0}, [](P& p) { p.faults.width = 100; }},
    {"more bytes than 32 bits count", {0, 0, 1}, [](P& p) { p.faults.width = 1 << 29; }},
    {"no pixels", {0, 0, 1}, [](P& p) { p.record()->hostPixels = nullptr; }},
    {"no row table", {0, 0, 1}, [](P& p) { p.record()->rowStarts = nullptr; }},
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
    const bool clones = isLocked && isIn(Storage::kCairo) && !setup.options.alpha;
    EXPECT_EQ(static_cast<bool>(PictureRef(setup.plugin.call(picture, "InvertZVK"))), clones);
    EXPECT_EQ(picture->openLocks(), 0);
    EXPECT_THAT(setup.host.accounts(), testing::IsEmpty());
  }
  testing::internal::GetCapturedStderr();
}

TEST_P(PictureEditorTest, UnreadableAlphaCountsAsNone) {
  const PictureRef picture = source();
  picture->faults.unreadableAlpha = true;
  ASSERT_EQ(GetPictureReader(e, picture.handle()) != 0,
            !isIn(Storage::kRecord) || !setup.options.alpha)
      << "without alpha channel the record's first word must be 0";
  EXPECT_EQ(e.hasAlpha, 0);
  EXPECT_TRUE(!isIn(Storage::kCairo) || e.pixelFormat == 15);
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
    bool alpha, desktop;
    int lookUps;
  } cases[] = {{ApplicationKind::kDesktop, Storage::kCairo, false, true, 3},
               {ApplicationKind::kConsole, Storage::kRecord, false, false, 3},
               {ApplicationKind::kWeb, Storage::kRecord, false, false, 3},
               {ApplicationKind::kNone, Storage::kCairo, false, true, 3},
               // A drawn copy is tried before records, and opened while nothing is known yet.
               {ApplicationKind::kNone, Storage::kRecord, false, false, 6},
               {ApplicationKind::kNone, Storage::kRecord, true, false, 3}};
  for (const auto& c : cases) {
    host::Settings settings = host::Settings::forStorage(c.storage);
    settings.application = c.application;
    LinkedHost setup(settings);
    const auto picture = setup.host.newPicture(2, 2, {.storage = c.storage, .alpha = c.alpha});
    PictureEditor e;
    for (int i = 0; i < 2; ++i) {
      ASSERT_TRUE(GetPictureReader(e, picture.handle()));
      ClosePictureReader(e);
    }
    EXPECT_TRUE(IsDesktop == c.desktop && IsConsole == !c.desktop);
    EXPECT_EQ(setup.host.callCount("pluginObjectType"), c.lookUps);
    // The other family is never tried again.
    const Storage second = c.desktop ? Storage::kRecord : Storage::kCairo;
    for (const bool alpha : {false, true}) {
      const auto other = setup.host.newPicture(2, 2, {.storage = second, .alpha = alpha});
      setup.host.clearCalls();
      EXPECT_FALSE(GetPictureReader(e, other.handle(), 0, 0));
      const std::string asked = askedOf(setup.host);
      EXPECT_THAT(asked, Not(HasSubstr(c.desktop ? " 10" : " 12")));
      EXPECT_TRUE(c.desktop || asked.find(" 6") == asked.npos) << asked;
    }
  }
}

// --- Drawn copies -------------------------------------------------------------------------------

class DrawnCopy : public testing::Test {
 protected:
  DrawnCopy() { picture->faults.refusedLocks = -1; }

  LinkedHost setup{host::Settings{}};
  PictureRef picture = setup.host.newPicture(6, 4, randomPixels(6, 4, 3), {});
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
  EXPECT_THAT(askedOf(setup.host), HasSubstr(lock + " 12 refused; " + lock + " 6 refused"));
}

TEST_F(DrawnCopy, IsNotForWritingNorAgainstTheCallersWill) {
  EXPECT_FALSE(GetPictureReader(e, picture.handle(), 0, 0) ||
               GetPictureReader(e, picture.handle(), 1, 1) ||
               GetPictureEditor(e, picture.handle()));
  picture->faults.alpha = true;
  EXPECT_FALSE(GetPictureReader(e, picture.handle())) << "drawing would lose the alpha channel";
  EXPECT_EQ(setup.host.callCount("newPicture"), 0);
  picture->faults.alpha = false;
  setup.host.failFrom("REALLockPictureDescription");
  EXPECT_FALSE(GetPictureReader(e, picture.handle()));
  EXPECT_EQ(setup.host.callCount("newPicture"), 1) << "a copy is not copied";
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
    for (const bool alpha : {true, false}) {
      ASSERT_TRUE(NewPictureWriter(e, 3, 2, alpha));
      EXPECT_EQ(e.pixelFormat, alpha && c.makes ? 14 : 15);
      FreePictureWriter(e);
      const auto picture = Host::adopt<host::Picture>(NewPicture(3, 2, alpha));
      ASSERT_TRUE(picture) << "falls back to a plain picture";
      EXPECT_EQ(picture->hasAlpha(), alpha && c.makes);
      EXPECT_EQ(PictureHasAlphaChannel(picture.handle()) != 0, alpha && c.makes);
    }
    ClosePictureReader(reader);
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
  EXPECT_TRUE(e.pixelFormat == 11 && e.bytesPerPixel == 3 && e.rowBytes == 9);
  EXPECT_TRUE(e.row == e.base && e.base == e.ownBuffer && e.y == 0);
  NextRow(e);
  for (int i = 0; i < 3; ++i) e.row[3 + i] = static_cast<uint8_t>(0x12 + 0x22 * i);
  const auto picture = Host::adopt<host::Picture>(RenderPictureWriter(e));
  EXPECT_EQ(colors(picture), (Pixels{0, 0, 0, 0, 0x123456, 0}));
  EXPECT_EQ(picture->cacheClears(), 1);
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
  // Bytes per pixel, then positions of red, green and blue.
  const auto layout = [](int code) {
    PictureEditor e{.pixelFormat = code};
    return 1000 * GetBytesPerPixel(e) + 100 * GetRedOffset(e) + 10 * GetGreenOffset(e) +
           GetBlueOffset(e);
  };
  const int layouts[] = {0,    4012, 4123, 4012, 4123, 4012, 4123, 0,   4210,
                         4210, 3210, 3012, 3012, 4123, 4210, 4210, 4210};
  for (int code = 0; code <= 16; ++code) EXPECT_EQ(layout(code), layouts[code]) << code;
  for (const int code : {-1, INT32_MIN, 17, 1000, INT32_MAX}) EXPECT_EQ(layout(code), 0);
}

}  // namespace
