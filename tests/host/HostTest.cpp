// The stand-in host, where no test of the plug-in would show what is wrong with it: its accounts,
// its guards, its services, and the pictures that it reads and writes.
#include <cstring>

#include "Support.h"
#include "host/files/Codec.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Names.h"

namespace {

using namespace test;
using host::Host;
using host::PictureOptions;
using host::PictureRef;
using host::Storage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Calls a service as a plug-in does.
template <typename Result, typename... A>
Result serve(const char* name, A... arguments) {
  return reinterpret_cast<Result (*)(A...)>(Host::resolve(name))(arguments...);
}

// --- Accounts -----------------------------------------------------------------------------------

TEST(HostAccounts, TellEveryThingThatIsOneTooMany) {
  Host host;
  const auto expectOne = [&](const char* text) {
    EXPECT_THAT(host.accounts(), ElementsAre(HasSubstr(text)));
    host.clearProblems();
  };
  const PictureRef picture = host.newPicture(2, 2);
  auto* object = picture.as<REALobjectStruct>();
  serve<void>("REALLockObject", object);
  EXPECT_EQ(reinterpret_cast<HostObjectHeader*>(object)->lockCount, 2);
  expectOne("1 reference(s) never released");
  serve<void>("REALUnlockObject", object);
  EXPECT_THAT(host.accounts(), IsEmpty());

  REALpictureDescription description;
  const auto lock = [&](PictureRef& p, int kind) {
    return serve<HostBoolean>("REALLockPictureDescription", p.handle(), &description,
                              HostLong{kind});
  };
  PictureRef other = host.newPicture(2, 2);
  EXPECT_FALSE(lock(other, kDescriptionPixelRecord));
  EXPECT_TRUE(lock(other, kDescriptionCairo) && lock(other, 0));
  serve<void>("unlockPictureDescription", other.handle());
  expectOne("1 description lock(s) still open");
  other = nullptr;
  expectOne("released while its description was locked");
  serve<void>("unlockPictureDescription", picture.handle());
  expectOne("is not locked");

  const host::StringRef string = host.newString("text");
  REALstringData data;
  serve<HostBoolean>("PluginGetStringData", string.handle(), HostULong{kEncodingUTF8}, &data);
  expectOne("1 lent text(s)");
  serve<void>("PluginDisposeStringData", &data);

  auto* gone = serve<REALpictureStruct*>("newPicture", HostLong{2}, HostLong{2}, HostLong{32});
  serve<void>("REALUnlockObject", reinterpret_cast<REALobjectStruct*>(gone));
  serve<void>("REALPictureClearCache", gone);
  expectOne("was released already");
  for (int i = 0; i < 2; ++i) {
    serve<void>("RuntimeRaiseException",
                serve<REALobjectStruct*>("PluginNewInstance", "NilObjectException"));
  }
  EXPECT_TRUE(host.takeException());
  expectOne("2 exceptions");
  serve<HostLong>("PluginRegisterBackgroundTask", static_cast<void (*)(void*)>(nullptr),
                  HostULong{1}, static_cast<void*>(nullptr));
  serve<void>("PluginUnregisterBackgroundTask", HostLong{1});
  serve<void>("PluginUnregisterBackgroundTask", HostLong{1});
  expectOne("no task 1");
}

TEST(HostAccounts, ServicesFailAtTheirNthCall) {
  Host host;
  host.failCall("newMemoryBlock", 2);
  for (const bool made : {true, false, true}) {
    auto* block = serve<REALobjectStruct*>("newMemoryBlock", 4);
    EXPECT_EQ(block != nullptr, made);
    if (block) serve<void>("REALUnlockObject", block);
  }
  host.settings.pictureByteLimit = 100;
  EXPECT_TRUE(host.newPicture(5, 5));
  EXPECT_FALSE(host.newPicture(26, 1));
}

// --- Pictures -----------------------------------------------------------------------------------

TEST(HostPictures, NoticeEachByteThatIsWrittenBesideTheirPixels) {
  Host host;
  const host::Placement guarded = host::Placement::kGuarded;
  for (const PictureOptions& options :
       {PictureOptions{.placement = guarded},
        {.storage = Storage::kRecord, .paddingWords = 1, .placement = guarded},
        {.storage = Storage::kRecord, .scatteredRows = true, .placement = guarded}}) {
    const PictureRef picture = host.newPicture(3, 2, options);
    std::vector<uint8_t*> beside = {picture->storage().row(0) - 1};
    if (options.paddingWords > 0) beside.push_back(picture->storage().row(0) + 4 * 3 + 3);
    for (uint8_t* byte : beside) {
      EXPECT_TRUE(picture->surroundingsIntact());
      *byte ^= 1;
      EXPECT_FALSE(picture->surroundingsIntact());
      *byte ^= 1;
    }
  }
}

TEST(HostPictures, KeepAlphaAsTheirStorageDoes) {
  Host host;
  const PictureOptions cairo{.alpha = true}, record{.storage = Storage::kRecord, .alpha = true};
  const PictureRef picture = host.newPicture(1, 1, {0xFF112233}, record);
  EXPECT_EQ(picture->record()->type, 1);
  EXPECT_EQ(picture->words(), Pixels{0x7F112233});
  EXPECT_EQ(host::canonicalPixel(0x41112233, record), 0x83112233);
  EXPECT_EQ(picture->mask(true)->hasAlpha(), false);
  EXPECT_EQ(host::premultiplied(0x80FF01C0), 0x80800160);
  EXPECT_EQ(host::unpremultiplied(0x80800160), 0x80FF02BF);
  // Drawing makes pixels opaque.
  picture->setWords({0});
  picture->graphics()->fillRect({0, 0, 1, 1});
  EXPECT_EQ(picture->words()[0] >> 24, 0x7FU);

  // Storage comes back to pictures of the same layout alone.
  host.settings.recycling = true;
  host.newPicture(3, 3, cairo);
  EXPECT_TRUE(host.newPicture(3, 3, cairo)->hasAlpha());
  EXPECT_FALSE(host.newPicture(3, 3, {})->hasAlpha());

  uint8_t buffer[12] = {};
  const auto build = [&](HostLong rowBytes) {
    return Host::adopt<host::Picture>(
        serve<REALpictureStruct*>("REALBuildPictureFromBuffer", HostLong{2}, HostLong{2},
                                  kPixelTypeRGB24, static_cast<void*>(buffer), rowBytes));
  };
  EXPECT_TRUE(build(6));
  EXPECT_FALSE(build(5));
}

TEST(HostPictures, DrawIntoTheRectangleOfAPrimitive) {
  Host host;
  const PictureRef to = host.newPicture(5, 4), from = host.newPicture(2, 1, Pixels(2, ~0U), {});
  const int16_t edges[] = {1, 2, 2, 4};  // top, left, bottom, right
  serve<void>("REALDrawPicturePrimitive", to->graphics()->handle(), from.handle(),
              static_cast<const void*>(edges), 0);
  Pixels expected(20);
  expected[7] = expected[8] = 0xFFFFFF;
  EXPECT_EQ(colors(to), expected);
}

// --- Files --------------------------------------------------------------------------------------

/// Exif data with an orientation, in either byte order.
std::string exifOf(int orientation, bool little) {
  std::string exif = little ? std::string("II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0", 18)
                            : std::string("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01", 18);
  const char value = static_cast<char>(orientation);
  return exif + (little ? std::string{value, 0} : std::string{0, value}) + std::string(6, '\0');
}

// Quarters of a picture, from the darkest to the lightest, as each orientation shows them.
TEST(HostFiles, OrientationsTurnPicturesUpright) {
  Host host;
  Pixels pixels;
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 64; ++x) {
      pixels.push_back(0xFF202020 + 0x404040U * static_cast<uint32_t>(x / 32 + 2 * (y / 16)));
    }
  }
  std::string file = testing::TempDir() + "zvk-quarters-XXXXXX.jpg";
  close(mkstemps(file.data(), 4));
  host::savePicture(*host.newPicture(64, 32, pixels, {}), file);
  const std::string jpeg = host::readFile(file);
  unlink(file.c_str());
  const char* const upright[] = {"0123", "1032", "3210", "2301", "0213", "2031", "3120", "1302"};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    for (const bool little : {false, true}) {
      const std::string exif = std::string("Exif\0\0", 6) + exifOf(orientation, little);
      std::string turned = jpeg.substr(0, 2) + "\xFF\xE1" + '\0' +
                           static_cast<char>(exif.size() + 2) + exif + jpeg.substr(2);
      const PictureRef picture = host::loadPicture(host, turned, "turned", {}).picture;
      const int right = picture->width() - 9, bottom = picture->height() - 9;
      std::string corners;
      for (const auto& [x, y] : {std::pair{8, 8}, {right, 8}, {8, bottom}, {right, bottom}}) {
        corners += static_cast<char>('0' + (picture->pixel(x, y) >> 6 & 3));
      }
      EXPECT_EQ(corners, upright[orientation - 1]) << orientation;
      EXPECT_EQ(picture->width(), orientation < 5 ? 64 : 32);
    }
  }
}

