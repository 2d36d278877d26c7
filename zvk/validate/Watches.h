// The state of the process that a plug-in is a guest in: what calls must leave as it was.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Check.h"

namespace zvk::validation {

class Watches {
 public:
  /// Notes how everything is now.
  Watches();
  /// Fails the check of everything that is not as it was, and notes how it is now. With `check`,
  /// all that fails counts to that one. Returns whether nothing changed.
  bool compare(Log& log, std::string_view check = {});

 private:
  std::vector<std::string> states_;
};

}  // namespace zvk::validation
