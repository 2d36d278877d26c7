#include "Describe.h"

#include <nlohmann/json.hpp>

namespace zvk {

using nlohmann::ordered_json;

std::string typeName(grammar::Type type) {
  for (const grammar::TypeName& known : grammar::kTypeNames) {
    if (known.type == type) return std::string(known.name);
  }
  return "";
}

ordered_json parametersOf(const grammar::Declaration& declaration, const Entry* entry) {
  ordered_json rows = ordered_json::array();
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    ordered_json& row = rows.emplace_back();
    row["name"] = parameter.name;
    row["type"] = typeName(parameter.type);
    if (parameter.byReference) row["byref"] = true;
    if (parameter.defaultValue) row["default"] = *parameter.defaultValue;
    row["about"] = entry ? entry->about(parameter.name) : "";
  }
  return rows;
}

}  // namespace zvk
