#include <dlfcn.h>

#include <array>
#include <cmath>
#include <limits>

#include "ProbeHost.h"

namespace {

using namespace test;

// --- Start-up -----------------------------------------------------------------------------------

// Records are no handles; which one it was shows in the order of registrations.
std::vector<std::string> startUpCalls(const host::Host& host) {
  std::vector<std::string> calls;
  for (const std::string& call : host.callTexts()) {
    calls.push_back(call.substr(0, call.find("(address")));
  }
  return calls;
}

TEST(Registration, HappensInOrder) {
  ProbeHost setup{host::Settings{}};
  const auto& registered = setup.host.registrations;
  std::vector<std::string> expected = {"RegisterPluginVersion(9)", "REALGetRBVersion() = 2019.02"};
  expected.insert(expected.end(), registered.classes.size(), "PluginRegisterClass");
  expected.insert(expected.end(), registered.extensions.size(), "PluginRegisterClassExtension");
  expected.insert(expected.end(), registered.methods.size(), "PluginRegisterMethod");
  EXPECT_EQ(startUpCalls(setup.host), expected);
  EXPECT_EQ(*setup.probe.state.hostVersion, 2019.02);
  EXPECT_FALSE(*setup.probe.state.isConsole || *setup.probe.state.isDesktop)
      << "start-up does not find out what kind of application runs";
}

TEST(Registration, GoesOnPastMissingServices) {
  // How many records of each kind arrive in a host without the service; all of them without "".
  const auto counts = [](const char* missing) {
    host::Host host;
    if (*missing != '\0') host.withhold(missing);
    const host::Plugin plugin(ZVK_PROBE_FILE);
    const bool versionKnown = std::string_view(missing) != "REALGetRBVersion";
    EXPECT_EQ(*probeOf(plugin).state.hostVersion, versionKnown ? 2019.02 : 0.0);
    const auto& registered = host.registrations;
    return std::array{registered.classes.size(), registered.extensions.size(),
                      registered.methods.size()};
  };
  const auto all = counts("");
  for (const size_t count : all) EXPECT_GT(count, 0U);
  const struct {
    const char* service;
    size_t kind;  ///< what is not registered; 3 for nothing
  } cases[] = {{"RegisterPluginVersion", 3},
               {"REALGetRBVersion", 3},
               {"PluginRegisterClass", 0},
               {"PluginRegisterClassExtension", 1},
               {"PluginRegisterMethod", 2}};
  for (const auto& c : cases) {
    auto expected = all;
    if (c.kind < expected.size()) expected[c.kind] = 0;
    EXPECT_EQ(counts(c.service), expected) << c.service;
  }
}

std::vector<int32_t> flagsOf(std::optional<double> hostVersion) {
  host::Settings settings;
  settings.version = hostVersion;
  const PluginHost setup(settings);
  const host::Host::Registrations& registered = setup.host.registrations;
  std::vector<int32_t> flags;
  const auto addClass = [&](const REALclassDefinition& record) {
    flags.push_back(record.flags);
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
  } cases[] = {{2010.028, false},
               {std::nextafter(kFirst, 0.0), false},
               {kFirst, true},
               {2012.0, true},
               {std::numeric_limits<double>::infinity(), true},
               {std::numeric_limits<double>::quiet_NaN(), false}};
  for (const auto& c : cases) {
    std::vector<int32_t> expected = flagsOf(std::nullopt);
    for (int32_t& flags : expected) {
      if (c.maps && (flags & 0x40000) != 0) flags |= 4;
    }
    EXPECT_EQ(flagsOf(c.version), expected) << c.version.value_or(0);
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
