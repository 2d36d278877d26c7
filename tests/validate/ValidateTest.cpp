// zvk validate notices, check by check, the fault that it is there for, and none where there is
// none.
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/objects/Memory.h"
#include "zvk/ToolTest.h"

namespace {

using namespace test;
using Json = nlohmann::json;

class ValidateTest : public ToolTest {
 protected:
  void SetUp() override {
#if defined(ZVK_SANITIZED)
    GTEST_SKIP() << "sanitizers have an allocator, exports and last words of their own";
#endif
  }
  void TearDown() override { unsetenv("ZVK_FAULT"); }

  /// What the tool finds out; with a fault of the misbehaving plug-in.
  Json validate(const std::string& arguments, const std::string& fault = "") {
    setenv("ZVK_FAULT", fault.c_str(), 1);
    const Outcome outcome = run("validate --json --time 1 " + arguments);
    const Json report = Json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(report.is_discarded()) << outcome.out << outcome.error;
    if (report.is_discarded()) return {{"failed", -1}, {"checks", Json::array()}};
    EXPECT_EQ(outcome.status, report["failed"] == 0 ? 0 : 1) << outcome.error;
    return report;
  }

  /// Checks of the topic that have a case here.
  std::vector<std::string> checksOf(const std::string& topic) {
    std::vector<std::string> ids;
    const Json report = validate("'" ZVK_MISBEHAVING_FILE "' --only '" + topic + ".*'");
    for (const Json& check : report["checks"]) {
      EXPECT_NE(check["status"], "failed") << check << " though nothing is wrong";
      if (check["status"] == "passed") ids.push_back(check["id"]);
    }
    return ids;
  }
};

class ValidateTopicTest : public ValidateTest, public testing::WithParamInterface<const char*> {};

TEST_P(ValidateTopicTest, NoticesTheFaultOfEachCheck) {
  const std::vector<std::string> ids = checksOf(GetParam());
  EXPECT_GE(ids.size(), 3u);
  for (const std::string& id : ids) {
    if (id == "load.opens") continue;  // a damaged file, see below
    const Json report = validate("'" ZVK_MISBEHAVING_FILE "' --limit 1 --only " + id, id);
    EXPECT_EQ(report["failed"], 1) << id << " misses its fault";
  }
}

TEST_F(ValidateTest, NoticesFurtherFaults) {
  for (const std::string fault :
       {"faults.missing/exception", "faults.blocks/short", "faults.once/other"}) {
    const std::string id = fault.substr(0, fault.find('/'));
    const Json report = validate("'" ZVK_MISBEHAVING_FILE "' --limit 1 --only " + id, fault);
    EXPECT_EQ(report["failed"], 1) << fault;
  }
}

INSTANTIATE_TEST_SUITE_P(Topics, ValidateTopicTest,
                         testing::Values("load", "start", "calls", "instances", "accounts",
                                         "process", "memory", "faults", "sequences"),
                         [](const auto& topic) { return std::string(topic.param); });

// --- Files --------------------------------------------------------------------------------------

#if defined(__i386__)
using Header = Elf32_Ehdr;
using Segment = Elf32_Phdr;
using Dynamic = Elf32_Dyn;
#else
using Header = Elf64_Ehdr;
using Segment = Elf64_Phdr;
using Dynamic = Elf64_Dyn;
#endif

/// The bytes of the real plug-in, to be damaged.
class Library {
 public:
  Library() : bytes_(host::readFile(ZVK_PLUGIN_FILE)) {}
  const std::string& bytes() const { return bytes_; }

  Header& header() { return at<Header>(0); }
  Segment& segment(uint32_t type, uint32_t flags = 0) {
    for (int i = 0; i < header().e_phnum; ++i) {
      auto& segment = at<Segment>(header().e_phoff + i * sizeof(Segment));
      if (segment.p_type == type && (segment.p_flags & flags) == flags) return segment;
    }
    throw std::runtime_error("no such segment");
  }
  Dynamic& dynamic(long tag) {
    const Segment& segment = this->segment(PT_DYNAMIC);
    for (size_t i = 0; i < segment.p_filesz / sizeof(Dynamic); ++i) {
      auto& entry = at<Dynamic>(segment.p_offset + i * sizeof(Dynamic));
      if (entry.d_tag == tag) return entry;
    }
    throw std::runtime_error("no such entry");
  }
  /// Uses an entry that the loader can do without.
  void add(long tag, uint32_t value) {
    Dynamic& entry = dynamic(DT_DEBUG_OR_COUNT);
    entry.d_tag = tag;
    entry.d_un.d_val = value;
  }
  void rename(const std::string& from, const std::string& to) {
    const size_t at = bytes_.find(std::string(1, '\0') + from + std::string(1, '\0'));
    ASSERT_NE(at, bytes_.npos) << from;
    ASSERT_LE(to.size(), from.size());
    bytes_.replace(at + 1, to.size() + 1, to + std::string(1, '\0'));
  }

