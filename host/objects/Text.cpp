#include "host/objects/Text.h"

#include <cstring>

#include "host/Host.h"

namespace host {

namespace {

// Mac Roman characters 128 to 255.
constexpr char16_t kMacRoman[] =
    u"ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø"
    u"¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";
// Windows Latin 1 characters 128 to 159; 0xFFFD where there is none.
constexpr char16_t kWindowsLatin1[] = u"€\uFFFD‚ƒ„…†‡ˆ‰Š‹Œ\uFFFDŽ\uFFFD\uFFFD‘’“”•–—˜™š›œ\uFFFDžŸ";
static_assert(std::size(kMacRoman) == 129 && std::size(kWindowsLatin1) == 33);

constexpr char32_t kReplacement = 0xFFFD;

char32_t decodeByte(uint8_t byte, HostULong encoding) {
  if (byte < 128) return byte;
  if (encoding == kEncodingMacRoman) return kMacRoman[byte - 128];
  if (encoding == kEncodingASCII) return kReplacement;
  return byte < 160 ? kWindowsLatin1[byte - 128] : byte;
}

std::u32string decodeUTF8(std::string_view bytes) {
  std::u32string text;
  for (size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<uint8_t>(bytes[i]);
    const int length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t value = length == 1 ? lead : lead & (0x7F >> length);
    bool valid = lead < 0x80 || (lead >= 0xC2 && lead < 0xF5);
    for (int k = 1; valid && k < length; ++k) {
      valid = i + k < bytes.size() && (bytes[i + k] & 0xC0) == 0x80;
      if (valid) value = value << 6 | (bytes[i + k] & 0x3F);
    }
    text += valid ? value : kReplacement;
    i += valid ? length : 1;
  }
  return text;
}

template <typename Unit>
std::u32string decodeUnits(std::string_view bytes) {
  std::u32string text;
  for (size_t i = 0; i + sizeof(Unit) <= bytes.size(); i += sizeof(Unit)) {
    Unit unit;
    memcpy(&unit, bytes.data() + i, sizeof unit);
    const bool low = unit >= 0xDC00 && unit < 0xE000;
    if (sizeof(Unit) == 2 && low && !text.empty() && text.back() >= 0xD800 &&
        text.back() < 0xDC00) {
      text.back() = 0x10000 + ((text.back() - 0xD800) << 10) + (unit - 0xDC00);
    } else {
      text += unit;
    }
  }
  return text;
}

std::u32string decode(std::string_view bytes, HostULong encoding) {
  if (encoding == kEncodingUTF8) return decodeUTF8(bytes);
  if (encoding == kEncodingUTF16) return decodeUnits<char16_t>(bytes);
  if (encoding == kEncodingUTF32) return decodeUnits<char32_t>(bytes);
  std::u32string text;
  for (char c : bytes) text += decodeByte(static_cast<uint8_t>(c), encoding);
  return text;
}

template <typename Unit>
void appendUnit(std::string& bytes, char32_t value) {
  const auto unit = static_cast<Unit>(value);
  bytes.append(reinterpret_cast<const char*>(&unit), sizeof unit);
}

void appendUTF8(std::string& bytes, char32_t c) {
  const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  const int leadMarks[] = {0, 0xC0, 0xE0, 0xF0};
  bytes += static_cast<char>(leadMarks[more] | static_cast<int>(c >> (6 * more)));
  for (int k = more - 1; k >= 0; --k) bytes += static_cast<char>(0x80 | ((c >> (6 * k)) & 0x3F));
}

void appendUTF16(std::string& bytes, char32_t c) {
  if (c < 0x10000) return appendUnit<char16_t>(bytes, c);
  appendUnit<char16_t>(bytes, 0xD800 + ((c - 0x10000) >> 10));
  appendUnit<char16_t>(bytes, 0xDC00 + (c & 0x3FF));
}

void appendByte(std::string& bytes, char32_t c, HostULong encoding) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (decodeByte(static_cast<uint8_t>(byte), encoding) == c && c != kReplacement) {
      bytes += static_cast<char>(byte);
      return;
    }
  }
  bytes += '?';
}

}  // namespace

std::string convertText(std::string_view bytes, HostULong from, HostULong to) {
  if (from == to || from == kEncodingNone || to == kEncodingNone) return std::string(bytes);
  std::string result;
  for (char32_t c : decode(bytes, from)) {
    if (to == kEncodingUTF8) {
      appendUTF8(result, c);
    } else if (to == kEncodingUTF16) {
      appendUTF16(result, c);
    } else if (to == kEncodingUTF32) {
      appendUnit<char32_t>(result, c);
    } else {
      appendByte(result, c, to);
    }
  }
  return result;
}

String::String(Host& host, std::string_view bytes, HostULong encoding, Placement placement)
    : Object(host, "string", sizeof(REALstringStruct)), storage_(bytes.size() + 2, placement) {
  uint8_t* data = storage_.data();
  memcpy(data + 1, bytes.data(), bytes.size());
  data[0] = static_cast<uint8_t>(std::min<size_t>(bytes.size(), 255));
  record()->storage = reinterpret_cast<const char*>(data);
  record()->length = static_cast<int32_t>(bytes.size());
  record()->encoding = static_cast<uint32_t>(encoding);
}

String* String::create(Host& host, std::string_view bytes, HostULong encoding,
                       Placement placement) {
  return new String(host, bytes, encoding, placement);
}

std::string_view String::bytes() const {
  if (!alive()) return {};
  return {record()->storage + 1, static_cast<size_t>(record()->length)};
}

std::string String::utf8() const { return convertText(bytes(), encoding(), kEncodingUTF8); }

std::string String::details() const { return std::to_string(bytes().size()) + " bytes"; }

}  // namespace host
