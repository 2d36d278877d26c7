#include "Markdown.h"

#include <algorithm>

namespace zvk {

namespace {

constexpr std::string_view kFence = "```", kItem = "- ", kTableRow = "|", kComment = "<";

bool startsBlock(std::string_view line) {
  return line.empty() || line.starts_with('#') || line.starts_with(kItem) ||
         line.starts_with(kFence) || line.starts_with(kTableRow) || line.starts_with(kComment);
}

class Pages {
 public:
  explicit Pages(std::string_view page) : rest_(page) {}

  std::vector<Block> read() {
    while (!rest_.empty()) {
      const std::string_view line = next();
      if (line.starts_with(kFence)) {
        readCode(line.substr(kFence.size()));
      } else if (line.starts_with('#')) {
        const size_t level = line.find_first_not_of('#');
        add(Block::Kind::kHeading, line.substr(std::min(level + 1, line.size())));
        blocks_.back().level = static_cast<int>(level);
      } else if (line.starts_with(kTableRow)) {
        add(Block::Kind::kTable, line);
      } else if (line.starts_with(kItem)) {
        readLines(Block::Kind::kItem, line.substr(kItem.size()));
      } else if (!startsBlock(line)) {
        readLines(Block::Kind::kParagraph, line);
      }
    }
    return std::move(blocks_);
  }

 private:
  std::string_view next() {
    const size_t end = std::min(rest_.find('\n'), rest_.size());
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return line;
  }

  std::string_view peek() const { return rest_.substr(0, rest_.find('\n')); }

  void add(Block::Kind kind, std::string_view text) {
    blocks_.push_back({.kind = kind, .text = std::string(text)});
  }

  void readLines(Block::Kind kind, std::string_view first) {
    add(kind, first);
    while (!rest_.empty() && !startsBlock(peek())) {
      const std::string_view line = next();
      blocks_.back().text += ' ';
      blocks_.back().text += line.substr(std::min(line.find_first_not_of(' '), line.size()));
    }
  }

  void readCode(std::string_view language) {
    add(Block::Kind::kCode, "");
    Block& code = blocks_.back();
    code.language = language;
    while (!rest_.empty()) {
      const std::string_view line = next();
      if (line.starts_with(kFence)) break;
      code.text += line;
      code.text += '\n';
    }
  }

  std::string_view rest_;
  std::vector<Block> blocks_;
};

/// Text with its marks taken away or, of emphasis, turned into the terminal's.
std::string marked(std::string_view text, std::string_view bold, std::string_view normal) {
  std::string result;
  bool emphasized = false, code = false;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '`') {
      code = !code;
    } else if (!code && text.substr(at).starts_with("**")) {
      emphasized = !emphasized;
      result += emphasized ? bold : normal;
      ++at;
    } else if (!code && text[at] == '[') {
      // [what is shown](where it leads)
      const size_t close = text.find("](", at), end = text.find(')', close);
      if (close == std::string_view::npos || end == std::string_view::npos) {
        result += text[at];
        continue;
      }
      result += marked(text.substr(at + 1, close - at - 1), bold, normal);
      at = end;
    } else {
      result += text[at];
    }
  }
  return result;
}

constexpr std::string_view kCodeIndent = "    ";
constexpr std::string_view kBold = "\033[1m", kNormal = "\033[0m";

class Page {
 public:
  explicit Page(const Layout& layout) : layout_(layout) {}

  void add(const Block& block) {
    switch (block.kind) {
      case Block::Kind::kHeading:
        separate(false);
        wrap((layout_.colors ? "**" : "") + block.text + (layout_.colors ? "**" : ""), "", "    ");
        break;
      case Block::Kind::kParagraph:
        separate(false);
        wrap(block.text, "", "");
        break;
      case Block::Kind::kItem:
        separate(true);
        wrap(block.text, "  ", "      ");
        break;
      case Block::Kind::kCode:
        separate(false);
        addCode(block);
        break;
      case Block::Kind::kTable:
        return;
    }
    last_ = block.kind;
  }

  std::string take() { return std::move(text_); }

 private:
  void separate(bool item) {
    if (!text_.empty() && !(item && last_ == Block::Kind::kItem)) text_ += '\n';
  }

  void wrap(std::string_view text, std::string_view first, std::string_view others) {
    std::string line(first);
    size_t used = columns(line);
    const std::string words =
        marked(text, layout_.colors ? kBold : "", layout_.colors ? kNormal : "");
    const std::string bare = withoutMarks(text);
    std::string_view rest = words, measured = bare;
    bool begun = false;
    while (!measured.empty()) {
      const std::string_view word = rest.substr(0, rest.find(' '));
      const std::string_view size = measured.substr(0, measured.find(' '));
      if (begun && used + 1 + columns(size) > layout_.width) {
        text_ += line + '\n';
        line = others;
        used = columns(line);
        begun = false;
      }
      if (begun) line += ' ';
      used += columns(size) + (begun ? 1 : 0);
      line += word;
      begun = true;
      rest.remove_prefix(std::min(word.size() + 1, rest.size()));
      measured.remove_prefix(std::min(size.size() + 1, measured.size()));
    }
    text_ += line + '\n';
  }

  void addCode(const Block& block) {
    std::string_view code = block.text;
    while (!code.empty()) {
      const std::string_view line = code.substr(0, code.find('\n'));
      if (block.language == "sh") {
        addCommand(line);
      } else {
        text_ += line.empty() ? "" : kCodeIndent;
        text_ += line;
        text_ += '\n';
      }
      code.remove_prefix(std::min(line.size() + 1, code.size()));
    }
  }

  /// A command, continued on further lines where it is too long.
  void addCommand(std::string_view line) {
    std::string indent(kCodeIndent);
    while (indent.size() + columns(line) > layout_.width) {
      const size_t end = lastBlank(line, layout_.width - indent.size() - 2);
      if (end == 0) break;
      text_ += indent;
      text_ += line.substr(0, end);
      text_ += " \\\n";
      line.remove_prefix(end + 1);
      indent = std::string(2 * kCodeIndent.size(), ' ');
    }
    text_ += indent;
    text_ += line;
    text_ += '\n';
  }

  /// The last blank up to `most` at which a command can be continued on the next line, else the
  /// first one; 0 where there is none.
  static size_t lastBlank(std::string_view line, size_t most) {
    size_t last = 0;
    bool quoted = false;
    for (size_t at = 0; at < line.size() && (at <= most || last == 0); ++at) {
      quoted ^= line[at] == '\'';
      // An option stays with its value.
      const bool withinOption = line.substr(0, at).ends_with(" -o");
      if (line[at] == ' ' && !quoted && !withinOption) last = at;
    }
    return last;
  }

  const Layout& layout_;
  std::string text_;
  Block::Kind last_ = Block::Kind::kHeading;
};

}  // namespace

std::vector<Block> parseMarkdown(std::string_view page) { return Pages(page).read(); }

std::string withoutMarks(std::string_view text) { return marked(text, "", ""); }

size_t columns(std::string_view text) {
  const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string layOut(const std::vector<Block>& blocks, const Layout& layout) {
  Page page(layout);
  for (const Block& block : blocks) page.add(block);
  return page.take();
}

}  // namespace zvk
