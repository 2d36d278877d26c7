#include "CallText.h"

#include <cctype>

#include "Tool.h"

namespace zvk {

namespace {

bool isNameCharacter(char c) { return isalnum(static_cast<unsigned char>(c)) || c == '_'; }

class CallParser {
 public:
  explicit CallParser(std::string_view text) : text_(text) {}

  CallText parse() {
    CallText call;
    call.name = name();
    if (call.name.empty()) fail("a method name is expected");
    if (accept('(') && !accept(')')) {
      do {
        call.arguments.push_back(argument());
      } while (accept(','));
      if (!accept(')')) fail("\")\" is missing");
    }
    if (accept('=')) call.assigned = value("");
    skipBlanks();
    if (position_ < text_.size()) {
      fail("\"" + shortened(text_.substr(position_)) + "\" is too much");
    }
    return call;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw InputError("cannot understand the call " + shortened(text_) + ": " + what);
  }

  void skipBlanks() {
    while (position_ < text_.size() && text_[position_] == ' ') ++position_;
  }

  bool accept(char c) {
    skipBlanks();
    if (position_ == text_.size() || text_[position_] != c) return false;
    ++position_;
    return true;
  }

  std::string name() {
    skipBlanks();
    const size_t start = position_;
    while (position_ < text_.size() && isNameCharacter(text_[position_])) ++position_;
    return std::string(text_.substr(start, position_ - start));
  }

  Argument argument() {
    const size_t start = position_;
    std::string word = name();
    if (!word.empty() && accept('=')) return {std::move(word), value(",)")};
    position_ = start;
    return {"", value(",)")};
  }

  // Up to one of `ends` outside quotes, or to the end of the text.
  std::string value(std::string_view ends) {
    skipBlanks();
    const size_t start = position_;
    bool quoted = false;
    while (position_ < text_.size()) {
      const char c = text_[position_];
      if (c == '"') quoted = !quoted;
      if (!quoted && ends.find(c) != std::string_view::npos) break;
      ++position_;
    }
    if (quoted) fail("a quote is not closed");
    size_t end = position_;
    while (end > start && text_[end - 1] == ' ') --end;
    if (end == start) fail("a value is missing");
    return std::string(text_.substr(start, end - start));
  }

  std::string_view text_;
  size_t position_ = 0;
};

}  // namespace

CallText parseCall(std::string_view text) { return CallParser(text).parse(); }

std::string unquoted(std::string_view text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    text = text.substr(1, text.size() - 2);
  }
  return std::string(text);
}

std::string shortened(std::string_view text) {
  constexpr size_t kMost = 100;
  if (text.size() <= kMost) return std::string(text);
  return std::string(text.substr(0, kMost)) + " ...";
}

}  // namespace zvk
