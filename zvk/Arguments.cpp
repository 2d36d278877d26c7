#include "Arguments.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "CallText.h"
#include "Speech.h"

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
      return "a colour (&cRRGGBB, #rrggbb or a name such as orange)";
    case Type::kBoolean:
      return "true or false (yes or no, 1 or 0)";
    case Type::kDouble:
      return "a finite number";
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
  if (end == text.c_str() || *end != '\0' || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// The names that style sheets started with, and a few that everybody tries.
constexpr struct {
  std::string_view name;
  uint32_t rgb;
} kColorNames[] = {
    {"black", 0x000000},   {"silver", 0xC0C0C0},  {"gray", 0x808080},  {"grey", 0x808080},
    {"white", 0xFFFFFF},   {"maroon", 0x800000},  {"red", 0xFF0000},   {"purple", 0x800080},
    {"fuchsia", 0xFF00FF}, {"magenta", 0xFF00FF}, {"green", 0x008000}, {"lime", 0x00FF00},
    {"olive", 0x808000},   {"yellow", 0xFFFF00},  {"navy", 0x000080},  {"blue", 0x0000FF},
    {"teal", 0x008080},    {"aqua", 0x00FFFF},    {"cyan", 0x00FFFF},  {"orange", 0xFFA500},
    {"pink", 0xFFC0CB},    {"brown", 0xA52A2A},   {"gold", 0xFFD700},  {"beige", 0xF5F5DC},
};

std::optional<uint32_t> parseHexNumber(std::string_view digits) {
  uint32_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
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
    for (const char* yes : {"true", "yes", "on", "1"}) {
      if (grammar::equalIgnoringCase(text, yes)) return Value(true);
    }
    for (const char* no : {"false", "no", "off", "0"}) {
      if (grammar::equalIgnoringCase(text, no)) return Value(false);
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<host::Color> parseColor(std::string_view text) {
  for (const auto& known : kColorNames) {
    if (grammar::equalIgnoringCase(text, known.name)) return host::Color{known.rgb};
  }
  const bool sharp = text.starts_with('#');
  const bool prefixed = text.starts_with("&c") || text.starts_with("&C") ||
                        text.starts_with("0x") || text.starts_with("0X");
  if (!sharp && !prefixed) return std::nullopt;
  text.remove_prefix(sharp ? 1 : 2);
  std::string digits(text);
  if (sharp && digits.size() == 3) {
    digits = {text[0], text[0], text[1], text[1], text[2], text[2]};
  }
  if (digits.size() != 6) return std::nullopt;
  const auto rgb = parseHexNumber(digits);
  return rgb ? std::optional(host::Color{*rgb}) : std::nullopt;
}

host::Color colorOf(const std::string& text, const std::string& place) {
  if (const auto color = parseColor(text)) return *color;
  throw InputError(place + ": " + text + " is not " + expectation(Type::kColor));
}

bool ArgumentReader::isCurrent(Type type, std::string_view text) {
  return isHandle(type) && text == "_";
}

Value ArgumentReader::read(Type type, std::string_view text, const std::string& place) {
  const std::string word(text);
  const auto fail = [&]() -> Value {
    throw InputError(place + ": " + shortened(word) + " is not " + expectation(type));
  };
  if (!isHandle(type)) {
    const auto value = parseScalar(type, word);
    return value ? *value : fail();
  }
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

Value ArgumentReader::take(Type type, const Current& current, const std::string& place) const {
  if (type == Type::kPicture) {
    if (current.picture) return current.picture;
    throw InputError(current.origin + ": not a picture, as " + place + " needs; possible are " +
                     host::readableFormats());
  }
  if (current.picture) {
    throw InputError(current.origin + ": a picture; " + place + " needs " + expectation(type));
  }
  if (type == Type::kMemoryBlock) return blockOf(current.bytes);
  return host_.newString(current.bytes, kEncodingNone);
}

std::string ArgumentReader::bytesOf(const std::string& path) {
  std::error_code error;
  if (path != host::kStandard && std::filesystem::is_regular_file(path, error)) {
    return host::readFile(path);
  }
  const auto known = kept_.find(path);
  if (known != kept_.end()) return known->second;
  return kept_[path] = host::readFile(path);
}

host::LoadedPicture ArgumentReader::loadPicture(std::string_view bytes, const std::string& path,
                                                bool addAlpha) const {
  const std::string name = host::inputName(path);
  host::LoadOptions options{
      .layout = host_.settings.newPictures, .addAlpha = addAlpha, .damaged = files_.damaged};
  options.layout.alpha = options.layout.storage != host::Storage::kDrawable;
  if (!files_.background.empty())
    options.background = colorOf(files_.background, "--background").rgb;
  host::LoadedPicture loaded = host::loadPicture(host_, bytes, name, options);
  if (!loaded.damage.empty()) note(name + ": damaged: " + loaded.damage);
  for (const std::string& loss : loaded.losses) note(name + ": " + loss);
  if (loaded.transparent && !options.layout.alpha && files_.background.empty()) {
    note(name + ": drawables keep no alpha; transparent parts are laid over white (--background)");
  }
  return loaded;
}

host::BlockRef ArgumentReader::blockOf(std::string_view bytes) const {
  return host_.newBlock(std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
}

Value ArgumentReader::readFile(Type type, const std::string& path) {
  const std::string bytes = bytesOf(path);
  if (type == Type::kPicture) return loadPicture(bytes, path).picture;
  if (type == Type::kMemoryBlock) return blockOf(bytes);
  return host_.newString(bytes, kEncodingNone);
}

}  // namespace zvk
