#include "host/plugin/Names.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "frame/DeclarationGrammar.h"

namespace host {

namespace {

constexpr std::string_view kSuffix = "ZVK";

std::string lowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = grammar::lowerCase(c);
  return result;
}

size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t cost =
          std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = std::exchange(row[j], cost);
    }
  }
  return row.back();
}

/// "ChangeContrastZVK" as "change" and "contrast".
Names wordsOf(std::string_view name) {
  const auto isUpper = [](char c) { return c != grammar::lowerCase(c); };
  Names words;
  bool wasUpper = false;
  for (const char c : withoutSuffix(name)) {
    if (words.empty() || (isUpper(c) && !wasUpper)) words.emplace_back();
    words.back() += grammar::lowerCase(c);
    wasUpper = isUpper(c);
  }
  return words;
}

bool spelledAlike(std::string_view a, std::string_view b) {
  constexpr size_t kStem = 5;
  const auto [end, other] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  const auto common = static_cast<size_t>(end - a.begin());
  if (common >= kStem && 3 * common >= 2 * std::min(a.size(), b.size())) return true;
  // Short words are too near to each other.
  return std::min(a.size(), b.size()) >= kStem &&
         editDistance(a, b) <= std::max(a.size(), b.size()) / 4;
}

/// 0 for the best; nothing where `name` is not meant.
std::optional<size_t> rank(std::string_view word, std::string_view name) {
  const std::string whole = lowerCase(withoutSuffix(name));
  if (whole == word) return 0;
  if (whole.starts_with(word)) return 1;
  const Names parts = wordsOf(name);
  const bool beginsPart = std::any_of(parts.begin(), parts.end(),
                                      [&](const auto& part) { return part.starts_with(word); });
  if (!word.empty() && beginsPart) return 2;
  if (word.size() > 3 && whole.find(word) != std::string::npos) return 2;
  if (spelledAlike(word, whole)) return 3;
  for (const std::string& part : parts) {
    if (spelledAlike(word, part)) return 4;
    // Several words run together, such as "sepiafilter".
    if (part.size() > 3 && part != "picture" && word.find(part) != std::string::npos) return 5;
  }
  return std::nullopt;
}

void removeCopies(Names& names) {
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
}

/// The first `most` in the order of `key`, then of length.
template <typename Key>
Names firstBy(Names names, size_t most, Key key) {
  std::stable_sort(names.begin(), names.end(), [&](const auto& a, const auto& b) {
    return std::pair(key(a), a.size()) < std::pair(key(b), b.size());
  });
  if (names.size() > most) names.resize(most);
  return names;
}

}  // namespace

std::string_view withoutSuffix(std::string_view name) {
  const size_t rest = name.size() - std::min(name.size(), kSuffix.size());
  if (rest > 0 && grammar::equalIgnoringCase(name.substr(rest), kSuffix)) name.remove_suffix(3);
  return name;
}

bool standsFor(std::string_view word, std::string_view name) {
  return grammar::equalIgnoringCase(word, name) ||
         grammar::equalIgnoringCase(word, withoutSuffix(name));
}

Names similarNames(std::string_view word, Names names, size_t most) {
  const std::string wanted = lowerCase(withoutSuffix(word));
  removeCopies(names);
  std::erase_if(names, [&](const auto& name) { return !rank(wanted, name); });
  return firstBy(std::move(names), most, [&](const auto& name) { return *rank(wanted, name); });
}

Names nearestNames(std::string_view word, Names names, size_t most) {
  removeCopies(names);
  return firstBy(std::move(names), most,
                 [&](const auto& name) { return editDistance(lowerCase(word), lowerCase(name)); });
}

std::string suggestion(const Names& similar) {
  if (similar.empty()) return "; nothing has a name like it (zvk list shows all)";
  std::string text = similar.size() == 1 ? "; the nearest is " : "; the nearest are ";
  for (size_t i = 0; i < similar.size(); ++i) text += (i == 0 ? "" : ", ") + similar[i];
  return text;
}

}  // namespace host
