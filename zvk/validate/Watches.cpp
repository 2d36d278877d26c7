#include "Watches.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "Heap.h"
#include "host/pictures/PixelStorage.h"

extern char** environ;

namespace zvk::validation {

namespace {

std::string hex(unsigned long value) {
  char text[24];
  snprintf(text, sizeof text, "0x%lx", value);
  return text;
}

std::string entries(const char* folder) {
  std::vector<std::string> names;
  DIR* stream = opendir(folder);
  if (stream == nullptr) return "";
  const std::string own = std::to_string(dirfd(stream));
  while (const dirent* entry = readdir(stream)) {
    if (entry->d_name[0] != '.' && entry->d_name != own) names.emplace_back(entry->d_name);
  }
  closedir(stream);
  std::sort(names.begin(), names.end());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

std::string openFiles() { return "descriptors " + entries("/proc/self/fd"); }

std::string threads() {
  const std::string tasks = entries("/proc/self/task");
  siginfo_t information;
  const bool children = waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) == 0;
  return std::to_string(1 + std::count(tasks.begin(), tasks.end(), ' ')) + " thread(s)" +
         (children ? " and other processes" : "");
}

// Standard output and standard error are one file while a case runs.
std::string output() {
  fflush(nullptr);
  struct stat information;
  if (fstat(STDOUT_FILENO, &information) != 0) return "closed";
  std::string text = std::to_string(information.st_size) + " byte(s) of output";
  char end[100];
  const ssize_t length =
      pread(STDOUT_FILENO, end, sizeof end, std::max<off_t>(0, information.st_size - 100));
  if (length > 0) text += ", at last \"" + std::string(end, static_cast<size_t>(length)) + '"';
  return text;
}

std::string directory() {
  char path[4096];
  return getcwd(path, sizeof path) ? path : "none";
}

std::string localeName() {
  const char* name = setlocale(LC_ALL, nullptr);
  const bool global = uselocale(nullptr) == LC_GLOBAL_LOCALE;
  return (name ? name : "none") + std::string(global ? "" : ", but the thread has its own");
}

std::string signals() {
  std::string text;
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0) continue;
    if (action.sa_handler == SIG_DFL) continue;
    text += "signal " + std::to_string(number) + " is handled at " +
            hex(reinterpret_cast<uintptr_t>(action.sa_handler)) + " ";
  }
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < NSIG; ++number) {
    if (sigismember(&blocked, number) == 1) text += std::to_string(number) + " is blocked ";
  }
  return text;
}

struct FloatingPoint {
  uint16_t control, status, tags;
  uint32_t vectorControl;
};

FloatingPoint floatingPoint() {
  uint16_t environment[14] = {};
  uint32_t vectorControl = 0;
  // Storing the environment masks all exceptions, so it is loaded again.
  asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));
  asm volatile("stmxcsr %0" : "=m"(vectorControl));
  return {environment[0], environment[2], environment[4], vectorControl};
}

constexpr uint16_t kX87Rounding = 0x0F00;  ///< rounding and precision
constexpr uint32_t kVectorRounding = 0xE000, kVectorZeroing = 0x0040;
constexpr uint32_t kVectorFlags = 0x3F;  ///< sticky: any arithmetic sets them

std::string rounding() {
  const FloatingPoint state = floatingPoint();
  return "rounding " + hex(state.control & kX87Rounding) + " and " +
         hex(state.vectorControl & (kVectorRounding | kVectorZeroing));
}

std::string floatingPointMasks() {
  const FloatingPoint state = floatingPoint();
  const uint32_t vector = state.vectorControl & ~(kVectorRounding | kVectorZeroing | kVectorFlags);
  return "masks " + hex(state.control & ~kX87Rounding) + " and " + hex(vector) +
         ", register stack " + (state.tags == 0xFFFF ? "empty" : "in use");
}

std::string environment() {
  std::string text;
  for (char** entry = environ; entry && *entry; ++entry) text += std::string(*entry) + ' ';
  return text;
}

std::string heapBlocks() { return std::to_string(heap::outstanding()) + " block(s) allocated"; }

std::string pixbufs() { return std::to_string(host::livePixbufs()) + " pixbuf(s)"; }

struct Watch {
  std::string_view check;
  std::string (*state)();
};

constexpr Watch kWatches[] = {
    {"process.rounding", rounding},  // before the others compute anything
    {"process.floating-point", floatingPointMasks},
    {"process.output", output},
    {"process.directory", directory},
    {"process.locale", localeName},
    {"process.signals", signals},
    {"process.environment", environment},
    {"accounts.heap", heapBlocks},
    {"memory.heap", heap::damage},
    {"accounts.pixbufs", pixbufs},
    {"accounts.files", openFiles},
    {"accounts.threads", threads},
};

// What differs, without what both begin with: environments are long.
std::string difference(const std::string& before, const std::string& now) {
  constexpr size_t kContext = 20, kMost = 200;
  const auto first = std::mismatch(before.begin(), before.end(), now.begin(), now.end()).first;
  const auto position = static_cast<size_t>(first - before.begin());
  const size_t start = position > kContext && before.size() > kMost ? position - kContext : 0;
  return "was " + before.substr(start, kMost) + ", is " + now.substr(start, kMost);
}

}  // namespace

Watches::Watches() {
  for (const Watch& watch : kWatches) states_.push_back(watch.state());
  heap::damage();
}

bool Watches::compare(Log& log, std::string_view check) {
  bool same = true;
  size_t i = 0;
  for (const Watch& watch : kWatches) {
    std::string now = watch.state();
    std::string& before = states_[i++];
    if (now == before) continue;
    same = false;
    log.fail(check.empty() ? watch.check : check, difference(before, now));
    before = std::move(now);
  }
  return same;
}

}  // namespace zvk::validation
