// What standard output is shown on.
#pragma once

#include <string>
#include <string_view>

namespace zvk {

/// Columns for running text: the terminal's, from 40 to 100; 80 where output is not a terminal.
size_t textWidth();

/// Whether standard output takes bold text: a terminal, and NO_COLOR is not set.
bool textIsStyled();

/// Whether a descriptor is a terminal that does more than print what it gets.
bool isAbleTerminal(int descriptor);

/// The text, bold where that can be shown.
std::string emphasized(std::string_view text);

}  // namespace zvk
