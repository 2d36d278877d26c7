#include "plugin/Registration.h"

#include <array>

#include "Support.h"
#include "frame/HostCall.h"
#include "frame/HostState.h"

namespace {

using namespace test;

/// Records that are marked for both bits.
template <typename Record>
std::array<Record, 5> marked() {
  std::array<Record, 5> records{};
  for (Record& record : records) record.flags = kMarkConsoleSafe | kMarkHostBit8;
  return records;
}

/// How many records have got their bits, from the first one on.
template <typename Record>
int fixedOf(const std::array<Record, 5>& records) {
  int fixed = 0;
  for (const Record& record : records) {
    EXPECT_EQ(record.flags & ~0xC, kMarkConsoleSafe | kMarkHostBit8);
    if (fixed == &record - records.data() && (record.flags & 0xC) == 0xC) ++fixed;
  }
  return fixed;
}

// Each list has a length of its own.
TEST(StartUpHelpers, FixTheFlagsOfEveryKindOfRecord) {
  LinkedHost setup{host::Settings{}};
  for (const double version : {2010.028, 2010.029}) {
    rbversion = version;
    const int fixes = version > 2010.028 ? 1 : 0;
    auto methods = marked<REALmethodDefinition>(), shared = methods, single = methods,
         several = methods, ofModule = methods;
    auto properties = marked<REALpropertyDefinition>(), sharedProperties = properties,
         moduleProperties = properties;
    FixConsoleFlags(single.data());
    FixConsoleFlags(several.data(), 0);
    FixConsoleFlags(several.data(), -1);
    FixConsoleFlags(several.data(), 4);
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
    const std::array found = {fixedOf(single),   fixedOf(several),          fixedOf(properties),
                              fixedOf(methods),  fixedOf(sharedProperties), fixedOf(shared),
                              fixedOf(ofModule), fixedOf(moduleProperties)};
    EXPECT_THAT(found, testing::ElementsAre(fixes, 4 * fixes, fixes, 2 * fixes, 3 * fixes,
                                            4 * fixes, 3 * fixes, 4 * fixes));
  }
  FixConsoleFlags(nullptr, 3);
  FixConsoleFlags(static_cast<REALmethodDefinition*>(nullptr));
  FixConsoleFlags(static_cast<REALclassDefinition*>(nullptr));
  FixConsoleFlags(static_cast<REALmoduleDefinition*>(nullptr));
}

TEST(StartUpHelpers, SetClassFlags) {
  LinkedHost setup{host::Settings{}};
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
std::vector<std::string> knownClasses;
REALclassRefStruct* classReference(const char* name) {
  const bool known =
      std::find(knownClasses.begin(), knownClasses.end(), name) != knownClasses.end();
  return known ? reinterpret_cast<REALclassRefStruct*>(&knownClasses) : nullptr;
}
void* resolveClasses(const char* name) {
  const bool isLookUp = std::string_view(name) == "pluginObjectType";
  return isLookUp ? reinterpret_cast<void*>(&classReference) : nullptr;
}

TEST(StartUpHelpers, CheckApplicationPrefersDesktop) {
  const struct {
    std::vector<std::string> known;
    bool desktop, console;
  } cases[] = {{{"ConsoleApplication", "Application"}, true, false},
               {{"ConsoleApplication"}, false, true},
               {{"WebApplication"}, false, true},
               {{}, false, false}};
  gResolver = &resolveClasses;
  for (const auto& c : cases) {
    IsDesktop = IsConsole = false;
    // Flags are never cleared.
    for (const auto& known : {c.known, std::vector<std::string>()}) {
      knownClasses = known;
      CheckApplication();
      EXPECT_EQ(IsDesktop != 0, c.desktop);
      EXPECT_EQ(IsConsole != 0, c.console);
    }
  }
}

}  // namespace