TEST(HostFiles, ExifIsReadNoFurtherThanItReaches) {
  const std::string whole = exifOf(6, false);
  EXPECT_EQ(host::exifOrientation(whole), 6);
  for (size_t size = 0; size < 20; ++size) {
    const host::Memory memory(size, host::Placement::kGuarded);
    memcpy(memory.data(), whole.data(), size);
    EXPECT_EQ(host::exifOrientation({reinterpret_cast<const char*>(memory.data()), size}), 1);
  }
}

TEST(HostFiles, MasksAndBackgroundsCountInWhatIsSeen) {
  Host host;
  const PictureRef picture = host.newPicture(2, 1, {0xFF808080, 0xFF808080}, {});
  picture->setMask(host.newPicture(2, 1, {0xFF000000, 0xFFFFFFFF}, {}));
  EXPECT_EQ(host::visiblePixels(*picture), (Pixels{0xFF808080, 0x00808080}));
  EXPECT_TRUE(host::isTransparent(*picture));
  EXPECT_STREQ(host::formatFor("picture", "").name, "png");
  EXPECT_THROW(host::formatFor("picture.xyz", ""), host::FileError);
}

// --- Arrays, texts, names -----------------------------------------------------------------------

TEST(HostArrays, InsertInTheMiddleAndReleaseWhatTheyHold) {
  Host host;
  const host::ArrayRef numbers(host::Array::create(host, host::ElementType::kInt32, 2));
  for (int i = 0; i < 3; ++i) numbers->set<HostLong>(i, 10 * i);
  numbers->insert<HostLong>(1, 5);
  constexpr HostLong kNumbers[] = {0, 5, 10, 20};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(numbers->get<HostLong>(i), kNumbers[i]);
  EXPECT_THAT(host.accounts(), IsEmpty());
  numbers->set<HostLong>(4, 1);
  EXPECT_THAT(host.accounts(), ElementsAre(HasSubstr("out of bounds")));
  host.clearProblems();
  const host::StringRef text = host.newString("text");
  host::ArrayRef texts(host::Array::create(host, host::ElementType::kString, 0));
  texts->set<REALstringStruct*>(0, text.handle());
  EXPECT_THAT(host.accounts(), IsEmpty()) << "the array's reference is no leak";
  texts = nullptr;
  EXPECT_THAT(host.accounts(), IsEmpty());
}

