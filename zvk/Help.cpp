// zvk help: what the reference says about methods and classes.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "Describe.h"
#include "Terminal.h"
#include "Tool.h"
#include "host/plugin/Names.h"

namespace zvk {

namespace {

using nlohmann::ordered_json;

std::string nameOf(const Entry& entry) {
  return entry.declaration.substr(0, entry.declaration.find_first_of("( "));
}

bool declares(const Entry& entry, std::string_view word) {
  if (host::standsFor(word, nameOf(entry))) return true;
  if (!entry.isClass()) return false;
  for (const Block& block : entry.blocks) {
    if (block.kind != Block::Kind::kHeading) continue;
    const std::string member = withoutMarks(block.text);
    if (host::standsFor(word, member.substr(0, member.find_first_of("( ")))) return true;
  }
  return false;
}

std::vector<const Entry*> entriesFor(std::string_view word) {
  std::vector<const Entry*> found;
  for (const Entry& entry : Reference::builtIn().entries()) {
    if (declares(entry, word)) found.push_back(&entry);
  }
  return found;
}

/// Entries of the name, or of the only name that is like it.
std::vector<const Entry*> wantedEntries(const std::string& word) {
  std::vector<const Entry*> found = entriesFor(word);
  if (!found.empty()) return found;
  host::Names names;
  for (const Entry& entry : Reference::builtIn().entries()) names.push_back(nameOf(entry));
  const host::Names similar = host::similarNames(word, std::move(names));
  if (similar.size() == 1) return entriesFor(similar[0]);
  throw InputError("there is no method " + word + host::suggestion(similar));
}

ordered_json toJson(const Entry& entry) {
  ordered_json json;
  json["declaration"] = entry.declaration;
  json["family"] = entry.family;
  json["summary"] = entry.summary();
  if (const auto declaration = grammar::parse(entry.declaration); declaration && !entry.isClass()) {
    json["parameters"] = parametersOf(*declaration, &entry);
  }
  constexpr std::pair<const char*, const char*> kSections[] = {
      {"formula", "Formula"},   {"result", "Result"},     {"beware", "Beware"},
      {"failures", "Failures"}, {"storages", "Storages"}, {"speed", "Speed"},
      {"seeAlso", "See also"},
  };
  for (const auto& [key, title] : kSections) {
    if (const std::string text = entry.section(title); !text.empty()) json[key] = text;
  }
  json["examples"] = ordered_json::array();
  for (const Block& block : entry.blocks) {
    if (block.kind != Block::Kind::kCode) continue;
    json["examples"].push_back({{"language", block.language}, {"text", block.text}});
  }
  json["text"] = layOut(entry.blocks, {});
  return json;
}

}  // namespace

int help(const HelpOptions& options) {
  ordered_json json = ordered_json::array();
  std::string text;
  for (const std::string& word : options.words) {
    for (const Entry* entry : wantedEntries(word)) {
      json.push_back(toJson(*entry));
      if (!text.empty()) text += "\n\n";
      text += layOut(entry->blocks, {.width = textWidth(), .colors = textIsStyled()});
    }
  }
  printf("%s\n", options.json ? json.dump(2).c_str() : text.c_str());
  return kDone;
}

}  // namespace zvk
