#include "Reference.h"

#include <algorithm>

#include "frame/DeclarationGrammar.h"

namespace zvk {

using grammar::equalIgnoringCase;

namespace {

constexpr int kPageLevel = 1, kEntryLevel = 2;

std::string firstSentence(std::string_view text) {
  const size_t end = text.find(". ");
  return withoutMarks(text.substr(0, end == std::string_view::npos ? end : end + 1));
}

std::string codeOf(std::string_view heading) {
  if (heading.size() > 2 && heading.front() == '`' && heading.back() == '`') {
    heading = heading.substr(1, heading.size() - 2);
  }
  return std::string(heading);
}

}  // namespace

bool Entry::isClass() const {
  return std::any_of(blocks.begin(), blocks.end(), [](const Block& block) {
    return block.kind == Block::Kind::kHeading && block.level > kEntryLevel;
  });
}

std::string Entry::summary() const {
  const auto first = std::find_if(blocks.begin(), blocks.end(), [](const Block& block) {
    return block.kind == Block::Kind::kParagraph;
  });
  return first == blocks.end() ? "" : firstSentence(first->text);
}

std::string Entry::about(std::string_view parameter) const {
  for (const Block& block : blocks) {
    if (block.kind != Block::Kind::kItem) continue;
    // - `Amount`: what it does
    const std::string_view text = block.text;
    const size_t end = text.find("`: ");
    if (!text.starts_with('`') || end == std::string_view::npos) continue;
    if (!equalIgnoringCase(text.substr(1, end - 1), parameter)) continue;
    std::string sentence = firstSentence(text.substr(end + 3));
    if (sentence.ends_with('.')) sentence.pop_back();
    return sentence;
  }
  return "";
}

std::string Entry::section(std::string_view title) const {
  const std::string start = "**" + std::string(title) + ".** ";
  for (const Block& block : blocks) {
    if (block.text.starts_with(start)) return withoutMarks(block.text.substr(start.size()));
  }
  return "";
}

Reference::Reference(const std::vector<std::string_view>& pages) {
  for (const std::string_view page : pages) {
    std::string family;
    for (Block& block : parseMarkdown(page)) {
      if (block.kind == Block::Kind::kHeading && block.level == kPageLevel) {
        family = block.text;
      } else if (block.kind == Block::Kind::kHeading && block.level == kEntryLevel) {
        entries_.push_back({family, codeOf(block.text), {std::move(block)}});
      } else if (!entries_.empty() && entries_.back().family == family) {
        entries_.back().blocks.push_back(std::move(block));
      }
    }
  }
}

const Reference& Reference::builtIn() {
  static const Reference reference(kReferencePages);
  return reference;
}

const Entry* Reference::find(std::string_view declaration) const {
  const auto entry = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& candidate) {
    return candidate.declaration == declaration;
  });
  return entry == entries_.end() ? nullptr : &*entry;
}

std::string parameterLine(std::string_view declaration, std::string_view parameter) {
  const Entry* entry = Reference::builtIn().find(declaration);
  const std::string about = entry ? entry->about(parameter) : "";
  return about.empty() ? "" : std::string(parameter) + ": " + about;
}

}  // namespace zvk
