#include <cxxabi.h>
#include <dlfcn.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

#include "ProbeHost.h"

namespace {

using namespace test;

#if defined(__i386__)
constexpr bool kThirtyTwoBits = true;
#else
constexpr bool kThirtyTwoBits = false;
#endif

// --- Reading records word by word, as the host does ---------------------------------------------

/// Where a word of a record lies, and whether it holds an address.
struct Word {
  size_t position;
  bool isAddress;
};

#define ZVK_NUMBER(Record, field) \
  Word { offsetof(Record, field), false }
#define ZVK_ADDRESS(Record, field) \
  Word { offsetof(Record, field), true }

using C = REALclassDefinition;
constexpr size_t kReserved = offsetof(C, reserved);
const std::vector<Word> kClassWords = {
    ZVK_NUMBER(C, version),
    ZVK_ADDRESS(C, name),
    ZVK_ADDRESS(C, superName),
    ZVK_NUMBER(C, dataSize),
    ZVK_NUMBER(C, dataOffset),
    ZVK_ADDRESS(C, constructor),
    ZVK_ADDRESS(C, destructor),
    ZVK_ADDRESS(C, properties),
    ZVK_NUMBER(C, propertyCount),
    ZVK_ADDRESS(C, methods),
    ZVK_NUMBER(C, methodCount),
    {kReserved, true},
    {kReserved + sizeof(void*), true},
    {kReserved + 2 * sizeof(void*), true},
    {kReserved + 3 * sizeof(void*), true},
    {kReserved + 4 * sizeof(void*), true},
    {kReserved + 5 * sizeof(void*), true},
    {kReserved + 6 * sizeof(void*), true},
    {kReserved + 7 * sizeof(void*), true},
    {kReserved + 8 * sizeof(void*), true},
    ZVK_NUMBER(C, flags),
    ZVK_ADDRESS(C, sharedProperties),
    ZVK_NUMBER(C, sharedPropertyCount),
    ZVK_ADDRESS(C, sharedMethods),
    ZVK_NUMBER(C, sharedMethodCount),
};
using M = REALmethodDefinition;
const std::vector<Word> kMethodWords = {ZVK_ADDRESS(M, routine), ZVK_ADDRESS(M, setter),
                                        ZVK_ADDRESS(M, declaration), ZVK_NUMBER(M, flags)};
using P = REALpropertyDefinition;
const std::vector<Word> kPropertyWords = {
    ZVK_ADDRESS(P, group),
    ZVK_ADDRESS(P, name),
    ZVK_ADDRESS(P, type),
    ZVK_NUMBER(P, flags),
    ZVK_ADDRESS(P, getter),
    ZVK_ADDRESS(P, setter),
    ZVK_NUMBER(P, parameter),
    {offsetof(P, reserved), false},
    {offsetof(P, reserved) + 4, false},
    {offsetof(P, reserved) + 8, false},
};

/// One record as its words.
class Words {
 public:
  Words(const void* record, const std::vector<Word>& layout) {
    const auto* bytes = static_cast<const uint8_t*>(record);
    for (size_t i = 0; i < layout.size(); ++i) {
      // In a 32-bit host the words follow each other without gaps.
      const size_t position = kThirtyTwoBits ? 4 * i : layout[i].position;
      uintptr_t value = 0;
      memcpy(&value, bytes + position, layout[i].isAddress ? sizeof value : 4);
      words_.push_back(value);
    }
  }
  uintptr_t operator[](size_t index) const { return words_[index]; }
  std::string text(size_t index) const {
    const auto* string = reinterpret_cast<const char*>(words_[index]);
    return string ? string : "-";
  }
  std::string zeros(size_t first, size_t last) const {
    for (size_t i = first; i <= last; ++i) {
      if (words_[i] != 0) return "word " + std::to_string(i) + " is not 0";
    }
    return "zeros";
  }

