#include <dlfcn.h>

#include <cstring>
#include <string_view>

#include "ProbeHost.h"

namespace {

using namespace test;

// --- Wrappers, with a resolver of the test's own ------------------------------------------------

/// The probe in no host at all: nothing has been resolved yet.
class BareProbe {
 public:
  BareProbe() : library_(dlopen(ZVK_PROBE_FILE, RTLD_NOW | RTLD_LOCAL)) {
    probe = static_cast<const Probe*>(dlsym(library_, "zvkProbe"));
    asked = 0;
    offered = {};
  }
  ~BareProbe() { dlclose(library_); }

  void connect() const { *probe->state.resolver = &resolve; }
  void offer(const char* name, void* entry) const { offered = {name, entry}; }

  const Probe* probe;
  static inline int asked;

 private:
  struct Offer {
    std::string_view name;
    void* entry;
  };

  static void* resolve(const char* name) {
    ++asked;
    return name == offered.name ? offered.entry : nullptr;
  }

  void* library_;
  static inline Offer offered;
};

TEST(HostServices, EveryWrapperForwardsAndAnswersWithoutItsService) {
  const BareProbe bare;
  const Probe::Services& services = bare.probe->services;
  ASSERT_GE(services.wrapperCount, 80);
  for (int i = 0; i < services.wrapperCount; ++i) {
    const ServiceProbe& wrapper = services.wrappers[i];
    SCOPED_TRACE(wrapper.entryName);

    *bare.probe->state.resolver = nullptr;
    ServiceProbe::Outcome outcome = wrapper.call();
    EXPECT_TRUE(!outcome.entered && outcome.resultRight) << "without a resolver";

    bare.connect();
    bare.offer("nothing", nullptr);
    BareProbe::asked = 0;
    wrapper.call();
    outcome = wrapper.call();
    EXPECT_TRUE(!outcome.entered && outcome.resultRight) << "without the service";
    EXPECT_EQ(BareProbe::asked, 2) << "a missing service is asked for at each call";

    bare.offer(wrapper.entryName, wrapper.entry);
    BareProbe::asked = 0;
    outcome = wrapper.call();
    EXPECT_TRUE(outcome.entered && outcome.argumentsRight && outcome.resultRight);
    bare.offer("nothing", nullptr);
    outcome = wrapper.call();
    EXPECT_TRUE(outcome.entered && outcome.resultRight) << "once found, a service stays";
    EXPECT_EQ(BareProbe::asked, 1);
  }
}

TEST(HostServices, HostFunctionsCalledDirectlyOrNotAtAll) {
  const BareProbe bare;
  bare.connect();
  int calls = 0;
  const auto count = [](void* data) { ++*static_cast<int*>(data); };
  EXPECT_EQ(bare.probe->services.callWithExceptionHandler(count, &calls), 0);
  EXPECT_EQ(calls, 1);

  BareProbe::asked = 0;
  EXPECT_EQ(bare.probe->services.newInstanceOf(nullptr), nullptr);
  EXPECT_EQ(BareProbe::asked, 0);

  static void* first;
  static std::string_view second;
  using Load = void*(void*, const char*);
  Load* load = [](void* a, const char* b) -> void* {
    first = a;
    second = b;
    return &first;
  };
  first = &first;
  bare.offer("REALLoadGlobalMethod", reinterpret_cast<void*>(load));
  EXPECT_EQ(bare.probe->services.loadFrameworkMethod("Beep"), &first);
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
    if (!setup.probe.services.getStringData(string.handle(), encoding, &data)) {
      EXPECT_EQ(data.data, nullptr);
      return "-";
    }
    EXPECT_EQ(data.encoding, encoding);
    const char* bytes = static_cast<const char*>(data.data);
    EXPECT_EQ(std::string_view(bytes + data.length, 4), std::string_view("\0\0\0\0", 4));
    std::string text(bytes, static_cast<size_t>(data.length));
    setup.probe.services.disposeStringData(&data);
    return text;
  }

