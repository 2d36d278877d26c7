// Calls as they are written on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zvk {

struct Argument {
  std::string name;  ///< of NAME=VALUE; else empty
  std::string value;
};

/// NAME, NAME(ARGUMENT, ...) or one of these with "=VALUE" behind it.
struct CallText {
  std::string name;
  std::vector<Argument> arguments;
  std::optional<std::string> assigned;
};

/// Takes a call apart. Commas and parentheses within "quotes" do not count. Throws InputError.
CallText parseCall(std::string_view text);

/// The text without the quotes around it, if there are any.
std::string unquoted(std::string_view text);

/// The text for a message, cut where it is long.
std::string shortened(std::string_view text);

}  // namespace zvk
