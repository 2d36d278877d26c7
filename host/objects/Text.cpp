#include "host/objects/Text.h"

#include <iconv.h>

#include <algorithm>
#include <cstring>

#include "host/Host.h"

namespace host {

namespace {

struct Encoding {
  HostULong code;
  const char* name;
};
constexpr Encoding kEncodings[] = {
    {kEncodingMacRoman, "MACINTOSH"},   {kEncodingUTF16, "UTF-16LE"},
    {kEncodingWindowsLatin1, "CP1252"}, {kEncodingASCII, "ASCII"},
    {kEncodingUTF8, "UTF-8"},           {kEncodingUTF32, "UTF-32LE"},
};

/// Null for codes that stand for no encoding of text.
const char* nameOf(HostULong code) {
  for (const Encoding& encoding : kEncodings) {
    if (encoding.code == code) return encoding.name;
  }
  return nullptr;
}

}  // namespace

std::string convertText(std::string_view bytes, HostULong from, HostULong to) {
  const char* const source = nameOf(from);
  const char* const target = nameOf(to);
  if (from == to || source == nullptr || target == nullptr) return std::string(bytes);
  const std::string wanted = std::string(target) + "//TRANSLIT";
  iconv_t conversion = iconv_open(wanted.c_str(), source);
  if (conversion == reinterpret_cast<iconv_t>(-1)) return std::string(bytes);
  constexpr size_t kMostForOneByte = 8;
  std::string result(bytes.size() * kMostForOneByte + kMostForOneByte, '\0');
  char* input = const_cast<char*>(bytes.data());
  char* output = result.data();
  size_t left = bytes.size(), room = result.size();
  // Bytes that are no text are left out.
  while (left > 0 && iconv(conversion, &input, &left, &output, &room) == static_cast<size_t>(-1)) {
    ++input;
    --left;
  }
  iconv_close(conversion);
  result.resize(result.size() - room);
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