TEST(HostTexts, ConvertCompareAndJoin) {
  Host host;
  EXPECT_EQ(host::convertText("\x80 \xFF", kEncodingWindowsLatin1, kEncodingUTF8),
            "\xE2\x82\xAC \xC3\xBF");
  EXPECT_EQ(host::convertText("a\xFF z", kEncodingUTF8, kEncodingASCII), "a z");
  const host::StringRef utf8 = host.newString("\xC3\xBC", kEncodingUTF8);
  const host::StringRef latin = host.newString("\xFC", kEncodingWindowsLatin1);
  EXPECT_EQ(serve<HostLong>("RuntimeStringCompare", utf8.handle(), latin.handle()), 0);
  const auto joined = Host::adopt<host::String>(
      serve<REALstringStruct*>("RuntimeAddString", latin.handle(), utf8.handle()));
  EXPECT_EQ(joined->utf8(), "\xC3\xBC\xC3\xBC");
  // The storage begins with the length, as far as a byte holds it.
  const auto lengthByte = [&](size_t size) {
    return static_cast<uint8_t>(*host.newString(std::string(size, 'x')).handle()->storage);
  };
  EXPECT_EQ(lengthByte(200), 200);
  EXPECT_EQ(lengthByte(300), 255);
}

TEST(HostObjects, HaveClassesPropertiesAndBounds) {
  Host host;
  const std::vector<uint64_t> nobody(8, 7);
  EXPECT_EQ(Host::object(&nobody[4]), nullptr);
  EXPECT_TRUE(host.isA("NilObjectException", "Object"));
  EXPECT_FALSE(host.isA("NilObjectException", "Picture"));
  REALclassDefinition thing = {.name = "Thing", .superName = "RuntimeException"};
  serve<void>("PluginRegisterClass", &thing);
  EXPECT_TRUE(host.isA("Thing", "RuntimeException"));
  EXPECT_EQ(host::Value(host::Color{0xFF112233}).describe(), "&c112233");
  const auto control = host.newObject(
      "Control", {{"Left", 1}, {"Top", 2}, {"Width", 10}, {"Height", 20}, {"Visible", 1}});
  int16_t edges[4];
  EXPECT_TRUE(serve<HostBoolean>("GetControlBounds", control->handle(), static_cast<void*>(edges)));
  EXPECT_THAT(edges, ElementsAre(2, 1, 22, 11));
  HostBoolean visible = 0;
  EXPECT_FALSE(serve<HostBoolean>("REALGetPropValueBool", control.as<REALobjectStruct>(), "Visible",
                                  &visible))
      << "an integer";
}

TEST(HostNames, AreFoundWhereTheyAreSpelledMuchAlike) {
  const host::Names names = {"InvertZVK", "ChangeSaturationZVK", "TintPictureZVK"};
  EXPECT_THAT(host::similarNames("Invrt", names), ElementsAre("InvertZVK"));
  EXPECT_THAT(host::similarNames("saturate", names), ElementsAre("ChangeSaturationZVK"));
  for (const char* other : {"blur", "Inxyzt"}) {
    EXPECT_THAT(host::similarNames(other, names), IsEmpty());
  }
  EXPECT_TRUE(host::standsFor("invert", "InvertZVK"));
}

TEST(HostCalls, TakeDefaultsAndVariablesAndReportWrongResults) {
  PluginHost setup(PictureOptions{});
  const host::BlockRef block = setup.host.newBlock(std::vector<uint8_t>(20, 0x70));
  const PictureRef picture = setup.plugin.callGlobal("RenderSamplesZVK", block, 0, 1, 9, 9, 0);
  EXPECT_EQ(picture->pixel(0, 0), 0xFF88B5C4) << "the declared colour of the background";
  EXPECT_THROW(setup.plugin.callGlobal("RenderSamplesZVK", block), host::CallError);
}

}  // namespace
