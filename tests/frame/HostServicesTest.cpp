// The services' wrappers, one by one, and what some of them do on hosts that lack the service. What
// was found of a host stays with the process, so each test here needs one of its own.
#include "frame/HostServices.h"

#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "Support.h"
#include "frame/GraphicsHelpers.h"
#include "frame/HostCall.h"

namespace {

using namespace test;

// --- Wrappers, with a resolver of the test's own ------------------------------------------------

/// A service wrapper that can be called without knowing its type.
struct Wrapper {
  struct Outcome {
    bool entered;         ///< the host's entry was called
    bool argumentsRight;  ///< with the wrapper's own arguments, in order
    bool resultRight;  ///< the entry's result came back, or without it the missing-service result
  };

  const char* service;
  void* entry;        ///< stands in for the host's: notes its arguments and returns a fixed result
  Outcome (*call)();  ///< calls the wrapper with arguments that all differ
};

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

template <typename T>
bool same(T a, T b) noexcept {
  return memcmp(&a, &b, sizeof a) == 0;
}

template <FixedString entryName, auto wrapper, int missing>
struct Recorded;

template <FixedString entryName, typename R, typename... A, R (*wrapper)(A...) noexcept,
          int missing>
struct Recorded<entryName, wrapper, missing> {
  static constexpr int kAnswer = 99;
  static inline std::tuple<A...> noted;
  static inline bool entered = false;

  static R entry(A... arguments) {
    noted = {arguments...};
    entered = true;
    if constexpr (!std::is_void_v<R>) return sample<R>(kAnswer);
  }

  template <size_t... n>
  static std::tuple<A...> samples(std::index_sequence<n...>) {
    return {sample<A>(int{n} + 1)...};
  }