 private:
  std::vector<uintptr_t> words_;
};

/// Names routines: exported ones by their name, others in the order in which they turn up.
class RoutineNames {
 public:
  std::string operator()(uintptr_t address) {
    if (address == 0) return "-";
    if (address == ~uintptr_t{0}) return "host";
    Dl_info info;
    const auto* pointer = reinterpret_cast<const void*>(address);
    if (dladdr(pointer, &info) != 0 && info.dli_saddr == pointer) return demangled(info.dli_sname);
    const auto next = "internal" + std::to_string(internal_.size() + 1);
    return internal_.emplace(address, next).first->second;
  }

 private:
  static std::string demangled(const char* symbol) {
    char* text = abi::__cxa_demangle(symbol, nullptr, nullptr, nullptr);
    std::string name = text ? text : symbol;
    free(text);
    return name.substr(0, name.find('('));
  }

  std::map<uintptr_t, std::string> internal_;
};

// --- The listing of all records -----------------------------------------------------------------

class Listing {
 public:
  void add(const REALclassDefinition* record) {
    const Words w(record, kClassWords);
    out_ << "class " << w.text(1) << " version " << w[0] << " super " << w.text(2) << " data "
         << w[3] << " flags " << w[20] << " constructor " << name_(w[5]) << " destructor "
         << name_(w[6]) << " properties " << w[8] << " methods " << w[10] << ", " << w.zeros(11, 19)
         << ", " << w.zeros(21, 24) << "\n";
    for (uintptr_t i = 0; i < w[8]; ++i) addProperty(w[7], i);
    for (uintptr_t i = 0; i < w[10]; ++i) {
      addMethod(reinterpret_cast<const REALmethodDefinition*>(w[9]) + i);
    }
  }

  void addMethod(const REALmethodDefinition* record) {
    const Words w(record, kMethodWords);
    out_ << std::hex << w[3] << std::dec << " " << name_(w[0]) << " " << name_(w[1]) << " "
         << w.text(2) << "\n";
  }

  std::string text() const { return out_.str(); }

 private:
  void addProperty(uintptr_t list, uintptr_t index) {
    const Words w(reinterpret_cast<const REALpropertyDefinition*>(list) + index, kPropertyWords);
    out_ << std::hex << w[3] << std::dec << " property " << w.text(1) << " " << w.text(2) << " "
         << name_(w[4]) << " " << name_(w[5]) << " " << w[6] << ", group " << w[0] << ", "
         << w.zeros(7, 9) << "\n";
  }

