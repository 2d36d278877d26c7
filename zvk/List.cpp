// zvk list: everything that the plug-in declares, and what it does.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "Describe.h"
#include "Terminal.h"
#include "Tool.h"
#include "host/plugin/Plugin.h"

namespace zvk {

namespace {

using host::Method;
using nlohmann::ordered_json;

/// A method, or a class.
struct Callable {
  std::string name, declaration, family, summary;
  const Method* method = nullptr;
  const REALclassDefinition* definition = nullptr;
};

const char* kindOf(const Callable& callable) {
  if (callable.definition) return "class";
  return callable.method->kind == Method::Kind::kPicture ? "method of Picture" : "global function";
}

bool contains(std::string_view text, std::string_view pattern) {
  const auto equal = [](char a, char b) { return grammar::lowerCase(a) == grammar::lowerCase(b); };
  return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), equal) != text.end();
}

/// In the order of the reference; what it does not know comes last.
std::vector<Callable> callables(const host::Plugin& plugin, const std::string& pattern) {
  std::vector<Callable> found;
  const auto add = [&](Callable callable) {
    if (const Entry* entry = Reference::builtIn().find(callable.declaration)) {
      callable.family = entry->family;
      callable.summary = entry->summary();
    } else {
      callable.family = "Not in the reference";
    }
    const bool wanted = contains(callable.declaration, pattern) ||
                        contains(callable.family, pattern) || contains(callable.summary, pattern);
    if (wanted) found.push_back(std::move(callable));
  };
  for (const REALclassDefinition* definition : plugin.host().registrations.classes) {
    add({.name = definition->name, .declaration = definition->name, .definition = definition});
  }
  for (const Method& method : plugin.methods()) {
    if (method.kind == Method::Kind::kClass) continue;
    add({.name = std::string(method.name()),
         .declaration = std::string(method.text()),
         .method = &method});
  }
  const auto place = [](const Callable& callable) {
    const std::vector<Entry>& entries = Reference::builtIn().entries();
    const Entry* entry = Reference::builtIn().find(callable.declaration);
    return entry ? static_cast<size_t>(entry - entries.data()) : entries.size();
  };
  std::stable_sort(found.begin(), found.end(),
                   [&](const Callable& a, const Callable& b) { return place(a) < place(b); });
  return found;
}

// --- For people ---------------------------------------------------------------------------------

void printDetails(const host::Plugin& plugin, const Callable& callable) {
  const auto print = [](int32_t flags, const std::string& text) {
    printf("      0x%05x  %s\n", static_cast<unsigned>(flags), text.c_str());
  };
  if (callable.method) {
    const bool assignable = callable.method->assignable();
    print(callable.method->definition->flags,
          callable.declaration + (assignable ? "  (assignable)" : ""));
    return;
  }
  const REALclassDefinition& definition = *callable.definition;
  printf("      class flags 0x%x, %d bytes of data\n", static_cast<unsigned>(definition.flags),
         definition.dataSize);
  for (int i = 0; i < definition.propertyCount; ++i) {
    const REALpropertyDefinition& property = definition.properties[i];
    print(property.flags, std::string(property.name) + " as " + property.type);
  }
  for (const Method& method : plugin.methods()) {
    if (method.kind != Method::Kind::kClass || method.className != definition.name) continue;
    print(method.definition->flags,
          std::string(method.text()) + (method.assignable() ? "  (assignable)" : ""));
  }
}

void printFamilies(const host::Plugin& plugin, const std::vector<Callable>& found, bool verbose) {
  for (auto first = found.begin(); first != found.end();) {
    const auto last = std::find_if(
        first, found.end(), [&](const Callable& other) { return other.family != first->family; });
    size_t widest = 0;
    for (auto it = first; it != last; ++it) widest = std::max(widest, it->name.size());
    printf("%s%s\n", first == found.begin() ? "" : "\n", emphasized(first->family).c_str());
    for (; first != last; ++first) {
      printf("  %-*s  %s\n", static_cast<int>(widest), first->name.c_str(), first->summary.c_str());
      if (verbose) printDetails(plugin, *first);
    }
  }
}

// --- JSON ---------------------------------------------------------------------------------------

ordered_json describe(const Method& method, const Entry* entry, bool verbose) {
  ordered_json json;
  json["declaration"] = method.text();
  json["name"] = method.name();
  json["parameters"] = parametersOf(method.declaration, entry);
  if (method.declaration.result != grammar::Type::kNothing) {
    json["result"] = typeName(method.declaration.result);
  }
  json["assignable"] = method.assignable();
  if (verbose) json["flags"] = method.definition->flags;
  return json;
}

ordered_json describe(const host::Plugin& plugin, const REALclassDefinition& definition,
                      bool verbose) {
  const Entry* entry = Reference::builtIn().find(definition.name);
  ordered_json json;
  json["declaration"] = json["name"] = definition.name;
  json["properties"] = ordered_json::array();
  for (int i = 0; i < definition.propertyCount; ++i) {
    const REALpropertyDefinition& property = definition.properties[i];
    ordered_json& row = json["properties"].emplace_back();
    row["name"] = property.name;
    row["type"] = property.type;
    row["about"] = entry ? entry->about(property.name) : "";
    if (verbose) row["flags"] = property.flags;
  }
  json["methods"] = ordered_json::array();
  for (const Method& method : plugin.methods()) {
    if (method.kind != Method::Kind::kClass || method.className != definition.name) continue;
    json["methods"].push_back(describe(method, entry, verbose));
  }
  if (verbose) {
    json["flags"] = definition.flags;
    json["dataSize"] = definition.dataSize;
  }
  return json;
}

void printJson(const host::Plugin& plugin, const std::vector<Callable>& found, bool verbose) {
  ordered_json rows = ordered_json::array();
  for (const Callable& callable : found) {
    ordered_json row;
    row["kind"] = kindOf(callable);
    row["family"] = callable.family;
    row["summary"] = callable.summary;
    row.update(callable.method ? describe(*callable.method,
                                          Reference::builtIn().find(callable.declaration), verbose)
                               : describe(plugin, *callable.definition, verbose));
    rows.push_back(std::move(row));
  }
  printf("%s\n", rows.dump(2).c_str());
}

}  // namespace

int list(const CommonOptions& common, const ListOptions& options) {
  host::Host host(hostSettings(common));
  host::Plugin plugin(common.plugin);
  const std::vector<Callable> found = callables(plugin, options.pattern);
  if (found.empty() && !options.pattern.empty()) {
    throw InputError("nothing that the plug-in declares has to do with " + options.pattern +
                     "; zvk list shows everything");
  }
  if (options.json) {
    printJson(plugin, found, options.verbose);
  } else {
    printFamilies(plugin, found, options.verbose);
  }
  for (const std::string& fault : plugin.faults()) fprintf(stderr, "zvk: %s\n", fault.c_str());
  const bool balanced = reportAccounts(host);
  return balanced && plugin.faults().empty() ? kDone : kCallFailed;
}

}  // namespace zvk
