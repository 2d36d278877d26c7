// Every declared method on hosts in which something is missing or fails: nothing crashes, nothing
// stays held, and what comes back is nil or right.
#include <set>

#include "Allocations.h"
#include "EveryMethod.h"
#include "Support.h"

namespace {

using namespace test;

/// Pictures in drawables take their time, so only some methods are tried on them.
std::vector<DeclaredCall> calls(const PluginHost& setup) {
  std::vector<DeclaredCall> all = everyCall(setup.plugin, setup.options, 5, 3, 11);
  if (setup.options.storage != host::Storage::kDrawable) return all;
  const std::set<std::string_view> some = {"InvertZVK", "MergePictureZVK", "FindPicture",
                                           "RenderSamplesZVK", "Run"};
  std::vector<DeclaredCall> result;
  for (DeclaredCall& call : all) {
    if (some.count(call.method->name())) result.push_back(std::move(call));
  }
  return result;
}

/// Methods whose result is either nil or the same as ever: all their services are needed.
bool isExact(const DeclaredCall& call) {
  const std::string_view name = call.method->name();
  return name.substr(0, 6) == "Change" || name.substr(0, 6) == "Invert";
}

class FailingHostTest : public LayoutTest {};

TEST_P(FailingHostTest, EachCallOfEachServiceFails) {
  PluginHost setup(GetParam().options);
  setup.host.settings.logging = false;
  int failures = 0;
  for (const DeclaredCall& call : calls(setup)) {
    std::map<std::string_view, int> before;
    for (const std::string_view name : host::Host::serviceNames()) {
      before[name] = setup.host.callCount(name);
    }
    const host::PictureRef expected = make(setup.plugin, call).value;
    std::map<std::string_view, int> used;
    for (const auto& [name, count] : before) {
      if (host::Host::canFail(name)) used[name] = std::min(setup.host.callCount(name) - count, 6);
    }
    for (const auto& [name, count] : used) {
      for (int n = 1; n <= count; ++n) {
        setup.host.failCall(name, n);
        const host::PictureRef result = make(setup.plugin, call).value;
        setup.host.restore(name);
        ++failures;
        ASSERT_TRUE(setup.host.accounts().empty()) << call.text() << ", call " << n << " of "
                                                   << name << ": " << setup.host.accounts().front();
        if (result && isExact(call)) {
          ASSERT_EQ(colors(result), colors(expected)) << call.text() << ", " << name;
        }
      }
    }
  }
  EXPECT_GT(failures, 20);
}

TEST_P(FailingHostTest, EachServiceIsMissing) {
  // Without these no host could keep accounts; only survival counts.
  const std::set<std::string_view> bookkeeping = {"REALLockObject", "REALUnlockObject",
                                                  "REALLockString", "REALUnlockString",
                                                  "unlockPictureDescription"};
  std::set<std::string_view> used;
  {
    PluginHost setup(GetParam().options);
    for (const DeclaredCall& call : calls(setup)) make(setup.plugin, call);
    for (const std::string_view name : host::Host::serviceNames()) {
      if (setup.host.resolutions(name) > 0) used.insert(name);
    }
  }
  EXPECT_GT(used.size(), 12u);
  for (const std::string_view name : used) {
    host::Settings settings = host::Settings::forStorage(GetParam().options.storage);
    settings.logging = false;
    // A host that reports no version keeps locks like the oldest ones.
    if (name == "REALGetRBVersion") settings.version.reset();
    host::Host host(settings);
    host.withhold(name);
    const host::Plugin plugin(pluginFile());
    // What the bookkeeping leaves in pieces must not be taken down with the rest.
    for (const DeclaredCall& call : everyCall(plugin, GetParam().options, 5, 3, 11)) {
      if (GetParam().options.storage == host::Storage::kDrawable && !isExact(call)) continue;
      make(plugin, call);
    }
    if (bookkeeping.count(name) == 0) {
      ASSERT_THAT(host.accounts(), testing::IsEmpty()) << "without " << name;
    }
  }
}

TEST_P(FailingHostTest, EachAllocationFails) {
  if (!kAllocationsAreCounted) GTEST_SKIP() << "the sanitizer has an allocator of its own";
  PluginHost setup(GetParam().options);
  setup.host.settings.logging = false;
  int allocations = 0;
  for (const DeclaredCall& call : calls(setup)) {
    int count = 1;
    for (int failing = 0; failing <= count; ++failing) {
      const AllocationAccounts memory(setup.plugin, failing);
      make(setup.plugin, call);
      if (failing == 0) count = memory.made();
      allocations += memory.made();
      ASSERT_EQ(memory.outstanding() - (failing != 0 && memory.made() >= failing ? 1 : 0), 0)
          << call.text() << " keeps memory";
      ASSERT_TRUE(setup.host.accounts().empty())
          << call.text() << ", allocation " << failing << ": " << setup.host.accounts().front();
    }
  }
  if (GetParam().options.storage == host::Storage::kDrawable) {
    EXPECT_GT(allocations, 0) << "buffer writers allocate";
  }
}

TEST_P(FailingHostTest, NoPictureCanBeMade) {
  PluginHost setup(GetParam().options);
  for (const DeclaredCall& call : everyCall(setup.plugin, setup.options, 6, 5, 3)) {
    if (call.method->declaration.result != grammar::Type::kPicture) continue;
    constexpr const char* kMakers[] = {"newPicture", "PluginNewInstance",
                                       "REALBuildPictureFromBuffer"};
    for (const char* maker : kMakers) setup.host.failFrom(maker);
    EXPECT_TRUE(make(setup.plugin, call).value.isNil()) << call.text();
    for (const char* maker : kMakers) setup.host.restore(maker);
  }
}

TEST_P(FailingHostTest, ArgumentsAreNil) {
  PluginHost setup(GetParam().options);
  for (const DeclaredCall& whole : everyCall(setup.plugin, setup.options, 6, 5, 3)) {
    if (whole.method->kind == host::Method::Kind::kClass) continue;
    // The place 0 is the picture itself.
    for (size_t place = 0; place <= whole.arguments.size(); ++place) {
      DeclaredCall call = whole;
      host::Value& value = place == 0 ? call.self : call.arguments[place - 1];
      if (!value.isObject() && !value.isString()) continue;
      value = nullptr;
      make(setup.plugin, call);
      ASSERT_THAT(setup.host.accounts(), testing::IsEmpty()) << call.text() << ", " << place;
    }
  }
}

// The table of a host's pixel record may lack rows.
TEST(RowTableTest, StandsMissingRows) {
  PluginHost setup({.storage = host::Storage::kRecord, .scatteredRows = true});
  for (const DeclaredCall& call : everyCall(setup.plugin, setup.options, 6, 5, 3)) {
    if (call.method->kind != host::Method::Kind::kPicture) continue;
    for (const size_t y : {0, 2, 4}) {
      uint8_t*& row = call.self.picture()->record()->rowStarts[y];
      uint8_t* const kept = std::exchange(row, nullptr);
      make(setup.plugin, call);
      row = kept;
    }
  }
}

ZVK_ALL_LAYOUTS(FailingHostTest);

}  // namespace
