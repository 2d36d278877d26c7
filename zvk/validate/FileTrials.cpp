// What the plug-in's file says of itself, and what loading it does.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>

#include "ElfFile.h"
#include "Heap.h"
#include "Watches.h"

namespace zvk::validation {

namespace {

using Strings = std::vector<std::string>;

bool contains(const Strings& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string joined(const Strings& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// --- Each of these tells what is wrong; nothing when all is well --------------------------------

std::string format(const ElfFile& file) {
  if (file.width().empty()) return "it is no shared library for 32-bit or 64-bit x86";
  return file.symbols().empty() ? "its tables cannot be read; it may be cut short" : "";
}

std::string entryPoint(const ElfFile& file) {
  for (const ElfFile::Symbol& symbol : file.symbols()) {
    if (symbol.name == "REALPluginMain" && symbol.defined && symbol.function) return "";
  }
  return "it exports no function REALPluginMain";
}

// Mangled names of its own are what other code may call; what is not mangled could be anybody's, as
// could what belongs to the language.
bool isTrap(const std::string& name) {
  static const Strings kHarmless = {"REALPluginMain", "_init", "_fini",
                                    "_edata",         "_end",  "__bss_start"};
  if (contains(kHarmless, name)) return false;
  if (name.compare(0, 2, "_Z") != 0) return true;
  constexpr std::string_view kLanguage[] = {"_Zn",    "_Zd",  "_ZNSt", "_ZSt",
                                            "_ZNKSt", "_ZTI", "_ZTS",  "_ZTV"};
  return std::any_of(std::begin(kLanguage), std::end(kLanguage), [&](std::string_view start) {
    return std::string_view(name).substr(0, start.size()) == start;
  });
}

std::string exports(const ElfFile& file) {
  Strings found;
  for (const ElfFile::Symbol& symbol : file.symbols()) {
    if (symbol.defined && isTrap(symbol.name)) found.push_back(symbol.name);
  }
  return found.empty() ? "" : "it exports " + joined(found);
}

// What ends the process, or changes what all of it shares. Not abort(): the C++ library calls it
// where it cannot go on, so whoever links that one statically has it.
std::string imports(const ElfFile& file) {
  static const Strings kForbidden = {
      "exit",      "_exit",          "quick_exit",     "raise",         "kill",      "fork",
      "vfork",     "execv",          "execve",         "system",        "setlocale", "chdir",
      "fchdir",    "setenv",         "putenv",         "unsetenv",      "clearenv",  "signal",
      "sigaction", "sigprocmask",    "alarm",          "setitimer",     "umask",     "fesetround",
      "fesetenv",  "feenableexcept", "pthread_create", "thrd_create",   "printf",    "puts",
      "putchar",   "perror",         "longjmp",        "__longjmp_chk", "atexit",    "__cxa_throw",
      "setrlimit", "srand",          "_ZSt9terminatev"};
  Strings found;
  for (const ElfFile::Symbol& symbol : file.symbols()) {
    if (!symbol.defined && contains(kForbidden, symbol.name)) found.push_back(symbol.name);
  }
  return found.empty() ? "" : "it calls " + joined(found);
}

std::string libraries(const ElfFile& file) {
  static const Strings kEverywhere = {"libc.so.6",           "libm.so.6",       "libdl.so.2",
                                      "librt.so.1",          "libpthread.so.0", "ld-linux.so.2",
                                      "ld-linux-x86-64.so.2"};
  Strings found;
  for (const std::string& name : file.libraries()) {
    if (!contains(kEverywhere, name)) found.push_back(name);
  }
  return found.empty() ? "" : "it needs " + joined(found);
}

// The oldest systems in use have this one.
constexpr int kOldestLibrary = 17;

std::string cLibrary(const ElfFile& file) {
  const std::string start = "GLIBC_2.";
  Strings found;
  for (const ElfFile::Version& version : file.versions()) {
    if (version.name.compare(0, start.size(), start) != 0) continue;
    if (atoi(version.name.c_str() + start.size()) > kOldestLibrary) found.push_back(version.name);
  }
  return found.empty() ? "" : "it needs " + joined(found);
}

std::string textRelocations(const ElfFile& file) {
  return file.relocatesText() ? "the loader has to write into its code" : "";
}

std::string stack(const ElfFile& file) {
  for (const ElfFile::Segment& segment : file.segments()) {
    if (segment.type == PT_GNU_STACK) {
      return segment.flags & PF_X ? "it makes the process's stack executable" : "";
    }
  }
  return "it does not say that its stack need not be executable, so the loader makes it so";
}

std::string segments(const ElfFile& file) {
  for (const ElfFile::Segment& segment : file.segments()) {
    if (segment.type == PT_LOAD && (segment.flags & PF_W) && (segment.flags & PF_X)) {
      return "a segment can be written and executed";
    }
  }
  return "";
}

std::string searchPath(const ElfFile& file) {
  return file.searchPaths().empty() ? "" : "it looks into " + joined(file.searchPaths());
}

std::string ownCalls(const ElfFile& file) {
  if (file.bindsOwnSymbols()) return "";
  Strings found;
  for (const ElfFile::Symbol& symbol : file.symbols()) {
    if (symbol.defined && contains(file.relocated(), symbol.name)) found.push_back(symbol.name);
  }
  return found.empty() ? "" : "anybody can stand in front of its " + joined(found);
}

std::string unloading(const ElfFile& file) {
  if (file.staysLoaded()) return "it is marked to stay";
  for (const ElfFile::Symbol& symbol : file.symbols()) {
    if (symbol.defined && symbol.unique) return "the unique symbol " + symbol.name + " keeps it";
  }
  return "";
}

struct FileCheck {
  std::string_view check;
  std::string (*problem)(const ElfFile&);
};
constexpr FileCheck kFileChecks[] = {
    {"file.format", format},
    {"file.entry-point", entryPoint},
    {"file.exports", exports},
    {"file.imports", imports},
    {"file.libraries", libraries},
    {"file.c-library", cLibrary},
    {"file.text-relocations", textRelocations},
    {"file.stack", stack},
    {"file.segments", segments},
    {"file.search-path", searchPath},
    {"file.own-calls", ownCalls},
    {"file.unloading", unloading},
};

void readFile(const Context& context, const Case&, Log& log) {
  const ElfFile file(context.plugin);
  const bool readable = format(file).empty();
  for (const FileCheck& each : kFileChecks) {
    if (!readable && each.problem != format) {
      log.skip(each.check, "the file is no whole library");
      continue;
    }
    const std::string problem = each.problem(file);
    if (!problem.empty()) log.fail(each.check, problem);
  }
}

// --- Loading ------------------------------------------------------------------------------------

bool isLoaded(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (library) dlclose(library);
  return library != nullptr;
}

// Without calling anything in it: all that happens is what its constructors and destructors do.
void load(const Context& context, const Case&, Log& log) {
  char* path = realpath(context.plugin.c_str(), nullptr);
  const std::string file = path ? path : context.plugin;
  free(path);
  heap::beginWatching();
  Watches watches;
  log.doing("loading");
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return log.fail("load.opens", dlerror());
  if (dlsym(library, "REALPluginMain") == nullptr) log.fail("load.opens", "no entry point");
  watches.compare(log, "load.quiet");
  log.doing("unloading");
  dlclose(library);
  watches.compare(log, "load.quiet");
  if (isLoaded(file)) log.fail("load.unloads", "it is still in the process");
}

std::vector<Case> once(const Context&, Log&) { return {Case()}; }

constexpr Trial kTrials[] = {
    {"file.format", "file.*", once, readFile, false},
    {"load.opens", "load.*", once, load},
};

}  // namespace

std::span<const Trial> fileTrials() { return kTrials; }

}  // namespace zvk::validation
