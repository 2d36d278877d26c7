#include "plugin/Registration.h"

#include "Support.h"
#include "frame/HostCall.h"
#include "frame/HostState.h"

namespace {

using namespace test;

constexpr int32_t kMarks = kMarkConsoleSafe | kMarkHostBit8, kFixed = kMarks | 0xC;

template <typename Record>
std::vector<Record> marked() {
  std::vector<Record> records(5);
  for (Record& record : records) record.flags = kMarks;
  return records;
}

/// How many records have got their bits.
template <typename Record>
int fixedOf(const std::vector<Record>& records) {
  return static_cast<int>(std::count_if(
      records.begin(), records.end(), [](const Record& record) { return record.flags == kFixed; }));
}

// Each list has a length of its own.
TEST(StartUpHelpers, FixTheFlagsOfEveryKindOfRecord) {
  for (const double version : {2010.028, 2010.029}) {
    rbversion = version;
    const int fixes = version > 2010.028 ? 1 : 0;
    auto methods = marked<REALmethodDefinition>(), shared = methods, single = methods,
         several = methods, ofModule = methods;
    auto properties = marked<REALpropertyDefinition>(), sharedProperties = properties,
         moduleProperties = properties;
    FixConsoleFlags(single.data());
    for (const HostLong count : {0, -1, 4}) FixConsoleFlags(several.data(), count);
    REALclassDefinition record = {.properties = properties.data(),
                                  .propertyCount = 1,
                                  .methods = methods.data(),
                                  .methodCount = 2,
                                  .flags = kMarkConsoleSafe,
                                  .sharedProperties = sharedProperties.data(),
                                  .sharedPropertyCount = 3,
                                  .sharedMethods = shared.data(),
                                  .sharedMethodCount = 4};
    FixConsoleFlags(&record);
    REALmoduleDefinition module = {.methods = ofModule.data(),
                                   .methodCount = 3,
                                   .properties = moduleProperties.data(),
                                   .propertyCount = 4};
    FixConsoleFlags(&module);
    EXPECT_EQ(record.flags, kMarkConsoleSafe + 4 * fixes);
    const int found[] = {fixedOf(single),   fixedOf(several),          fixedOf(properties),
                         fixedOf(methods),  fixedOf(sharedProperties), fixedOf(shared),
                         fixedOf(ofModule), fixedOf(moduleProperties)};
    EXPECT_THAT(found, testing::ElementsAre(fixes, 4 * fixes, fixes, 2 * fixes, 3 * fixes,
                                            4 * fixes, 3 * fixes, 4 * fixes));
  }
  FixConsoleFlags(nullptr, 3);
  FixConsoleFlags(static_cast<REALmethodDefinition*>(nullptr));
  FixConsoleFlags(static_cast<REALclassDefinition*>(nullptr));
  FixConsoleFlags(static_cast<REALmoduleDefinition*>(nullptr));

  REALclassDefinition record = {.flags = 0x1009};
  SetClassConsoleSafe(&record);
  EXPECT_EQ(record.flags, 0x100D);
  SetClassWebOnly(&record);
  EXPECT_EQ(record.flags, 0x1105);
}

TEST(StartUpHelpers, RoundDataSizesUp) {
  LinkedHost setup{host::Settings{}};
  const std::pair<int32_t, int32_t> cases[] = {{0, 0},   {1, 16},  {16, 16},
                                               {17, 32}, {64, 64}, {139992, 140000}};
  for (const auto& [declared, registered] : cases) {
    REALclassDefinition record = {.name = "Thing", .dataSize = declared};
    MyREALRegisterClass(&record);
    EXPECT_EQ(record.dataSize, registered);
    EXPECT_EQ(setup.host.registrations.classes.back(), &record);
    struct {
      int32_t version;
      const char* name;
      int32_t dataSize;
    } control = {9, "Control", declared};
    MyREALRegisterControl(reinterpret_cast<REALcontrol*>(&control));
    EXPECT_EQ(control.dataSize, registered);
  }
  EXPECT_TRUE(gHasControls);
  EXPECT_EQ(setup.host.registrations.controls.size(), std::size(cases));

  REALclassDefinition extension = {.name = "Picture", .dataSize = 1};
  MyREALRegisterClassExtension(&extension);
  EXPECT_EQ(extension.dataSize, 1);
}

// A host that knows application classes as the test says; real ones know one kind only.
std::string knownClasses;
REALclassRefStruct* classReference(const char* name) {
  const bool known = knownClasses.find("," + std::string(name)) != std::string::npos;
  return known ? reinterpret_cast<REALclassRefStruct*>(&knownClasses) : nullptr;
}

TEST(StartUpHelpers, CheckApplicationPrefersDesktop) {
  gResolver = [](const char* name) {
    const bool isLookUp = std::string_view(name) == "pluginObjectType";
    return isLookUp ? reinterpret_cast<void*>(&classReference) : nullptr;
  };
  const struct {
    const char* known;
    bool desktop, console;
  } cases[] = {{",ConsoleApplication,Application", true, false},
               {",ConsoleApplication", false, true},
               {",WebApplication", false, true},
               {"", false, false}};
  for (const auto& c : cases) {
    IsDesktop = IsConsole = false;
    // Flags are never cleared.
    for (const char* known : {c.known, ""}) {
      knownClasses = known;
      CheckApplication();
      EXPECT_TRUE(IsDesktop == c.desktop && IsConsole == c.console) << c.known;
    }
  }
}

}  // namespace
