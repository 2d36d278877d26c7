// The services' wrappers, one by one, and what some of them do on hosts that lack the service. What
// was found of a host stays with the process, so each test here needs one of its own.
#include "frame/HostServices.h"

#include <malloc.h>

#include <string_view>
#include <tuple>
#include <utility>

#include "Support.h"
#include "frame/GraphicsHelpers.h"
#include "frame/HostCall.h"

namespace {

using namespace test;

// --- Wrappers, with a resolver of the test's own ------------------------------------------------

/// What the resolver knows: one service; and how often it was asked.
struct Offer {
  std::string_view name;
  void* entry = nullptr;
} offer;
int asked;

void* resolveOffer(const char* name) {
  ++asked;
  return name == offer.name ? offer.entry : nullptr;
}

void doNothing(void*) {}

/// A value that differs for each n; pointers lead to no memory.
template <typename T>
T sample(int n) noexcept {
  if constexpr (std::is_same_v<T, void (*)(void*)>) {
    return &doNothing;
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<uintptr_t>(0x10000 * n + 0x40));
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(n + 0.5);
  } else {
    return static_cast<T>(-3 * n);  // negative: fills all bytes of every width
  }
}

template <FixedString service, auto wrapper, int missing>
struct Wrapper;

/// A wrapper, and an entry that stands in for the host's: it notes its arguments and returns a
/// fixed result.
template <FixedString service, typename R, typename... A, R (*wrapper)(A...) noexcept, int missing>
struct Wrapper<service, wrapper, missing> {
  static constexpr int kAnswer = 99;
  static inline std::tuple<A...> noted;
  static inline bool entered;

  static R entry(A... arguments) {
    noted = {arguments...};
    entered = true;
    if constexpr (!std::is_void_v<R>) return sample<R>(kAnswer);
  }

  template <size_t... n>
  static std::tuple<A...> samples(std::index_sequence<n...>) {
    return {sample<A>(int{n} + 1)...};
  }

  static void call(bool offered) {
    entered = false;
    const std::tuple<A...> arguments = samples(std::index_sequence_for<A...>());
    if constexpr (std::is_void_v<R>) {
      std::apply(wrapper, arguments);
    } else {
      R expected{};
      if constexpr (missing != 0) expected = static_cast<R>(missing);
      EXPECT_EQ(std::apply(wrapper, arguments), offered ? sample<R>(kAnswer) : expected);
    }
    EXPECT_EQ(entered, offered);
    EXPECT_TRUE(!offered || noted == arguments);
  }

  static void check() {
    SCOPED_TRACE(service.text);
    gResolver = nullptr;
    call(false);
    gResolver = &resolveOffer;
    offer = {};
    asked = 0;
    call(false);
    call(false);
    EXPECT_EQ(asked, 2) << "a missing service is asked for at each call";
    offer = {service.text, reinterpret_cast<void*>(&entry)};
    call(true);
    offer = {};
    call(true);
    EXPECT_EQ(asked, 3) << "once found, a service stays";
  }
};

template <FixedString service, auto wrapper, int missing = 0>
void check() {
  Wrapper<service, wrapper, missing>::check();
}

template <typename T>
using Getter = HostBoolean(REALobjectStruct*, const char*, T*) noexcept;
template <typename T>
using Setter = HostBoolean(REALobjectStruct*, const char*, T) noexcept;

template <FixedString service, typename T>
void checkGetter() {
  check<service, static_cast<Getter<T>*>(&REALGetPropValue)>();
}
template <FixedString service, typename T>
void checkSetter() {
  check<service, static_cast<Setter<T>*>(&REALSetPropValue)>();
}

using LockAs = HostBoolean(REALpictureStruct*, REALpictureDescription*, HostLong) noexcept;
using LockAny = HostBoolean(REALpictureStruct*, REALpictureDescription*) noexcept;
using NewByName = REALobjectStruct*(const char*) noexcept;
using NewByClass = REALobjectStruct*(REALclassRefStruct*) noexcept;
using IsA = HostBoolean(REALobjectStruct*, REALclassRefStruct*) noexcept;
using DrawPrimitive = void(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*, int) noexcept;

