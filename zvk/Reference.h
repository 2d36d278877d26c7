// The reference of all methods, built into the tool from the pages in docs/reference.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Markdown.h"

namespace zvk {

/// What the reference says about a method, or about a class with its properties and methods.
struct Entry {
  std::string family;       ///< title of its page
  std::string declaration;  ///< exact text of the method's declaration; a class's name
  std::vector<Block> blocks;

  /// A class's methods are told in its entry.
  bool isClass() const;
  /// The entry's first sentence.
  std::string summary() const;
  /// What the entry says first about a parameter or property: unit, range and what changes nothing.
  /// Empty when it says nothing.
  std::string about(std::string_view parameter) const;
  /// The whole text that starts with "**Title.**", without it; empty when there is none.
  std::string section(std::string_view title) const;
};

class Reference {
 public:
  /// The one that was built in.
  static const Reference& builtIn();

  const std::vector<Entry>& entries() const { return entries_; }
  /// The entry of a declaration or of a class name; null when there is none.
  const Entry* find(std::string_view declaration) const;

 private:
  explicit Reference(const std::vector<std::string_view>& pages);
  std::vector<Entry> entries_;
};

/// "Amount: −255 grey … 0 unchanged … 255 doubled" for messages: a parameter, or a property of a
/// class, and what its entry says first. Empty when nothing is known.
std::string parameterLine(std::string_view declaration, std::string_view parameter);

/// The pages, in the order in which the reference is read. Generated.
extern const std::vector<std::string_view> kReferencePages;

}  // namespace zvk
