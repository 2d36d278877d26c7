#include "ValueHelpers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "HostServices.h"

namespace {

REALstringStruct* buildString(const void* data, int byteLength, HostULong encoding) noexcept {
  REALstringStruct* string = originalREALBuildString(static_cast<const char*>(data), byteLength);
  if (string != nullptr) REALSetStringEncoding(string, encoding);
  return string;
}

void narrowToUTF16(const void* utf32, uint16_t* utf16, size_t units) noexcept {
  const auto* bytes = static_cast<const unsigned char*>(utf32);
  for (size_t i = 0; i < units; ++i) {
    uint32_t unit;
    memcpy(&unit, bytes + i * sizeof unit, sizeof unit);
    utf16[i] = static_cast<uint16_t>(unit);
  }
}

REALstringStruct* buildFromUTF32(const void* data, int byteLength) noexcept {
  constexpr size_t kStackUnits = 199;
  const size_t units = static_cast<size_t>(byteLength) / 4;
  const int narrowLength = static_cast<int>(units * 2);
  if (units <= kStackUnits) {
    uint16_t narrow[kStackUnits];
    narrowToUTF16(data, narrow, units);
    return buildString(narrow, narrowLength, kEncodingUTF16);
  }
  auto* narrow = static_cast<uint16_t*>(calloc(units + 2, sizeof(uint16_t)));
  if (narrow == nullptr) return nullptr;
  narrowToUTF16(data, narrow, units);
  REALstringStruct* string = buildString(narrow, narrowLength, kEncodingUTF16);
  free(narrow);
  return string;
}

template <typename Unit>
int lengthInBytes(const Unit* text) noexcept {
  size_t units = 0;
  while (text[units] != 0) ++units;
  return static_cast<int>(units * sizeof(Unit));
}

bool isSevenBit(std::string_view text) noexcept {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

}  // namespace

std::string_view stringText(const REALstringStruct* string) noexcept {
  if (string == nullptr || string->storage == nullptr || string->length <= 0) return {};
  return {string->storage + 1, static_cast<size_t>(string->length)};
}

REALstringStruct* REALBuildUnicodeString(const void* data, int byteLength,
                                         HostULong encoding) noexcept {
  if (data == nullptr || byteLength <= 0) return nullptr;
  if (encoding == kEncodingUTF32) return buildFromUTF32(data, byteLength);
  return buildString(data, byteLength, encoding);
}

void RaiseException(const char* className, const char* message) noexcept {
  REALobjectStruct* exception = REALnewInstance(className);
  if (exception == nullptr) exception = REALnewInstance("NilObjectException");
  if (exception == nullptr) return;
  if (!hostRaisesExceptions()) return REALUnlockObject(exception);
  REALstringStruct* text = CString2RBmax(message, kEncodingASCII, 0);
  REALRaiseException(exception);
  // Hosts fill in a message of their own while raising, so ours is set after that.
  REALSetPropValue(exception, "Message", text);
  if (text != nullptr) REALUnlockString(text);
}

REALstringStruct* CString2RBmax(const char* text, HostULong encoding, int max) noexcept {
  if (text == nullptr) return nullptr;
  const size_t length = max >= 1 ? strnlen(text, static_cast<size_t>(max)) : strlen(text);
  return REALBuildUnicodeString(text, static_cast<int>(length), encoding);
}

REALstringStruct* UnicodeCString2RB(const unsigned short* text) noexcept {
  if (text == nullptr) return nullptr;
  return REALBuildUnicodeString(text, lengthInBytes(text), kEncodingUTF16);
}

REALstringStruct* UnicodeCString2RB(const wchar_t* text) noexcept {
  if (text == nullptr) return nullptr;
  return REALBuildUnicodeString(text, lengthInBytes(text), kEncodingUTF32);
}

REALstringStruct* REALConvertStringFast(REALstringStruct* string, HostULong encoding) noexcept {
  if (string == nullptr) return nullptr;
  const bool containsASCII = encoding == kEncodingWindowsLatin1 || encoding == kEncodingUTF8 ||
                             encoding == kEncodingMacRoman;
  if (string->encoding == encoding || (string->encoding == kEncodingASCII && containsASCII)) {
    if (!hostAddsStringReferences()) return nullptr;
    REALLockString(string);
    return string;
  }
  return REALConvertString(string, encoding);
}

HostULong REALGetLowestStringEncoding(REALstringStruct* string) noexcept {
  const HostULong encoding = REALGetStringEncoding(string);
  const bool containsASCII = encoding == kEncodingMacRoman || encoding == kEncodingUTF8 ||
                             encoding == kEncodingNone || encoding == kEncodingWindowsLatin1;
  return containsASCII && isSevenBit(stringText(string)) ? kEncodingASCII : encoding;
}

HostULong REALstringToOSType(REALstringStruct* string) noexcept {
  REALstringStruct* converted = REALConvertString(string, kEncodingMacRoman);
  const std::string_view text = stringText(converted != nullptr ? converted : string);
  HostULong code = 0;
  for (size_t i = 0; i < 4; ++i) {
    code = code << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : ' ');
  }
  if (converted != nullptr) REALUnlockString(converted);
  return code;
}

REALstringStruct* REALBuildOSTypeString(HostULong code) noexcept {
  const char bytes[4] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                         static_cast<char>(code >> 8), static_cast<char>(code)};
  const HostULong encoding = (code & 0x80808080) == 0 ? kEncodingASCII : kEncodingMacRoman;
  return REALBuildUnicodeString(bytes, 4, encoding);
}

HostBoolean IsMemoryBlock(REALobjectStruct* object) noexcept {
  return REALLoadObjectMethod(object, "Constructor(bytes as Integer)") != nullptr;
}

HostBoolean IsFolderItem(REALobjectStruct* object) noexcept {
  return REALLoadObjectMethod(object, "TrueItem(Index as integer) as Folderitem") != nullptr;
}

HostBoolean REALObjectIsA(REALobjectStruct* object, const char* className) noexcept {
  if (object == nullptr) return false;
  REALclassRefStruct* classRef = REALGetClassRef(className);
  return classRef != nullptr && REALObjectIsA(object, classRef) != 0;
}

REALmemoryBlockStruct* REALBuildMemoryblock(const void* data, int size) noexcept {
  if (data == nullptr || size <= 0) return nullptr;
  REALmemoryBlockStruct* block = REALNewMemoryBlock(size);
  if (block == nullptr) return nullptr;
  void* bytes = REALMemoryBlockGetPtr(block);
  const HostLong room = memoryBlockSize(block);
  const bool tooShort = room >= 0 && room < size;
  if (bytes == nullptr || tooShort) {
    REALUnlockObject(asObject(block));
    return nullptr;
  }
  memcpy(bytes, data, static_cast<size_t>(size));
  return block;
}

void DebugLog(REALstringStruct* string) noexcept {
  REALstringStruct* utf8 = REALConvertStringFast(string, kEncodingUTF8);
  fprintf(stderr, "%s\n", utf8 == nullptr || utf8->storage == nullptr ? "" : utf8->storage + 1);
  fflush(stderr);
  if (utf8 != nullptr) REALUnlockString(utf8);
}

HostULong TickCount() noexcept { return static_cast<HostULong>(time(nullptr)) * 60; }

void REALDrawPicturePrimitive(REALgraphicsStruct* graphics, REALpictureStruct* picture,
                              const RB::Rect* rectangle) noexcept {
  REALDrawPicturePrimitive(graphics, picture, rectangle, 0);
}
