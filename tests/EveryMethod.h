// Calls of everything that the plug-in declares, with arguments made up from the declarations: what
// holds for all methods is tested on all of them, also on those that are yet to come.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/plugin/Plugin.h"

namespace test {

struct DeclaredCall {
  const host::Method* method;
  host::Value self;  ///< a picture, an instance with a source picture, or nothing
  std::vector<host::Value> arguments;

  std::string text() const { return std::string(method->text()); }
};

/// A call of the method, on random pictures of this size and layout.
DeclaredCall callOf(const host::Plugin& plugin, const host::Method& method,
                    const host::PictureOptions& options, int width, int height, uint32_t seed);

/// One call of every declared method, on random pictures of this size and layout.
std::vector<DeclaredCall> everyCall(const host::Plugin& plugin, const host::PictureOptions& options,
                                    int width, int height, uint32_t seed);

/// Makes the call. An exception that the plug-in raises is an outcome like others: nothing.
host::CallResult make(const host::Plugin& plugin, const DeclaredCall& call);

/// Makes the call and sums up whatever it returned and changed in one number.
uint64_t digest(const host::Plugin& plugin, const DeclaredCall& call);

}  // namespace test