  std::ostringstream out_;
  RoutineNames name_;
};

std::string listing(const host::Host::Registrations& registered) {
  Listing list;
  for (const auto* record : registered.classes) list.add(record);
  for (const auto* record : registered.extensions) list.add(record);
  for (const auto* record : registered.methods) list.addMethod(record);
  return list.text();
}

TEST(Registration, RecordsHoldExactlyTheDeclarations) {
  if (kThirtyTwoBits) {
    for (const auto* layout : {&kClassWords, &kMethodWords, &kPropertyWords}) {
      for (size_t i = 0; i < layout->size(); ++i) ASSERT_EQ((*layout)[i].position, 4 * i);
    }
    ASSERT_EQ(kClassWords.size() * 4, sizeof(REALclassDefinition));
  }
  host::Settings settings;
  settings.version = std::nullopt;  // flags arrive as declared
  const PluginHost setup(settings);
  EXPECT_TRUE(setup.plugin.faults().empty());

  const std::string file = kThirtyTwoBits ? "/declarations-32.txt" : "/declarations-64.txt";
  std::ifstream expected(ZVK_TEST_DATA + file);
  std::ostringstream text;
  text << expected.rdbuf();
  EXPECT_EQ(listing(setup.host.registrations), text.str());
}

// --- Start-up -----------------------------------------------------------------------------------

std::vector<std::string> startUpCalls(const host::Host& host) {
  std::vector<std::string> calls;
  for (const std::string& call : host.callTexts()) {
    // Records are no handles; which one it was shows in the order of registrations.
    calls.push_back(call.substr(0, call.find("(address")));
  }
  return calls;
}

std::vector<std::string> registeredNames(const host::Host& host) {
  std::vector<std::string> names;
  for (const auto* record : host.registrations.classes) names.emplace_back(record->name);
  for (const auto* record : host.registrations.extensions) names.emplace_back(record->name);
  for (const auto* record : host.registrations.methods) {
    names.emplace_back(grammar::parse(record->declaration)->name);
  }
  return names;
}

const std::vector<std::string> kNames = {
    "PictureSepiaZVK",          "PictureLut3DZVK",          "Picture",
    "BinaryStringtoPictureZVK", "PicturetoBinaryStringZVK", "CombinePicturesZVK",
    "MergePictureZVK",          "TintPictureZVK",           "RenderSamplesZVK"};

TEST(Registration, HappensInOrder) {
  ProbeHost setup{host::Settings{}};
  const std::string method = "PluginRegisterMethod";
  EXPECT_THAT(startUpCalls(setup.host),
              testing::ElementsAre("RegisterPluginVersion(9)", "REALGetRBVersion() = 2019.02",
                                   "PluginRegisterClass", "PluginRegisterClass",
                                   "PluginRegisterClassExtension", method, method, method, method,
                                   method, method));
  EXPECT_EQ(registeredNames(setup.host), kNames);
  EXPECT_EQ(*setup.probe.state.hostVersion, 2019.02);
  EXPECT_FALSE(*setup.probe.state.isConsole || *setup.probe.state.isDesktop)
      << "start-up does not find out what kind of application runs";
}

TEST(Registration, GoesOnPastMissingServices) {
  const struct {
    const char* service;
    size_t first, last;  ///< names that are not registered
  } cases[] = {{"RegisterPluginVersion", 0, 0},
               {"REALGetRBVersion", 0, 0},
               {"PluginRegisterClass", 0, 2},
               {"PluginRegisterClassExtension", 2, 3},
               {"PluginRegisterMethod", 3, 9}};
  for (const auto& c : cases) {
    host::Host host;
    host.withhold(c.service);
    const host::Plugin plugin(ZVK_PROBE_FILE);
    std::vector<std::string> names = kNames;
    names.erase(names.begin() + static_cast<long>(c.first),
                names.begin() + static_cast<long>(c.last));
    EXPECT_EQ(registeredNames(host), names) << c.service;
    const bool versionKnown = std::string_view(c.service) != "REALGetRBVersion";
    EXPECT_EQ(*probeOf(plugin).state.hostVersion, versionKnown ? 2019.02 : 0.0);
  }
}

std::vector<int32_t> memberFlags(const host::Host::Registrations& registered) {
  std::vector<int32_t> flags;
  const auto addClass = [&](const REALclassDefinition& record) {
    for (int i = 0; i < record.methodCount; ++i) flags.push_back(record.methods[i].flags);
    for (int i = 0; i < record.propertyCount; ++i) flags.push_back(record.properties[i].flags);
  };
  for (const auto* record : registered.classes) addClass(*record);
  for (const auto* record : registered.extensions) addClass(*record);
  for (const auto* record : registered.methods) flags.push_back(record->flags);
  return flags;
}

TEST(Registration, MapsMarkersFromHostVersion2010_029On) {
  constexpr double kFirst = 2010.029;
  const struct {
    std::optional<double> version;
    bool maps;
  } cases[] = {{std::nullopt, false},
               {2010.028, false},
               {std::nextafter(kFirst, 0.0), false},
               {kFirst, true},
               {2012.0, true},
               {std::numeric_limits<double>::infinity(), true},
               {std::numeric_limits<double>::quiet_NaN(), false}};
  for (const auto& c : cases) {
    host::Settings settings;
    settings.version = c.version;
    const PluginHost setup(settings);
    int marked = 0;
    for (const int32_t flags : memberFlags(setup.host.registrations)) {
      ASSERT_TRUE(flags == 0 || flags == (c.maps ? 0x40004 : 0x40000)) << flags;
      if (flags != 0) ++marked;
    }
    EXPECT_EQ(marked, 9 + 29 + 6);  // the second class's members, Picture's, the global ones
    EXPECT_EQ(setup.host.registrations.classes[0]->flags, 0);
    EXPECT_EQ(setup.host.registrations.classes[1]->flags, 4);
    EXPECT_EQ(setup.host.registrations.extensions[0]->flags, 4);
  }
}

// --- Helpers of start-up ------------------------------------------------------------------------

constexpr int32_t kBoth = 0xC0000;

TEST(StartUpHelpers, FixTheFlagsOfEveryKindOfRecord) {
  ProbeHost setup{host::Settings{}};
  const Probe::StartUp& startUp = setup.probe.startUp;
  REALmethodDefinition methods[3] = {
      {nullptr, nullptr, "a", 0x40000}, {nullptr, nullptr, "b", kBoth}, {nullptr, nullptr, "c", 3}};
  startUp.fixMethod(methods);
  EXPECT_EQ(methods[0].flags, 0x40004);
  EXPECT_EQ(methods[1].flags, kBoth);
  startUp.fixMethods(methods, 0);
  startUp.fixMethods(methods, -1);
  startUp.fixMethods(nullptr, 3);
  startUp.fixMethod(nullptr);
  startUp.fixClass(nullptr);
  startUp.fixModule(nullptr);
  EXPECT_EQ(methods[1].flags, kBoth);
  startUp.fixMethods(methods, 2);
  EXPECT_EQ(methods[1].flags, kBoth | 4 | 8);
  startUp.fixMethods(methods, 3);
  EXPECT_EQ(methods[2].flags, 3) << "no marker, no change";

  const auto fresh = [](auto& records) {
    for (auto& record : records) record.flags = 0x80000;
  };
  REALpropertyDefinition properties[2] = {};
  REALmethodDefinition shared[2] = {};
  REALpropertyDefinition sharedProperties[2] = {};
  fresh(methods);
  fresh(properties);
  fresh(shared);
  fresh(sharedProperties);
  REALclassDefinition record = {.properties = properties,
                                .propertyCount = 1,
                                .methods = methods,
                                .methodCount = 2,
                                .flags = 0x40000,
                                .sharedProperties = sharedProperties,
                                .sharedPropertyCount = 1,
                                .sharedMethods = shared,
                                .sharedMethodCount = 1};
  startUp.fixClass(&record);
  EXPECT_EQ(record.flags, 0x40004);
  EXPECT_EQ(methods[1].flags, 0x80008);
  EXPECT_EQ(methods[2].flags, 0x80000);
  EXPECT_EQ(properties[0].flags, 0x80008);
  EXPECT_EQ(properties[1].flags, 0x80000);
  EXPECT_EQ(shared[0].flags, 0x80008);
  EXPECT_EQ(sharedProperties[0].flags, 0x80008);
  EXPECT_EQ(shared[1].flags | sharedProperties[1].flags, 0x80000);

  fresh(methods);
  fresh(properties);
  REALmoduleDefinition module = {
      .methods = methods, .methodCount = 3, .properties = properties, .propertyCount = 2};
  startUp.fixModule(&module);
  EXPECT_EQ(methods[2].flags, 0x80008);
  EXPECT_EQ(properties[1].flags, 0x80008);

  *setup.probe.state.hostVersion = 2010.028;
  fresh(methods);
  startUp.fixModule(&module);
  EXPECT_EQ(methods[0].flags, 0x80000);
}

TEST(StartUpHelpers, SetClassFlags) {
  ProbeHost setup{host::Settings{}};
  REALclassDefinition record = {.flags = 0x1009};
  setup.probe.startUp.setConsoleSafe(&record);
  EXPECT_EQ(record.flags, 0x100D);
  setup.probe.startUp.setWebOnly(&record);
  EXPECT_EQ(record.flags, 0x1105);
}

TEST(StartUpHelpers, RoundDataSizesUp) {
  ProbeHost setup{host::Settings{}};
  const std::pair<int32_t, int32_t> cases[] = {{0, 0},   {1, 16},  {16, 16},
                                               {17, 32}, {64, 64}, {139992, 140000}};
  for (const auto& [declared, registered] : cases) {
    REALclassDefinition record = {.name = "Thing", .dataSize = declared};
    setup.probe.startUp.registerClass(&record);
    EXPECT_EQ(record.dataSize, registered);
    EXPECT_EQ(setup.host.registrations.classes.back(), &record);
    struct {
      int32_t version;
      const char* name;
      int32_t dataSize;
    } control = {9, "Control", declared};
    setup.probe.startUp.registerControl(reinterpret_cast<REALcontrol*>(&control));
    EXPECT_EQ(control.dataSize, registered);
  }
  EXPECT_TRUE(*setup.probe.state.hasControls);
  EXPECT_EQ(setup.host.registrations.controls.size(), std::size(cases));

  REALclassDefinition extension = {.name = "Picture", .dataSize = 1};
  setup.probe.startUp.registerClassExtension(&extension);
  EXPECT_EQ(extension.dataSize, 1);
}

TEST(StartUpHelpers, AskTheResolverWithoutACache) {
  ProbeHost setup{host::Settings{}};
  EXPECT_NE(setup.probe.startUp.resolve("newPicture"), nullptr);
  setup.host.withhold("newPicture");
  EXPECT_EQ(setup.probe.startUp.resolve("newPicture"), nullptr);
}

// A host that knows application classes as the test says; real ones know one kind only.
class ApplicationHost {
 public:
  static inline std::vector<std::string> known, asked;

