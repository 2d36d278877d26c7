// As much of Markdown as the pages of the reference use, read and laid out for a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zvk {

struct Block {
  enum class Kind { kHeading, kParagraph, kItem, kCode, kTable };

  Kind kind;
  std::string text;      ///< lines joined by blanks; those of code and tables stay lines
  int level = 0;         ///< of a heading, from 1
  std::string language;  ///< of code
};

std::vector<Block> parseMarkdown(std::string_view page);

/// The text without the marks for code, emphasis and links.
std::string withoutMarks(std::string_view text);

/// The number of columns that UTF-8 text takes.
size_t columns(std::string_view text);

struct Layout {
  size_t width = 80;
  bool colors = false;  ///< bold headings and emphasis
};

/// Blocks as they are read in a terminal. Tables, which hold pictures, are left out.
std::string layOut(const std::vector<Block>& blocks, const Layout& layout);

}  // namespace zvk