TEST(HostServices, EveryWrapperForwardsAndAnswersWithoutItsService) {
  check<"PluginRegisterClass", &REALRegisterClass>();
  check<"PluginRegisterClassExtension", &REALRegisterClassExtension>();
  check<"PluginRegisterMethod", &REALRegisterMethod>();
  check<"PluginRegisterControl", &REALRegisterControl>();
  check<"PluginRegisterModule", &REALRegisterModule>();
  check<"PluginRegisterBackgroundTask", &REALRegisterBackgroundTask, -1>();
  check<"PluginUnregisterBackgroundTask", &REALUnregisterBackgroundTask>();
  check<"REALinRuntime", &REALinRuntime>();
  check<"REALInDebugMode", &REALInDebugMode>();
  check<"REALYieldToRB", &REALYieldToRB>();
  check<"PluginCallFunctionWithExceptionHandler", &REALCallFunctionWithExceptionHandler>();
  check<"REALLockObject", &REALLockObject>();
  check<"REALUnlockObject", &REALUnlockObject>();
  check<"PluginNewInstance", static_cast<NewByName*>(&REALnewInstance)>();
  check<"CreateInstance", static_cast<NewByClass*>(&REALnewInstance)>();
  check<"pluginObjectType", &REALGetClassRef>();
  check<"RuntimeObjectIsa", static_cast<IsA*>(&REALObjectIsA)>();
  check<"PluginGetPluginData", &REALGetPluginData>();
  check<"GetEventInstance", &REALGetEventInstance>();
  check<"RuntimeRaiseException", &REALRaiseException>();
  check<"RuntimeMsgBox", &REALMessageBox>();
  check<"REALLoadObjectMethod", &REALLoadObjectMethod>();
  checkGetter<"REALGetPropValueInt", HostLong>();
  checkGetter<"REALGetPropValueBool", HostBoolean>();
  checkGetter<"REALGetPropValueString", REALstringStruct*>();
  checkGetter<"REALGetPropValueDouble", double>();
  checkGetter<"REALGetPropValueObject", REALobjectStruct*>();
  checkGetter<"REALGetPropValueInt64", long long>();
  checkGetter<"REALGetPropValueUInt64", unsigned long long>();
  checkGetter<"REALGetPropValueUInt32", HostULong>();
  checkGetter<"REALGetPropValueUInt16", unsigned short>();
  checkGetter<"REALGetPropValueInt16", short>();
  checkGetter<"REALGetPropValueInt8", char>();
  checkGetter<"REALGetPropValueSingle", float>();
  checkSetter<"REALSetPropValueInt", HostLong>();
  checkSetter<"REALSetPropValueString", REALstringStruct*>();
  checkSetter<"REALSetPropValueDouble", double>();
  checkSetter<"REALSetPropValueObject", REALobjectStruct*>();
  checkSetter<"REALSetPropValueUInt32", HostULong>();
  checkSetter<"REALSetPropValueUInt64", unsigned long long>();
  checkSetter<"REALSetPropValueInt64", long long>();
  checkSetter<"REALSetPropValueBoolean", HostBoolean>();
  check<"StringToVariant", &REALNewVariantString>();
  check<"Int32ToVariant", &REALNewVariantInteger>();
  check<"DoubleToVariant", &REALNewVariantDouble>();
  check<"BooleanToVariant", &REALNewVariantBoolean>();
  check<"ColorToVariant", &REALNewVariantColor>();
  check<"UInt32ToVariant", &REALNewVariantUInt32>();
  check<"Int64ToVariant", &REALNewVariantInt64>();
  check<"UInt64ToVariant", &REALNewVariantUInt64>();
  check<"SingleToVariant", &REALNewVariantSingle>();
  check<"REALBuildString", &originalREALBuildString>();
  check<"REALLockString", &REALLockString>();
  check<"REALUnlockString", &REALUnlockString>();
  check<"REALSetStringEncoding", &REALSetStringEncoding>();
  check<"REALGetStringEncoding", &REALGetStringEncoding>();
  check<"RuntimeStringCompare", &REALCompareStrings>();
  check<"RuntimeAddString", &REALAddStrings>();
  check<"REALConvertString", &REALConvertString>();
  check<"REALGetFontEncoding", &REALGetFontEncoding>();
  check<"newPicture", &REALNewPicture>();
  check<"pluginPictureGraphicsGetter", &REALGetPictureGraphics>();
  check<"REALLockPictureDescription", static_cast<LockAs*>(&REALLockPictureDescription)>();
  check<"lockPictureDescription", static_cast<LockAny*>(&REALLockPictureDescription)>();
  check<"unlockPictureDescription", &REALUnlockPictureDescription>();
  check<"REALPictureClearCache", &REALPictureClearCache>();
  check<"REALBuildPictureFromBuffer", &REALBuildPictureFromBuffer>();
  check<"REALBuildPictureFromGWorld", &REALBuildPictureFromGWorld>();
  check<"REALGetPictureMask", &REALGetPictureMask>();
  check<"REALDrawPicturePrimitive", static_cast<DrawPrimitive*>(&REALDrawPicturePrimitive)>();
  check<"RuntimeGraphicsDrawString", &REALGraphicsDrawString>();
  check<"RuntimeGraphicsDrawLine", &GraphicsDrawLine>();
  check<"REALGraphicsDC", &REALGraphicsDC>();
  check<"REALGetGraphicsOrigin", &REALGetGraphicsOrigin>();
  check<"REALSetGraphicsOrigin", &REALSetGraphicsOrigin>();
  check<"newMemoryBlock", &REALNewMemoryBlock>();
  check<"memoryBlockGetPtr", &REALMemoryBlockGetPtr>();
  check<"memoryBlockGetSize", &REALMemoryBlockGetSize>();
  check<"PtrToMemoryBlock", &REALPtrToMemoryBlock>();
  check<"GetControlBounds", &REALGetControlBounds>();
  check<"REALGetControlGraphics", &REALGetControlGraphics>();
  check<"getControlWindow", &REALGetControlWindow>();
  check<"GetTabPanelVisible", &REALGetTabPanelVisible>();
  check<"REALpathFromFolderItem", &REALpathFromFolderItem>();
  check<"RuntimeUBound", &REALGetArrayUBound>();
  check<"RuntimeDirectReadIntArray", &REALGetArrayInt>();
  check<"RuntimeDirectReadStringArray", &REALGetArrayString>();
  check<"RuntimeDirectReadObjectArray", &REALGetArrayObject>();
  check<"RuntimeArrayCreateSingleDimBoundedArray", &REALCreateArray>();
}