  static void* resolve(const char* name) {
    const bool isLookUp = std::string_view(name) == "pluginObjectType";
    return isLookUp ? reinterpret_cast<void*>(&classReference) : nullptr;
  }

 private:
  static REALclassRefStruct* classReference(const char* name) {
    asked.emplace_back(name);
    for (std::string& each : known) {
      if (each == name) return reinterpret_cast<REALclassRefStruct*>(&each);
    }
    return nullptr;
  }
};

TEST(StartUpHelpers, CheckApplicationPrefersDesktop) {
  const struct {
    std::vector<std::string> known;
    bool desktop, console;
  } cases[] = {{{"Application", "ConsoleApplication"}, true, false},
               {{"Application"}, true, false},
               {{"ConsoleApplication"}, false, true},
               {{"WebApplication"}, false, true},
               {{}, false, false}};
  for (const auto& c : cases) {
    void* library = dlopen(ZVK_PROBE_FILE, RTLD_NOW | RTLD_LOCAL);
    const auto& probe = *static_cast<const Probe*>(dlsym(library, "zvkProbe"));
    *probe.state.resolver = &ApplicationHost::resolve;
    ApplicationHost::known = c.known;
    ApplicationHost::asked.clear();
    probe.startUp.checkApplication();
    EXPECT_EQ(*probe.state.isDesktop != 0, c.desktop);
    EXPECT_EQ(*probe.state.isConsole != 0, c.console);
    EXPECT_THAT(ApplicationHost::asked,
                testing::ElementsAre("Application", "WebApplication", "ConsoleApplication"));
    ApplicationHost::known.clear();
    probe.startUp.checkApplication();
    EXPECT_EQ(*probe.state.isDesktop != 0, c.desktop) << "flags are never cleared";
    EXPECT_EQ(*probe.state.isConsole != 0, c.console) << "flags are never cleared";
    dlclose(library);
  }
}

}  // namespace
