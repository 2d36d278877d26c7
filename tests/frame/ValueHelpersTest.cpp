#include "frame/ValueHelpers.h"

#include <cstring>
#include <ctime>

#include "Support.h"

namespace {

using namespace test;
using host::Host;
using host::StringRef;

class ValueHelpers : public testing::Test {
 protected:
  static StringRef adopt(REALstringStruct* string) { return Host::adopt<host::String>(string); }

  StringRef build(const void* data, int byteLength, HostULong encoding) {
    return adopt(REALBuildUnicodeString(data, byteLength, encoding));
  }

  LinkedHost setup{host::Settings{}};
};

// --- Building strings ---------------------------------------------------------------------------

TEST_F(ValueHelpers, StringsCarryTheirBytesAndEncoding) {
  for (const HostULong encoding :
       {kEncodingMacRoman, kEncodingUTF16, kEncodingASCII, kEncodingNone}) {
    const StringRef string = build("ab\0c", 4, encoding);
    ASSERT_TRUE(string);
    EXPECT_EQ(string->bytes(), std::string_view("ab\0c", 4));
    EXPECT_EQ(string->encoding(), encoding);
  }
  EXPECT_FALSE(build("text", 0, kEncodingNone));
  EXPECT_FALSE(build("text", -1, kEncodingUTF32));
  EXPECT_FALSE(build(nullptr, 4, kEncodingUTF16));
  for (const HostULong encoding : {kEncodingUTF8, kEncodingUTF16, kEncodingUTF32}) {
    setup.host.failCall("REALBuildString");
    EXPECT_FALSE(build("text", 4, encoding));
  }
}

TEST_F(ValueHelpers, UTF32BecomesTheLowHalvesOfItsUnits) {
  // 199 units fit the stack, 200 do not; both give the same text.
  for (const int units : {1, 199, 200, 5000}) {
    std::vector<uint32_t> text;
    std::vector<uint16_t> narrow;
    for (int i = 0; i < units; ++i) {
      text.push_back(0x1F600 + static_cast<uint32_t>(i));
      narrow.push_back(static_cast<uint16_t>(0xF600 + i));
    }
    // From an odd address: host programs lend bytes from anywhere.
    std::string bytes(1, 'x');
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * 4);
    const StringRef string = build(bytes.data() + 1, 4 * units + 3, kEncodingUTF32);
    ASSERT_TRUE(string) << units;
    EXPECT_EQ(string->encoding(), kEncodingUTF16);
    EXPECT_EQ(string->bytes(),
              std::string_view(reinterpret_cast<const char*>(narrow.data()), narrow.size() * 2));
  }
  const StringRef none = build("abc", 3, kEncodingUTF32);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->bytes(), "");
}

TEST_F(ValueHelpers, TextEndsAtItsZeroOrItsLimit) {
  const auto text = [&](const char* bytes, int max) {
    const StringRef string = adopt(CString2RBmax(bytes, kEncodingASCII, max));
    return string ? std::string(string->bytes()) : "-";
  };
  EXPECT_EQ(text("abc", 0), "abc");
  EXPECT_EQ(text("abc", -1), "abc");
  EXPECT_EQ(text("abc", 1), "a");
  EXPECT_EQ(text("abc", 4), "abc");
  EXPECT_EQ(text("", 0), "-");
  EXPECT_EQ(text(nullptr, 0), "-");
  // Nothing behind the limit is read.
  const host::BlockRef block =
      setup.host.newBlock(std::vector<uint8_t>{'a', 'b'}, host::Placement::kGuarded);
  EXPECT_EQ(text(reinterpret_cast<const char*>(block->data()), 2), "ab");

  const unsigned short units[] = {0x47, 0x20AC, 0};
  EXPECT_EQ(adopt(UnicodeCString2RB(units))->utf8(), "G\xE2\x82\xAC");
  EXPECT_EQ(adopt(UnicodeCString2RB(L"G\x20AC"))->utf8(), "G\xE2\x82\xAC");
  EXPECT_EQ(UnicodeCString2RB(static_cast<const unsigned short*>(nullptr)), nullptr);
  EXPECT_EQ(UnicodeCString2RB(static_cast<const wchar_t*>(nullptr)), nullptr);
  EXPECT_EQ(UnicodeCString2RB(L""), nullptr);
}

// --- Encodings ----------------------------------------------------------------------------------

