#include "Arguments.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>

#include "CallText.h"
#include "Tool.h"
#include "host/files/PictureFile.h"

namespace zvk {

using grammar::Type;
using host::Value;

namespace {

bool isHandle(Type type) {
  return type == Type::kPicture || type == Type::kMemoryBlock || type == Type::kString;
}

const char* expectation(Type type) {
  switch (type) {
    case Type::kPicture:
      return "a picture (_ or @FILE)";
    case Type::kMemoryBlock:
      return "a memory block (@FILE or bytes:HEX)";
    case Type::kString:
      return "a string (@FILE or \"text\")";
    case Type::kInteger:
      return "an integer";
    case Type::kColor:
      return "a colour (&cRRGGBB)";
    case Type::kBoolean:
      return "true or false";
    case Type::kDouble:
      return "a number";
    case Type::kNothing:
      break;
  }
  return "nothing";
}

std::optional<int32_t> parseInteger(std::string_view text) {
  int32_t value;
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> parseDouble(const std::string& text) {
  char* end = nullptr;
  const double value = strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0') return std::nullopt;
  return value;
}

std::optional<host::Color> parseColor(std::string_view text) {
  constexpr size_t kDigits = 6;
  uint32_t value;
  if (text.size() != 2 + kDigits || text[0] != '&' || grammar::lowerCase(text[1]) != 'c') {
    return std::nullopt;
  }
  const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), value, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return host::Color{value};
}

std::optional<std::string> parseHex(std::string_view text) {
  std::string bytes;
  if (text.size() % 2 != 0) return std::nullopt;
  for (size_t i = 0; i < text.size(); i += 2) {
    uint8_t byte;
    const auto [end, error] = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (error != std::errc() || end != text.data() + i + 2) return std::nullopt;
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

std::optional<Value> parseScalar(Type type, const std::string& text) {
  if (type == Type::kInteger || type == Type::kColor) {
    if (const auto color = parseColor(text)) return Value(*color);
    if (type == Type::kColor) return std::nullopt;
    if (const auto value = parseInteger(text)) return Value(int{*value});
  }
  if (type == Type::kDouble) {
    if (const auto value = parseDouble(text)) return Value(*value);
  }
  if (type == Type::kBoolean) {
    if (grammar::equalIgnoringCase(text, "true")) return Value(true);
    if (grammar::equalIgnoringCase(text, "false")) return Value(false);
  }
  return std::nullopt;
}

}  // namespace

Value ArgumentReader::read(Type type, std::string_view text, const std::string& place) const {
  const std::string word(text);
  const auto fail = [&]() -> Value {
    throw InputError(word + " is not " + expectation(type) + ", as " + place + " needs");
  };
  if (!isHandle(type)) {
    const auto value = parseScalar(type, word);
    return value ? *value : fail();
  }
  if (word == "_") return readCurrent(type, place);
  if (grammar::equalIgnoringCase(word, "nil")) return nullptr;
  if (word.starts_with('@')) return readFile(type, unquoted(word.substr(1)));
  constexpr std::string_view kBytes = "bytes:";
  if (word.starts_with(kBytes) && type == Type::kMemoryBlock) {
    const auto bytes = parseHex(word.substr(kBytes.size()));
    return bytes ? Value(blockOf(*bytes)) : fail();
  }
  if (word.starts_with('"') && type == Type::kString) {
    return host_.newString(unquoted(word), kEncodingUTF8);
  }
  return fail();
}

host::PictureRef ArgumentReader::loadPicture(const std::string& path) const {
  host::PictureOptions layout = host_.settings.newPictures;
  layout.alpha = layout.storage != host::Storage::kDrawable;
  return host::loadPicture(host_, path, layout);
}

host::BlockRef ArgumentReader::blockOf(std::string_view bytes) const {
  return host_.newBlock(std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

Value ArgumentReader::readFile(Type type, const std::string& path) const {
  if (type == Type::kPicture) return loadPicture(path);
  const std::string bytes = host::readFile(path);
  if (type == Type::kMemoryBlock) return blockOf(bytes);
  return host_.newString(bytes, kEncodingNone);
}

Value ArgumentReader::readCurrent(Type type, const std::string& place) const {
  if (type == Type::kPicture) {
    if (!current_.picture)
      throw InputError(current_.origin + " is not a picture, as " + place + " needs");
    return current_.picture;
  }
  if (current_.picture) {
    throw InputError(current_.origin + " is a picture, " + place + " needs " + expectation(type));
  }
  if (type == Type::kMemoryBlock) return blockOf(current_.bytes);
  return host_.newString(current_.bytes, kEncodingNone);
}

}  // namespace zvk
