// What methods ask of their arguments beyond the declared types. The plug-in itself only gives nil
// or false, or changes nothing; here is why.
#pragma once

#include <string>
#include <vector>

#include "host/plugin/Plugin.h"

namespace zvk {

/// One call with everything that it is given.
struct Given {
  const host::Method& method;
  host::PictureRef self;                      ///< nil for global methods
  const std::vector<host::Value>& arguments;  ///< by parameter; left out where the list is shorter
  bool assigned = false;
};

/// Arguments that no picture makes sensible. Known before anything is loaded; empty when there are
/// none.
std::string wrongArguments(const host::Method& method, const std::vector<host::Value>& arguments);

/// Why a call changes nothing although it succeeds; empty when it does.
std::string whyWithoutEffect(const Given& given);

/// What a user may not expect of a call that is going to succeed; empty when there is nothing.
std::string remarkOn(const Given& given);

/// Why a call fails, in so far as its arguments tell, else what is likely.
std::string whyFailed(const Given& given);

}  // namespace zvk
