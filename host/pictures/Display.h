// The X display that drawables need.
#pragma once

#include <string>

namespace host {

inline constexpr int kDrawableDepth = 24;

/// Why drawables cannot be had; empty when they can. Opens the display at the first call.
const std::string& displayProblem();
inline bool displayAvailable() { return displayProblem().empty(); }
/// Whether such a call opened it.
bool displayIsOpen();

}  // namespace host
