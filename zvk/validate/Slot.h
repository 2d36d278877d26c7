// Memory that a case's process shares with the one that started it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Check.h"

namespace zvk::validation {

/// Written by the case's process, read when it has ended, however it ended.
struct Slot {
  uint64_t calls;
  bool complete;  ///< the case came to its end
  bool threw;     ///< it could not be made; `doing` says why
  char doing[2048];
  uint32_t used;  ///< bytes of `notes`
  char notes[1 << 16];
  uint32_t caseCount;
  Case cases[1 << 17];  ///< what a plan gave
};

/// Memory for so many slots, shared with all processes started from here; empty when it cannot be
/// had.
std::span<Slot> shareSlots(size_t count);

/// One line of a slot's notes.
struct Note {
  bool skipped;  ///< else failed
  std::string_view check, message;
};
std::vector<Note> notes(const Slot& slot);

}  // namespace zvk::validation