TEST(HostServices, HostFunctionsCalledDirectlyOrNotAtAll) {
  gResolver = &resolveOffer;
  int calls = 0;
  const auto count = [](void* data) { ++*static_cast<int*>(data); };
  EXPECT_EQ(REALCallFunctionWithExceptionHandler(count, &calls), 0);
  EXPECT_EQ(calls, 1);

  asked = 0;
  EXPECT_EQ(REALnewInstance(static_cast<REALclassRefStruct*>(nullptr)), nullptr);
  EXPECT_EQ(asked, 0);

  static void* first;
  static std::string_view second;
  using Load = void*(void*, const char*);
  Load* load = [](void* a, const char* b) -> void* {
    first = a;
    second = b;
    return &first;
  };
  first = &first;
  offer = {"REALLoadGlobalMethod", reinterpret_cast<void*>(load)};
  EXPECT_EQ(REALLoadFrameworkMethod("Beep"), &first);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second, "Beep");
}

// --- String data --------------------------------------------------------------------------------

constexpr const char* kStringDataServices[] = {"PluginGetStringData", "PluginDisposeStringData"};

class StringData : public testing::Test {
 protected:
  // What the routine gives for the text; "-" when it refuses.
  std::string fetch(const host::StringRef& string, HostULong encoding) {
    REALstringData data{};
    if (!REALGetStringData(string.handle(), encoding, &data)) {
      EXPECT_EQ(data.data, nullptr);
      return "-";
    }
    EXPECT_EQ(data.encoding, encoding);
    const char* bytes = static_cast<const char*>(data.data);
    EXPECT_EQ(std::string_view(bytes + data.length, 4), std::string_view("\0\0\0\0", 4));
    std::string text(bytes, static_cast<size_t>(data.length));
    REALDisposeStringData(&data);
    return text;
  }