TEST_F(ValueHelpers, FastConversionConvertsOnlyWhenNeeded) {
  const StringRef ascii = setup.host.newString("abc", kEncodingASCII);
  const StringRef latin = setup.host.newString("\xFC", kEncodingWindowsLatin1);
  setup.host.withhold("REALLockString");
  EXPECT_EQ(REALConvertStringFast(ascii.handle(), kEncodingASCII), nullptr);
  setup.host.restore("REALLockString");
  for (const HostULong encoding :
       {kEncodingASCII, kEncodingWindowsLatin1, kEncodingUTF8, kEncodingMacRoman}) {
    EXPECT_EQ(adopt(REALConvertStringFast(ascii.handle(), encoding)), ascii) << encoding;
  }
  EXPECT_EQ(adopt(REALConvertStringFast(latin.handle(), kEncodingWindowsLatin1)), latin);
  EXPECT_EQ(setup.host.callCount("REALConvertString"), 0);
  EXPECT_EQ(adopt(REALConvertStringFast(latin.handle(), kEncodingUTF8))->bytes(), "\xC3\xBC");
  EXPECT_EQ(adopt(REALConvertStringFast(ascii.handle(), kEncodingUTF16))->bytes().size(), 6u);
  EXPECT_EQ(REALConvertStringFast(nullptr, kEncodingUTF8), nullptr);
}

TEST_F(ValueHelpers, LowestEncodingIsASCIIForSevenBitText) {
  const struct {
    std::string_view text;
    HostULong encoding, lowest;
  } cases[] = {
      {"abc", kEncodingMacRoman, kEncodingASCII},
      {"abc", kEncodingUTF8, kEncodingASCII},
      {"abc", kEncodingNone, kEncodingASCII},
      {"", kEncodingUTF8, kEncodingASCII},
      {"abc", kEncodingWindowsLatin1, kEncodingASCII},
      {"a\x80", kEncodingUTF8, kEncodingUTF8},
      {"\xFF", kEncodingMacRoman, kEncodingMacRoman},
      {"a\0", kEncodingUTF16, kEncodingUTF16},
      {"abc", 0x1234, 0x1234},
  };
  for (const auto& c : cases) {
    const StringRef string = setup.host.newString(c.text, c.encoding);
    EXPECT_EQ(REALGetLowestStringEncoding(string.handle()), c.lowest) << c.text << c.encoding;
  }
  EXPECT_EQ(REALGetLowestStringEncoding(nullptr), kEncodingASCII);
}

TEST_F(ValueHelpers, FourCharacterCodesGoBothWays) {
  const auto code = [&](std::string_view text, HostULong encoding = kEncodingMacRoman) {
    return REALstringToOSType(setup.host.newString(text, encoding).handle());
  };
  EXPECT_EQ(code("ABCDE"), 0x41424344U);
  EXPECT_EQ(code(""), 0x20202020U);
  EXPECT_EQ(REALstringToOSType(nullptr), 0x20202020U);
  EXPECT_EQ(code("AB"), 0x41422020U);
  EXPECT_EQ(code("\xC3\xBC"
                 "ABC",
                 kEncodingUTF8),
            0x9F414243U)
      << "Mac Roman has u umlaut at 9F";
  setup.host.failCall("REALConvertString");
  EXPECT_EQ(code("\xFF\x80 x", kEncodingUTF8), 0xFF802078U) << "unconverted when that fails";

  const struct {
    HostULong code;
    const char* bytes;
    HostULong encoding;
  } cases[] = {{0x41424344, "ABCD", kEncodingASCII},
               {0x00FF0041, "\0\xFF\0A", kEncodingMacRoman},
               {0x80000000, "\x80\0\0\0", kEncodingMacRoman}};
  for (const auto& c : cases) {
    const StringRef string = adopt(REALBuildOSTypeString(c.code));
    EXPECT_EQ(string->bytes(), std::string_view(c.bytes, 4));
    EXPECT_EQ(string->encoding(), c.encoding);
  }
}

// --- Exceptions ---------------------------------------------------------------------------------

