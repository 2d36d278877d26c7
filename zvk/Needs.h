// What methods ask of their arguments beyond the declared types. The plug-in itself only gives nil
// or false, or changes nothing; here is why.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/plugin/Plugin.h"

namespace zvk {

/// One call with everything that it is given.
struct Given {
  const host::Method& method;
  host::PictureRef self;                      ///< nil for global methods
  const std::vector<host::Value>& arguments;  ///< by parameter; left out where the list is shorter
  const host::Value* assigned = nullptr;
};

/// What the properties of a filter class are set to, by name.
using Properties = std::map<std::string, host::Value>;

/// Arguments that no picture makes sensible. Known before anything is loaded; empty when there are
/// none.
std::string wrongArguments(const host::Method& method, const std::vector<host::Value>& arguments);
/// The same for the rectangle of a filter class.
std::string wrongRectangle(const Properties& properties);

/// Why a call changes nothing although it succeeds; empty when it does.
std::string whyWithoutEffect(const Given& given);

/// What a user may not expect of a call that is going to succeed; empty when there is nothing.
std::string remarkOn(const Given& given);
std::string remarkOn(const Properties& properties, const host::PictureRef& source);

/// Why a call fails, in so far as its arguments tell, else what is likely.
std::string whyFailed(const Given& given);

}  // namespace zvk