 private:
#if defined(__i386__)
  static constexpr long DT_DEBUG_OR_COUNT = DT_RELCOUNT;
#else
  static constexpr long DT_DEBUG_OR_COUNT = DT_RELACOUNT;
#endif
  template <typename T>
  T& at(size_t offset) {
    return *reinterpret_cast<T*>(&bytes_[offset]);
  }
  std::string bytes_;
};

/// A version that the library of this width needs.
constexpr const char* kSomeVersion = sizeof(void*) == 4 ? "GLIBC_2.1.3" : "GLIBC_2.14";

struct Damage {
  const char* check;
  void (*make)(Library&);
};

const Damage kDamages[] = {
    {"file.format", [](Library& l) { l.header().e_machine = EM_ARM; }},
    {"file.entry-point", [](Library& l) { l.rename("REALPluginMain", "REALPluginMein"); }},
    {"file.exports", [](Library& l) { l.rename("_Z9TickCountv", "strlen"); }},
    {"file.imports", [](Library& l) { l.rename("calloc", "_exit"); }},
    {"file.libraries", [](Library& l) { l.add(DT_NEEDED, 1); }},
    {"file.c-library", [](Library& l) { l.rename(kSomeVersion, "GLIBC_2.18"); }},
    {"file.text-relocations", [](Library& l) { l.add(DT_TEXTREL, 0); }},
    {"file.stack", [](Library& l) { l.segment(PT_GNU_STACK).p_flags |= PF_X; }},
    {"file.segments", [](Library& l) { l.segment(PT_LOAD, PF_X).p_flags |= PF_W; }},
    {"load.opens", [](Library& l) { l.add(DT_NEEDED, 1); }},
    {"file.search-path", [](Library& l) { l.add(DT_RUNPATH, 1); }},
    {"file.unloading", [](Library& l) { l.add(DT_FLAGS_1, DF_1_NODELETE); }},
};

TEST_F(ValidateTest, NoticesDamagedFiles) {
  for (const Damage& damage : kDamages) {
    Library library;
    damage.make(library);
    std::ofstream("damaged.so", std::ios::binary) << library.bytes();
    const Json report = validate("damaged.so --only " + std::string(damage.check));
    EXPECT_EQ(report["failed"], 1) << damage.check;
  }
  std::ofstream("damaged.so") << "no library";
  const Json report = validate("damaged.so");
  EXPECT_GE(report["failed"], 1);
  EXPECT_GT(report["skipped"], 40) << "what cannot be loaded is not called";
}

// Calls of our own are bound by the linker's option alone.
TEST_F(ValidateTest, NoticesCallsThatOthersCanStandInFrontOf) {
  const Json report = validate("'" ZVK_INTERPOSABLE_FILE "' --only file.own-calls");
  EXPECT_EQ(report["failed"], 1);
}

// --- The tool -----------------------------------------------------------------------------------

TEST_F(ValidateTest, RepeatsACaseAndRefusesWrongUse) {
  const std::string fault = "accounts.locks";
  const Json report = validate("'" ZVK_MISBEHAVING_FILE "' --only accounts.locks", fault);
  const std::string repeat = report["checks"][0]["repeat"];
  ASSERT_TRUE(repeat.starts_with("zvk validate ")) << repeat;
  const Outcome again = run(repeat.substr(4));
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.out, testing::HasSubstr("lock(s) still open"));
  EXPECT_THAT(again.out, testing::HasSubstr("1 cases"));
  EXPECT_THAT(done("validate --list"), testing::HasSubstr("accounts.locks"));
  expectRefusals({{"validate none.so", 2, "none.so"},
                  {"validate '" ZVK_PLUGIN_FILE "' --only calls.nothing", 2, "calls.nothing"},
                  {"validate '" ZVK_PLUGIN_FILE "' --case 3", 2, "--only"}});
}

// --- The guards that it relies on ---------------------------------------------------------------

bool readable(const uint8_t* address) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  // The kernel refuses to read where the process must not.
  const bool read = write(ends[1], address, 1) == 1;
  close(ends[0]);
  close(ends[1]);
  return read;
}

TEST(GuardedMemoryTest, EndsOrBeginsAtAnUnreadablePage) {
  using host::Placement;
  for (const size_t size : {size_t{1}, size_t{5}, size_t{4095}, size_t{4096}, size_t{4097}}) {
    const host::Memory behind(size, Placement::kGuarded), before(size, Placement::kGuardedStart);
    EXPECT_TRUE(readable(behind.data()) && readable(behind.data() + size - 1)) << size;
    EXPECT_FALSE(readable(behind.data() + size)) << size;
    EXPECT_TRUE(readable(before.data()) && readable(before.data() + size - 1)) << size;
    EXPECT_FALSE(readable(before.data() - 1)) << size;
    EXPECT_TRUE(behind.slackIntact() && before.slackIntact());
    if (size % 4096 == 0) continue;
    behind.data()[-1] = before.data()[size] = 1;
    EXPECT_FALSE(behind.slackIntact() || before.slackIntact()) << size;
  }
}

// --- The accounts, where no plug-in's fault shows them apart ------------------------------------

TEST(AccountsTest, ReleasingTooOftenIsKnownWhenTheObjectIsGone) {
  host::Host host;
  {
    const host::PictureRef picture = host.newPicture(2, 2);
    picture->unlock();
    EXPECT_THAT(host.accounts(), testing::ElementsAre(testing::HasSubstr("too often")));
  }
  EXPECT_THAT(host.accounts(), testing::ElementsAre(testing::HasSubstr("too often")));
}

}  // namespace
