#include "Slot.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

namespace zvk::validation {

namespace {

// Marks in front of a note; a note is MARK check TAB message NEWLINE.
constexpr char kFailed = '!', kSkipped = '-';
constexpr size_t kLongestMessage = 1500;

std::string oneLine(std::string_view text) {
  std::string line(text.substr(0, kLongestMessage));
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

}  // namespace

std::span<Slot> shareSlots(size_t count) {
  void* memory = mmap(nullptr, count * sizeof(Slot), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return {};
  return {static_cast<Slot*>(memory), count};
}

std::vector<Note> notes(const Slot& slot) {
  std::vector<Note> result;
  std::string_view text(slot.notes, std::min<size_t>(slot.used, sizeof slot.notes));
  while (!text.empty()) {
    const size_t tab = text.find('\t'), end = text.find('\n');
    if (tab == text.npos || end == text.npos || end < tab) break;
    result.push_back(
        {text[0] == kSkipped, text.substr(1, tab - 1), text.substr(tab + 1, end - tab - 1)});
    text.remove_prefix(end + 1);
  }
  return result;
}

void Log::doing(std::string_view what) {
  const size_t length = std::min(what.size(), sizeof slot_.doing - 1);
  memcpy(slot_.doing, what.data(), length);
  slot_.doing[length] = 0;
}

void Log::countCall() { ++slot_.calls; }

void Log::fail(std::string_view check, std::string_view message) {
  const std::string_view doing = slot_.doing;
  add(kFailed, check, std::string(message) + (doing.empty() ? "" : "; in " + std::string(doing)));
}

void Log::skip(std::string_view check, std::string_view why) { add(kSkipped, check, why); }

bool Log::failed() const {
  return std::any_of(slot_.notes, slot_.notes + slot_.used, [last = '\n'](char c) mutable {
    const bool starts = last == '\n' && c == kFailed;
    last = c;
    return starts;
  });
}

void Log::add(char mark, std::string_view check, std::string_view message) {
  const std::string line = mark + std::string(check) + '\t' + oneLine(message) + '\n';
  if (line.size() > sizeof slot_.notes - slot_.used) return;
  memcpy(slot_.notes + slot_.used, line.data(), line.size());
  slot_.used += static_cast<uint32_t>(line.size());
}

}  // namespace zvk::validation
