// Declarations as JSON, with what the reference says about them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Reference.h"
#include "frame/DeclarationGrammar.h"

namespace zvk {

/// "integer" and so on, as declarations spell it.
std::string typeName(grammar::Type type);

/// Name, type, byref, default and what `entry` says about each parameter. `entry` may be null.
nlohmann::ordered_json parametersOf(const grammar::Declaration& declaration, const Entry* entry);

}  // namespace zvk