  static Wrapper::Outcome call() {
    entered = false;
    noted = {};
    const std::tuple<A...> arguments = samples(std::index_sequence_for<A...>());
    bool resultRight = true;
    if constexpr (std::is_void_v<R>) {
      std::apply(wrapper, arguments);
    } else {
      const R result = std::apply(wrapper, arguments);
      R expected{};
      if constexpr (missing != 0) expected = static_cast<R>(missing);
      resultRight = same(result, entered ? sample<R>(kAnswer) : expected);
    }
    const bool argumentsRight =
        entered &&
        std::apply(
            [&](A... a) { return std::apply([&](A... b) { return (same(a, b) && ...); }, noted); },
            arguments);
    return {entered, argumentsRight, resultRight};
  }
};

template <FixedString service, auto wrapper, int missing = 0>
Wrapper wrapperOf() {
  using R = Recorded<service, wrapper, missing>;
  return {service.text, reinterpret_cast<void*>(&R::entry), &R::call};
}

/// One of several functions of a name, by its type.
template <typename Signature>
constexpr Signature* overload(Signature* function) {
  return function;
}

template <typename T>
using Getter = HostBoolean(REALobjectStruct*, const char*, T*) noexcept;
template <typename T>
using Setter = HostBoolean(REALobjectStruct*, const char*, T) noexcept;

template <FixedString entryName, typename T>
Wrapper getter() {
  return wrapperOf<entryName, overload<Getter<T>>(&REALGetPropValue)>();
}
template <FixedString entryName, typename T>
Wrapper setter() {
  return wrapperOf<entryName, overload<Setter<T>>(&REALSetPropValue)>();
}

using LockAs = HostBoolean(REALpictureStruct*, REALpictureDescription*, HostLong) noexcept;
using LockAny = HostBoolean(REALpictureStruct*, REALpictureDescription*) noexcept;
using NewByName = REALobjectStruct*(const char*) noexcept;
using NewByClass = REALobjectStruct*(REALclassRefStruct*) noexcept;
using IsA = HostBoolean(REALobjectStruct*, REALclassRefStruct*) noexcept;
using IsAByName = HostBoolean(REALobjectStruct*, const char*) noexcept;
using DrawPrimitive = void(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*, int) noexcept;
using DrawPlain = void(REALgraphicsStruct*, REALpictureStruct*, const RB::Rect*) noexcept;

const Wrapper kWrappers[] = {
    wrapperOf<"PluginRegisterClass", &REALRegisterClass>(),
    wrapperOf<"PluginRegisterClassExtension", &REALRegisterClassExtension>(),
    wrapperOf<"PluginRegisterMethod", &REALRegisterMethod>(),
    wrapperOf<"PluginRegisterControl", &REALRegisterControl>(),
    wrapperOf<"PluginRegisterModule", &REALRegisterModule>(),
    wrapperOf<"PluginRegisterBackgroundTask", &REALRegisterBackgroundTask, -1>(),
    wrapperOf<"PluginUnregisterBackgroundTask", &REALUnregisterBackgroundTask>(),
    wrapperOf<"REALinRuntime", &REALinRuntime>(),
    wrapperOf<"REALInDebugMode", &REALInDebugMode>(),
    wrapperOf<"REALYieldToRB", &REALYieldToRB>(),
    wrapperOf<"PluginCallFunctionWithExceptionHandler", &REALCallFunctionWithExceptionHandler>(),
    wrapperOf<"REALLockObject", &REALLockObject>(),
    wrapperOf<"REALUnlockObject", &REALUnlockObject>(),
    wrapperOf<"PluginNewInstance", overload<NewByName>(&REALnewInstance)>(),
    wrapperOf<"CreateInstance", overload<NewByClass>(&REALnewInstance)>(),
    wrapperOf<"pluginObjectType", &REALGetClassRef>(),
    wrapperOf<"RuntimeObjectIsa", overload<IsA>(&REALObjectIsA)>(),
    wrapperOf<"PluginGetPluginData", &REALGetPluginData>(),
    wrapperOf<"GetEventInstance", &REALGetEventInstance>(),
    wrapperOf<"RuntimeRaiseException", &REALRaiseException>(),
    wrapperOf<"RuntimeMsgBox", &REALMessageBox>(),
    wrapperOf<"REALLoadObjectMethod", &REALLoadObjectMethod>(),
    getter<"REALGetPropValueInt", HostLong>(),
    getter<"REALGetPropValueBool", HostBoolean>(),
    getter<"REALGetPropValueString", REALstringStruct*>(),
    getter<"REALGetPropValueDouble", double>(),
    getter<"REALGetPropValueObject", REALobjectStruct*>(),
    getter<"REALGetPropValueInt64", long long>(),
    getter<"REALGetPropValueUInt64", unsigned long long>(),
    getter<"REALGetPropValueUInt32", HostULong>(),
    getter<"REALGetPropValueUInt16", unsigned short>(),
    getter<"REALGetPropValueInt16", short>(),
    getter<"REALGetPropValueInt8", char>(),
    getter<"REALGetPropValueSingle", float>(),
    setter<"REALSetPropValueInt", HostLong>(),
    setter<"REALSetPropValueString", REALstringStruct*>(),
    setter<"REALSetPropValueDouble", double>(),
    setter<"REALSetPropValueObject", REALobjectStruct*>(),
    setter<"REALSetPropValueUInt32", HostULong>(),
    setter<"REALSetPropValueUInt64", unsigned long long>(),
    setter<"REALSetPropValueInt64", long long>(),
    setter<"REALSetPropValueBoolean", HostBoolean>(),
    wrapperOf<"StringToVariant", &REALNewVariantString>(),
    wrapperOf<"Int32ToVariant", &REALNewVariantInteger>(),
    wrapperOf<"DoubleToVariant", &REALNewVariantDouble>(),
    wrapperOf<"BooleanToVariant", &REALNewVariantBoolean>(),
    wrapperOf<"ColorToVariant", &REALNewVariantColor>(),
    wrapperOf<"UInt32ToVariant", &REALNewVariantUInt32>(),
    wrapperOf<"Int64ToVariant", &REALNewVariantInt64>(),
    wrapperOf<"UInt64ToVariant", &REALNewVariantUInt64>(),
    wrapperOf<"SingleToVariant", &REALNewVariantSingle>(),
    wrapperOf<"REALBuildString", &originalREALBuildString>(),
    wrapperOf<"REALLockString", &REALLockString>(),
    wrapperOf<"REALUnlockString", &REALUnlockString>(),
    wrapperOf<"REALSetStringEncoding", &REALSetStringEncoding>(),
    wrapperOf<"REALGetStringEncoding", &REALGetStringEncoding>(),
    wrapperOf<"RuntimeStringCompare", &REALCompareStrings>(),
    wrapperOf<"RuntimeAddString", &REALAddStrings>(),
    wrapperOf<"REALConvertString", &REALConvertString>(),
    wrapperOf<"REALGetFontEncoding", &REALGetFontEncoding>(),
    wrapperOf<"newPicture", &REALNewPicture>(),
    wrapperOf<"pluginPictureGraphicsGetter", &REALGetPictureGraphics>(),
    wrapperOf<"REALLockPictureDescription", overload<LockAs>(&REALLockPictureDescription)>(),
    wrapperOf<"lockPictureDescription", overload<LockAny>(&REALLockPictureDescription)>(),
    wrapperOf<"unlockPictureDescription", &REALUnlockPictureDescription>(),
    wrapperOf<"REALPictureClearCache", &REALPictureClearCache>(),
    wrapperOf<"REALBuildPictureFromBuffer", &REALBuildPictureFromBuffer>(),
    wrapperOf<"REALBuildPictureFromGWorld", &REALBuildPictureFromGWorld>(),
    wrapperOf<"REALGetPictureMask", &REALGetPictureMask>(),
    wrapperOf<"REALDrawPicturePrimitive", overload<DrawPrimitive>(&REALDrawPicturePrimitive)>(),
    wrapperOf<"RuntimeGraphicsDrawString", &REALGraphicsDrawString>(),
    wrapperOf<"RuntimeGraphicsDrawLine", &GraphicsDrawLine>(),
    wrapperOf<"REALGraphicsDC", &REALGraphicsDC>(),
    wrapperOf<"REALGetGraphicsOrigin", &REALGetGraphicsOrigin>(),
    wrapperOf<"REALSetGraphicsOrigin", &REALSetGraphicsOrigin>(),
    wrapperOf<"newMemoryBlock", &REALNewMemoryBlock>(),
    wrapperOf<"memoryBlockGetPtr", &REALMemoryBlockGetPtr>(),
    wrapperOf<"memoryBlockGetSize", &REALMemoryBlockGetSize>(),
    wrapperOf<"PtrToMemoryBlock", &REALPtrToMemoryBlock>(),
    wrapperOf<"GetControlBounds", &REALGetControlBounds>(),
    wrapperOf<"REALGetControlGraphics", &REALGetControlGraphics>(),
    wrapperOf<"getControlWindow", &REALGetControlWindow>(),
    wrapperOf<"GetTabPanelVisible", &REALGetTabPanelVisible>(),
    wrapperOf<"REALpathFromFolderItem", &REALpathFromFolderItem>(),
    wrapperOf<"RuntimeUBound", &REALGetArrayUBound>(),
    wrapperOf<"RuntimeDirectReadIntArray", &REALGetArrayInt>(),
    wrapperOf<"RuntimeDirectReadStringArray", &REALGetArrayString>(),
    wrapperOf<"RuntimeDirectReadObjectArray", &REALGetArrayObject>(),
    wrapperOf<"RuntimeArrayCreateSingleDimBoundedArray", &REALCreateArray>()};

/// What the resolver knows: one service, and how often it was asked.
struct Offer {
  std::string_view name;
  void* entry = nullptr;
} offer;
int asked;

void* resolveOffer(const char* name) {
  ++asked;
  return name == offer.name ? offer.entry : nullptr;
}

TEST(HostServices, EveryWrapperForwardsAndAnswersWithoutItsService) {
  for (const Wrapper& wrapper : kWrappers) {
    SCOPED_TRACE(wrapper.service);
    gResolver = nullptr;
    Wrapper::Outcome outcome = wrapper.call();
    EXPECT_TRUE(!outcome.entered && outcome.resultRight) << "without a resolver";

    gResolver = &resolveOffer;
    offer = {};
    asked = 0;
    wrapper.call();
    outcome = wrapper.call();
    EXPECT_TRUE(!outcome.entered && outcome.resultRight) << "without the service";
    EXPECT_EQ(asked, 2) << "a missing service is asked for at each call";

    offer = {wrapper.service, wrapper.entry};
    asked = 0;
    outcome = wrapper.call();
    EXPECT_TRUE(outcome.entered && outcome.argumentsRight && outcome.resultRight);
    offer = {};
    outcome = wrapper.call();
    EXPECT_TRUE(outcome.entered && outcome.resultRight) << "once found, a service stays";
    EXPECT_EQ(asked, 1);
  }
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
  setup.host.withhold("REALConvertString");
  EXPECT_EQ(fetch(grey, kEncodingASCII), "-");
  setup.host.restore("REALConvertString");
  setup.host.failCall("REALConvertString");
  EXPECT_EQ(fetch(grey, kEncodingASCII), "-");
}

TEST_F(StringData, TakesStringsForMacRomanOnHostsThatCannotTell) {
  for (const char* name : kStringDataServices) setup.host.withhold(name);
  setup.host.withhold("REALGetStringEncoding");
  EXPECT_EQ(fetch(grey, kEncodingMacRoman), "gr\xC3\xBC");
  EXPECT_EQ(setup.host.callCount("REALConvertString"), 0);
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
  set(get().handle());
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
