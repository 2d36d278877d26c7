// What the plug-in shows to its host, to other plug-ins and to the loader, held against files that
// people read.
#include <cxxabi.h>
#include <dlfcn.h>

#include <fstream>
#include <numeric>
#include <regex>
#include <set>
#include <sstream>

#include "Support.h"
#include "host/files/Files.h"

namespace {

using namespace test;

#if defined(__i386__)
constexpr bool kShips = true;
#else
constexpr bool kShips = false;
#endif

const char* const kInterfaceFile = ZVK_TEST_DATA "/interface.txt";

/// What a command prints.
std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  char part[4096];
  while (const size_t size = fread(part, 1, sizeof part, pipe)) output.append(part, size);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// --- The listing of all records -----------------------------------------------------------------

/// Names routines: exported ones by their name, others in the order in which they turn up.
class RoutineNames {
 public:
  std::string operator()(void* address) {
    if (address == nullptr) return "-";
    if (address == hostAccessor()) return "host";
    Dl_info info;
    if (dladdr(address, &info) != 0 && info.dli_saddr == address) return demangled(info.dli_sname);
    const auto next = "internal" + std::to_string(internal_.size() + 1);
    return internal_.emplace(address, next).first->second;
  }

 private:
  static std::string demangled(const char* symbol) {
    char* text = abi::__cxa_demangle(symbol, nullptr, nullptr, nullptr);
    const std::string name = text ? text : symbol;
    free(text);
    return name.substr(0, name.find('('));
  }

  std::map<void*, std::string> internal_;
};

class Listing {
 public:
  void add(const REALclassDefinition& record) {
    out_ << "class " << record.name << " version " << record.version << " super "
         << textOf(record.superName) << " data " << record.dataSize << " flags " << record.flags
         << " constructor " << name_(record.constructor) << " destructor "
         << name_(record.destructor) << restOf(record) << "\n";
    for (int i = 0; i < record.propertyCount; ++i) add(record.properties[i]);
    for (int i = 0; i < record.methodCount; ++i) add(record.methods[i]);
  }

  void add(const REALmethodDefinition& record) {
    addFlags(record.flags) << name_(record.routine) << " " << name_(record.setter) << " "
                           << record.declaration << "\n";
  }

  std::string text() const { return out_.str(); }

 private:
  void add(const REALpropertyDefinition& record) {
    addFlags(record.flags) << "property " << record.name << " " << record.type << " "
                           << name_(record.getter) << " " << name_(record.setter) << " at "
                           << record.parameter << restOf(record) << "\n";
  }

  std::ostream& addFlags(int32_t flags) { return out_ << std::hex << flags << std::dec << " "; }

  static const char* textOf(const char* text) { return text ? text : "-"; }

  static std::string restOf(const REALclassDefinition& record) {
    for (const void* word : record.reserved) {
      if (word != nullptr) return " and more";
    }
    return record.sharedProperties || record.sharedPropertyCount || record.sharedMethods ||
                   record.sharedMethodCount
               ? " and more"
               : "";
  }
  static std::string restOf(const REALpropertyDefinition& record) {
    const auto& rest = record.reserved;
    return record.group || rest[0] || rest[1] || rest[2] ? " and more" : "";
  }

  std::ostringstream out_;
  RoutineNames name_;
};

std::string declarations() {
  host::Settings settings;
  settings.version = std::nullopt;  // flags arrive as declared
  const PluginHost setup(settings);
  EXPECT_TRUE(setup.plugin.faults().empty());
  Listing list;
  for (const auto* record : setup.host.registrations.classes) list.add(*record);
  for (const auto* record : setup.host.registrations.extensions) list.add(*record);
  for (const auto* record : setup.host.registrations.methods) list.add(*record);
  return list.text();
}

std::string exports() {
  const std::string names = outputOf("LC_ALL=C nm -DC --defined-only " ZVK_PLUGIN_FILE);
  const std::regex line("^[0-9a-f]+ T (.*)$", std::regex::multiline);
  // Whatever is no code is listed as it is, and not expected.
  return std::regex_replace(names, line, "export $1");
}

/// The text for the 32-bit library, as it reads for this one: words and integers differ.
std::string inThisWidth(std::string text) {
  if (kShips) return text;
  const std::pair<const char*, const char*> changes[] = {
      {"\\blong\\b", "int"}, {" at [0-9]+", " at .."}, {" data [0-9]+", " data .."}};
  for (const auto& [from, to] : changes) text = std::regex_replace(text, std::regex(from), to);
  return text;
}

/// Declarations keep their order, which is that of registration. Exports have none.
std::string inOrder(const std::string& text) {
  std::string declared;
  std::set<std::string> exported;
  std::istringstream stream(inThisWidth(text));
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("export ")) {
      exported.insert(line + "\n");
    } else {
      declared += line + "\n";
    }
  }
  return std::accumulate(exported.begin(), exported.end(), declared);
}

TEST(Interface, IsWhatIsWrittenDown) {
#if defined(ZVK_SANITIZED)
  GTEST_SKIP() << "sanitizers export names of their own";
#endif
  const std::string text = declarations() + exports();
  if (kShips && getenv("ZVK_REWRITE") != nullptr) {
    std::ofstream(kInterfaceFile) << text;
    return;
  }
  EXPECT_EQ(inOrder(text), inOrder(host::readFile(kInterfaceFile)))
      << "If this is meant to be, let script/interface write it down.";
}

}  // namespace