  LinkedHost setup{host::Settings{}};
  host::StringRef grey = setup.host.newString("gr\xC3\xBC", kEncodingUTF8);
  host::StringRef none = setup.host.newString("", kEncodingUTF8);
};

TEST_F(StringData, ComesFromTheHostWhereItHasTheService) {
  EXPECT_EQ(fetch(grey, kEncodingWindowsLatin1), "gr\xFC");
  EXPECT_EQ(setup.host.callCount("PluginGetStringData"), 1);
  EXPECT_EQ(setup.host.callCount("PluginDisposeStringData"), 1);
  EXPECT_EQ(setup.host.callCount("StringGetCString"), 0);
}

TEST_F(StringData, IsCopiedOrConvertedOnHostsWithoutTheService) {
  for (const char* name : kStringDataServices) setup.host.withhold(name);
  EXPECT_EQ(fetch(grey, kEncodingNone), "gr\xC3\xBC");
  EXPECT_EQ(fetch(grey, kEncodingUTF8), "gr\xC3\xBC");
  EXPECT_EQ(fetch(none, kEncodingNone), "");
  EXPECT_EQ(setup.host.callCount("REALConvertString"), 0);
  EXPECT_EQ(setup.host.callCount("REALUnlockString"), 0);
  EXPECT_EQ(fetch(grey, kEncodingWindowsLatin1), "gr\xFC");
  EXPECT_EQ(setup.host.callCount("REALUnlockString"), 1);
  EXPECT_EQ(setup.host.resolutions("LenB"), 1) << "the length method is looked up once";
  EXPECT_EQ(fetch(nullptr, kEncodingUTF8), "-");
  const host::StringRef large = setup.host.newString(std::string(100'000, 'x'), kEncodingUTF8);
  const auto before = static_cast<int64_t>(mallinfo2().uordblks);
  fetch(large, kEncodingNone);
  EXPECT_LT(static_cast<int64_t>(mallinfo2().uordblks) - before, 50'000) << "the copy is freed";
}

class StringDataPieces : public StringData, public testing::WithParamInterface<const char*> {};

TEST_P(StringDataPieces, AreNeededAll) {
  for (const char* name : kStringDataServices) setup.host.withhold(name);
  setup.host.withhold(GetParam());
  EXPECT_EQ(fetch(grey, kEncodingNone), "-");
}

INSTANTIATE_TEST_SUITE_P(Missing, StringDataPieces,
                         testing::Values("StringGetCString", "LenB", "REALLoadGlobalMethod"));

TEST_F(StringData, IsRefusedWithoutAConversionThatIsNeeded) {
  for (const char* name : kStringDataServices) setup.host.withhold(name);
  // Hosts that cannot tell the encoding have Mac Roman.
  setup.host.withhold("REALGetStringEncoding");
  EXPECT_EQ(fetch(grey, kEncodingMacRoman), "gr\xC3\xBC");
  setup.host.restore("REALGetStringEncoding");
  setup.host.withhold("REALConvertString");
  EXPECT_EQ(fetch(grey, kEncodingASCII), "-");
  setup.host.restore("REALConvertString");
  setup.host.failCall("REALConvertString");
  EXPECT_EQ(fetch(grey, kEncodingASCII), "-");
}

// --- Array elements -----------------------------------------------------------------------------

class ArrayElements : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (served) return;
    for (const char* name : {"RuntimeArrayDirectGetInsertProc", "RuntimeArrayDirectGetGetProc",
                             "RuntimeArrayDirectGetSetProc"}) {
      setup.host.withhold(name);
    }
  }

  template <bool inserts, bool sets, typename T>
  void check(host::ElementType type, T a) {
    constexpr T b = 7;
    const bool readable = served || type != host::ElementType::kUInt16;
    const host::ArrayRef array(host::Array::create(setup.host, type, 2));
    array->set<T>(1, a);
    T value = b;
    EXPECT_EQ(REALGetArrayValue(array.handle(), 1, &value), readable);
    EXPECT_EQ(value, readable ? a : b);
    EXPECT_EQ(REALGetArrayValue(array.handle(), 1, static_cast<T*>(nullptr)), readable);
    if constexpr (sets) {
      REALSetArrayValue(array.handle(), 2, b);
      EXPECT_EQ(array->get<T>(2), b);
      EXPECT_EQ(array->get<T>(1), a);
    }
    if constexpr (inserts) {
      REALInsertArrayValue(array.handle(), 0, b);
      EXPECT_EQ(array->get<T>(0), served ? b : T());
    }
  }
  void checkAll() {
    using E = host::ElementType;
    check<true, true, long long>(E::kInt64, -0x123456789ALL);
    check<true, true, HostLong>(E::kInt32, -5);
    check<true, true, unsigned long long>(E::kUInt64, 1ULL << 63);
    check<true, true, HostULong>(E::kUInt32, 0x80000001);
    check<true, false, unsigned short>(E::kUInt16, 0xFEDC);
    check<false, false, unsigned char>(E::kUInt8, 0xFE);
    check<true, false, float>(E::kSingle, -1.5F);
    check<true, true, double>(E::kDouble, 1e300);
  }

  const bool served = GetParam();
  LinkedHost setup{host::Settings{}};
};

TEST_P(ArrayElements, GoThroughTheHostsRoutinesOrTheStorage) {
  checkAll();
  // A fallback keeps the place of its service; what has none is asked for again.
  const int reads = setup.host.resolutions("RuntimeArrayDirectGetGetProc");
  const int inserts = setup.host.resolutions("RuntimeArrayDirectGetInsertProc");
  checkAll();
  EXPECT_EQ(setup.host.resolutions("RuntimeArrayDirectGetGetProc") - reads, served ? 0 : 2)
      << "16 bits only";
  EXPECT_EQ(setup.host.resolutions("RuntimeArrayDirectGetInsertProc") - inserts, served ? 0 : 7);
}

TEST_P(ArrayElements, KeepTheReferencesOfStringsAndObjectsExact) {
  const host::StringRef text = setup.host.newString("text");
  const host::ArrayRef strings(host::Array::create(setup.host, host::ElementType::kString, 0));
  const auto set = [&](REALstringStruct* string) {
    REALSetArrayValue(strings.handle(), 0, string);
  };
  const auto get = [&] {
    REALstringStruct* string = nullptr;
    EXPECT_TRUE(REALGetArrayValue(strings.handle(), 0, &string));
    return host::Host::adopt<host::String>(string);
  };
  set(text.handle());
  EXPECT_EQ(get(), text);
  // An element may be set to itself where nobody else holds it.
  set(setup.host.newString("own").handle());
  REALstringStruct* const own = get().handle();
  set(own);
  EXPECT_EQ(get()->bytes(), "own");
  set(nullptr);
  EXPECT_FALSE(get());

  const auto object = setup.host.newObject("Thing");
  const host::ArrayRef objects(host::Array::create(setup.host, host::ElementType::kObject, 1));
  REALSetArrayValue(objects.handle(), 1, object.as<REALobjectStruct>());
  REALobjectStruct* found = nullptr;
  EXPECT_TRUE(REALGetArrayValue(objects.handle(), 1, &found));
  EXPECT_EQ(host::Host::adopt<host::Object>(found).get(), object.get());
  EXPECT_FALSE(REALGetArrayValue(nullptr, 0, &found));
}

INSTANTIATE_TEST_SUITE_P(Hosts, ArrayElements, testing::Values(true, false),
                         [](const auto& served) { return served.param ? "served" : "unserved"; });

}  // namespace
