// The calls of a command line, each with the one method or class that it stands for, and with all
// values that do not wait for the input.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Arguments.h"
#include "CallText.h"
#include "CubeFile.h"
#include "host/plugin/Plugin.h"

namespace zvk {

/// A value for a parameter or a property.
struct Bound {
  grammar::Type type;
  std::string place;                 ///< for messages
  std::optional<host::Value> value;  ///< none: what is current when the call is made
};

/// What NAME=VALUE sets on an instance: a property, or a colour table by a method that is assigned
/// to for each entry.
struct Setting {
  const REALpropertyDefinition* property = nullptr;
  Bound value;
  const host::Method* table = nullptr;
  std::optional<Cube> cube;
};

struct Step {
  std::string name;  ///< as declared
  const host::ClassInfo* info = nullptr;
  std::vector<Setting> settings;  ///< of a class
  const host::Method* method = nullptr;
  std::vector<Bound> arguments;
  std::optional<Bound> assigned;

  [[nodiscard]] bool givesPicture() const;
  [[nodiscard]] bool givesBytes() const;
};

/// Resolves and checks every call. Throws InputError, host::CallError or host::FileError.
std::vector<Step> planned(const host::Plugin& plugin, ArgumentReader& reader,
                          const std::vector<std::string>& calls);

/// Whether what is current after all steps is a picture; nothing where that is the input itself.
std::optional<bool> endsWithPicture(const std::vector<Step>& steps);

/// Throws InputError where a step needs a picture and has bytes, or the other way round, if
/// `origin` is a picture or not.
void requireKinds(const std::vector<Step>& steps, bool picture, std::string origin);

}  // namespace zvk