  ProbeHost setup{host::Settings{}};
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

TEST_F(StringData, IsRefusedWhenAPieceOfTheWayIsMissing) {
  for (const char* name : {"StringGetCString", "LenB", "REALLoadGlobalMethod"}) {
    ProbeHost other{host::Settings{}};
    for (const char* service : kStringDataServices) other.host.withhold(service);
    other.host.withhold(name);
    const host::StringRef text = other.host.newString("text");
    REALstringData data{};
    EXPECT_FALSE(other.probe.services.getStringData(text.handle(), kEncodingNone, &data)) << name;
  }
}

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

template <typename T>
struct ElementCase {
  ElementProbe<T> Probe::Services::*routines;
  host::ElementType type;
  T a, b;
  bool readableInStorage = true;
};

template <typename T>
void checkNumbers(ProbeHost& setup, const ElementCase<T>& c, bool served) {
  const bool readable = served || c.readableInStorage;
  const ElementProbe<T>& element = setup.probe.services.*c.routines;
  host::Array* array = host::Array::create(setup.host, c.type, 2);
  const host::ArrayRef owner(array);
  array->set<T>(1, c.a);
  T value = c.b;
  EXPECT_EQ(element.get(owner.handle(), 1, &value), readable);
  EXPECT_EQ(value, readable ? c.a : c.b);
  EXPECT_EQ(element.get(owner.handle(), 1, nullptr), readable);
  if (element.set) {
    element.set(owner.handle(), 2, c.b);
    EXPECT_EQ(array->get<T>(2), c.b);
    EXPECT_EQ(array->get<T>(1), c.a);
  }
  if (element.insert) {
    element.insert(owner.handle(), 0, c.b);
    EXPECT_EQ(array->get<T>(0), served ? c.b : T());
  }
}

void checkAllNumbers(ProbeHost& setup, bool served) {
  using P = Probe::Services;
  using E = host::ElementType;
  const long long big = -0x123456789ALL;
  checkNumbers<long long>(setup, {&P::int64, E::kInt64, big, 7}, served);
  checkNumbers<HostLong>(setup, {&P::int32, E::kInt32, -5, 7}, served);
  checkNumbers<unsigned long long>(setup, {&P::uint64, E::kUInt64, 1ULL << 63, 7}, served);
  checkNumbers<HostULong>(setup, {&P::uint32, E::kUInt32, 0x80000001, 7}, served);
  checkNumbers<unsigned short>(setup, {&P::uint16, E::kUInt16, 0xFEDC, 7, false}, served);
  checkNumbers<unsigned char>(setup, {&P::uint8, E::kUInt8, 0xFE, 7}, served);
  checkNumbers<float>(setup, {&P::single, E::kSingle, -1.5F, 7}, served);
  checkNumbers<double>(setup, {&P::real, E::kDouble, 1e300, 7}, served);
}

constexpr const char* kElementServices[] = {"RuntimeArrayDirectGetInsertProc",
                                            "RuntimeArrayDirectGetGetProc",
                                            "RuntimeArrayDirectGetSetProc"};

TEST(ArrayElements, GoThroughTheHostsRoutines) {
  ProbeHost setup{host::Settings{}};
  checkAllNumbers(setup, true);
}

TEST(ArrayElements, AreReachedInStorageOnHostsWithoutThem) {
  ProbeHost setup{host::Settings{}};
  for (const char* name : kElementServices) setup.host.withhold(name);
  checkAllNumbers(setup, false);
  // The fallback keeps the place of the service; what has none is asked for again.
  const int reads = setup.host.resolutions("RuntimeArrayDirectGetGetProc");
  const int inserts = setup.host.resolutions("RuntimeArrayDirectGetInsertProc");
  checkAllNumbers(setup, false);
  EXPECT_EQ(setup.host.resolutions("RuntimeArrayDirectGetGetProc"), reads + 2) << "16-bit only";
  EXPECT_EQ(setup.host.resolutions("RuntimeArrayDirectGetInsertProc"), inserts + 7);
}

TEST(ArrayElements, KeepTheReferencesOfStringsAndObjectsExact) {
  for (const bool served : {true, false}) {
    ProbeHost setup{host::Settings{}};
    if (!served) {
      for (const char* name : kElementServices) setup.host.withhold(name);
    }
    const host::StringRef text = setup.host.newString("text");
    const host::ArrayRef strings(host::Array::create(setup.host, host::ElementType::kString, 0));
    const auto& string = setup.probe.services.string;
    string.set(strings.handle(), 0, text.handle());
    REALstringStruct* read = nullptr;
    EXPECT_TRUE(string.get(strings.handle(), 0, &read));
    EXPECT_EQ(host::Host::adopt<host::String>(read), text);
    // An element may be set to itself where nobody else holds it.
    string.set(strings.handle(), 0, setup.host.newString("own").handle());
    EXPECT_TRUE(string.get(strings.handle(), 0, &read));
    setup.host.as<host::String>(read)->unlock();
    string.set(strings.handle(), 0, read);
    EXPECT_TRUE(string.get(strings.handle(), 0, &read));
    EXPECT_EQ(host::Host::adopt<host::String>(read)->bytes(), "own");
    string.set(strings.handle(), 0, nullptr);
    EXPECT_TRUE(string.get(strings.handle(), 0, &read));
    EXPECT_EQ(read, nullptr);

    const auto object = setup.host.newObject("Thing");
    const host::ArrayRef objects(host::Array::create(setup.host, host::ElementType::kObject, 1));
    const auto& element = setup.probe.services.object;
    element.set(objects.handle(), 1, object.as<REALobjectStruct>());
    REALobjectStruct* found = nullptr;
    EXPECT_TRUE(element.get(objects.handle(), 1, &found));
    EXPECT_EQ(host::Host::adopt<host::Object>(found).get(), object.get());
    EXPECT_FALSE(element.get(nullptr, 0, &found));
    EXPECT_TRUE(setup.host.accounts().empty()) << setup.host.accounts().front();
  }
}

}  // namespace