TEST_F(ValueHelpers, ExceptionsAreRaisedAndThenGetTheirMessage) {
  setup.host.clearCalls();
  RaiseException("OutOfBoundsException", "too far");
  auto raised = setup.host.takeException();
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->className, "OutOfBoundsException");
  EXPECT_EQ(raised->message, "too far");
  std::vector<std::string_view> order;
  for (const host::CallRecord& call : setup.host.calls()) order.push_back(call.name);
  EXPECT_THAT(order, testing::ElementsAre("PluginNewInstance", "REALBuildString",
                                          "REALSetStringEncoding", "RuntimeRaiseException",
                                          "REALSetPropValueString", "REALUnlockString"));

  RaiseException("NoSuchException", "text");
  raised = setup.host.takeException();
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->className, "NilObjectException");
  EXPECT_EQ(raised->message, "text");

  for (const char* message : {static_cast<const char*>(nullptr), ""}) {
    RaiseException("NilObjectException", message);
    raised = setup.host.takeException();
    ASSERT_TRUE(raised);
    EXPECT_TRUE(raised->messageNil);
  }

  setup.host.failFrom("PluginNewInstance");
  RaiseException("NilObjectException", "text");
  EXPECT_FALSE(setup.host.takeException());
}

// --- Objects and blocks -------------------------------------------------------------------------

TEST_F(ValueHelpers, TellObjectsApart) {
  const host::BlockRef block = setup.host.newBlock(4);
  const auto item = setup.host.newObject("FolderItem");
  const auto exception = setup.host.newInstance("NilObjectException");
  auto* blockHandle = block.as<REALobjectStruct>();
  EXPECT_TRUE(IsMemoryBlock(blockHandle));
  EXPECT_FALSE(IsMemoryBlock(item.handle()));
  EXPECT_TRUE(IsFolderItem(item.handle()));
  EXPECT_FALSE(IsFolderItem(blockHandle));
  EXPECT_TRUE(REALObjectIsA(exception.handle(), "RuntimeException"));
  EXPECT_FALSE(REALObjectIsA(exception.handle(), "OutOfBoundsException"));
  EXPECT_FALSE(REALObjectIsA(exception.handle(), "NoSuchClass"));
  EXPECT_FALSE(REALObjectIsA(nullptr, "Object"));
}

TEST_F(ValueHelpers, BlocksHoldACopy) {
  const auto adoptBlock = [](REALmemoryBlockStruct* block) {
    return Host::adopt<host::MemoryBlock>(block);
  };
  const host::BlockRef block = adoptBlock(REALBuildMemoryblock("bytes", 5));
  ASSERT_TRUE(block);
  EXPECT_EQ(memcmp(block->data(), "bytes", 5), 0);
  EXPECT_EQ(block->size(), 5);
  EXPECT_FALSE(adoptBlock(REALBuildMemoryblock(nullptr, 5)));
  EXPECT_FALSE(adoptBlock(REALBuildMemoryblock("bytes", 0)));
  EXPECT_FALSE(adoptBlock(REALBuildMemoryblock("bytes", -1)));
  for (const char* service : {"newMemoryBlock", "memoryBlockGetPtr"}) {
    setup.host.failCall(service);
    EXPECT_FALSE(adoptBlock(REALBuildMemoryblock("bytes", 5))) << service;
  }
  setup.host.settings.lies.moreBytes = -1;
  EXPECT_FALSE(adoptBlock(REALBuildMemoryblock("bytes", 5))) << "a byte short";
}

TEST_F(ValueHelpers, DebugLogWritesUTF8Lines) {
  const StringRef latin = setup.host.newString("gr\xFC", kEncodingWindowsLatin1);
  const StringRef utf8 = setup.host.newString("\xE2\x82\xAC", kEncodingUTF8);
  testing::internal::CaptureStderr();
  DebugLog(latin.handle());
  DebugLog(utf8.handle());
  DebugLog(nullptr);
  setup.host.failCall("REALConvertString");
  DebugLog(latin.handle());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "gr\xC3\xBC\n\xE2\x82\xAC\n\n\n");
}

TEST_F(ValueHelpers, TicksAreSixtiethsOfACalendarSecond) {
  const auto before = static_cast<uint32_t>(time(nullptr));
  const auto ticks = static_cast<uint32_t>(TickCount());
  const auto after = static_cast<uint32_t>(time(nullptr));
  EXPECT_TRUE(ticks == before * 60U || ticks == after * 60U) << ticks;
}

TEST_F(ValueHelpers, PlainPrimitiveDrawingIsNotTransparent) {
  setup.host.clearCalls();
  REALDrawPicturePrimitive(nullptr, nullptr, nullptr);
  ASSERT_EQ(setup.host.calls().size(), 1u);
  EXPECT_EQ(setup.host.calls()[0].arguments.back(), "0");
}

}  // namespace
