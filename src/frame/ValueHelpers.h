// Host values made from plug-in values and back: strings and their encodings, four-character codes,
// memory blocks, type tests, exceptions. All but stringText are exported for other
// code in the host process.
#pragma once

#include <string_view>

#include "Abi.h"

/// The text of a host string as its bytes stand; empty for null. The view lives as long as the
/// string.
std::string_view stringText(const REALstringStruct* string) noexcept;

/// A new host string of `byteLength` bytes of text, with one reference for the caller. UTF-32 text
/// becomes UTF-16, each character by its low 16 bits. Null for null data, a length below 1, or when
/// the host makes no string.
ZVK_EXPORT REALstringStruct* REALBuildUnicodeString(const void* data, int byteLength,
                                                    HostULong encoding) noexcept;

/// Raises a host exception of class `className` ("NilObjectException" when the host does not know
/// it) with a 7-bit `message`, which may be null. Returns to the caller, who returns to the host at
/// once. Without either class nothing is raised.
ZVK_EXPORT void RaiseException(const char* className, const char* message) noexcept;

/// A new string of at most `max` bytes (no limit below 1) of NUL-terminated text; null for null or
/// empty text.
ZVK_EXPORT REALstringStruct* CString2RBmax(const char* text, HostULong encoding, int max) noexcept;

/// A new string from NUL-terminated UTF-16 or UTF-32 text; null for null or empty text.
ZVK_EXPORT REALstringStruct* UnicodeCString2RB(const unsigned short* text) noexcept;
ZVK_EXPORT REALstringStruct* UnicodeCString2RB(const wchar_t* text) noexcept;

/// The string in the requested encoding, with one reference for the caller: the string itself where
/// its bytes already are right, a converted one otherwise; null for null or a failed conversion.
ZVK_EXPORT REALstringStruct* REALConvertStringFast(REALstringStruct* string,
                                                   HostULong encoding) noexcept;

/// kEncodingASCII when the text is pure 7-bit in a byte encoding that contains ASCII, else the
/// string's own encoding.
ZVK_EXPORT HostULong REALGetLowestStringEncoding(REALstringStruct* string) noexcept;

/// The first four characters in Mac Roman as a code, the first in the most significant byte; spaces
/// stand for missing ones.
ZVK_EXPORT HostULong REALstringToOSType(REALstringStruct* string) noexcept;

/// The four bytes of a code as a new string, the most significant first.
ZVK_EXPORT REALstringStruct* REALBuildOSTypeString(HostULong code) noexcept;

ZVK_EXPORT HostBoolean IsMemoryBlock(REALobjectStruct* object) noexcept;
ZVK_EXPORT HostBoolean IsFolderItem(REALobjectStruct* object) noexcept;

/// False for a null object or an unknown class.
ZVK_EXPORT HostBoolean REALObjectIsA(REALobjectStruct* object, const char* className) noexcept;

/// A new memory block that holds a copy of `size` bytes, with one reference for the caller; null
/// for null data, a size below 1, or when the host makes no block.
ZVK_EXPORT REALmemoryBlockStruct* REALBuildMemoryblock(const void* data, int size) noexcept;

/// Writes the string in UTF-8 and a line end to standard error; an empty line when there is no
/// text.
ZVK_EXPORT void DebugLog(REALstringStruct* string) noexcept;

/// Calendar time in sixtieths of a second, in steps of a second; wraps at 32 bits.
ZVK_EXPORT HostULong TickCount() noexcept;

/// Draws with the host's primitive, not transparent.
ZVK_EXPORT void REALDrawPicturePrimitive(REALgraphicsStruct* graphics, REALpictureStruct* picture,
                                         const RB::Rect* rectangle) noexcept;
