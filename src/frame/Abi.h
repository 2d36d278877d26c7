// The binary interface between the host and its plug-ins: opaque handles, records that cross the
// boundary, and the numbers that both sides agree on.
//
// Layout. The host is a 32-bit process in which every word of a record is 4 bytes. On a 64-bit host
// the same fields follow each other in the same order with natural alignment: what is an address is
// a pointer, what is a number is an int32_t.
//
// Ownership. Handles are reference-counted by the host, null is the host language's nil. A handle
// that a host service creates or hands out carries one reference for the receiver; a handle that
// arrives as an argument is borrowed.
#pragma once

#include <cstddef>
#include <cstdint>

#define ZVK_EXPORT __attribute__((visibility("default")))

// Host integers are 32 bits wide everywhere. On i386 they are spelt `long`, which makes the mangled
// names of the exported routines the ones that other plug-ins look for.
#if defined(__i386__)
using HostLong = long;
using HostULong = unsigned long;
#else
using HostLong = int;
using HostULong = unsigned int;
#endif
static_assert(sizeof(HostLong) == 4 && sizeof(HostULong) == 4);

using HostBoolean = unsigned char;  ///< 0 is false; anything else is true

struct REALobjectStruct;
struct REALpictureStruct;
struct REALgraphicsStruct;
struct REALmemoryBlockStruct;
struct REALclassRefStruct;
struct REALcontrolInstanceStruct;
struct REALfolderItemStruct;
struct REALintArrayStruct;
struct REALstringArrayStruct;
struct REALobjectArrayStruct;
struct REALcontrol;
struct REALevent;

namespace RB {
struct Rect;
}

/// Element type codes of the host's array creation service; the values are the host's own.
enum REALArrayType : int32_t {};

/// Layouts of a buffer that becomes a picture.
enum RBPixelType : int32_t {
  kPixelTypeRGB24 = 1,  ///< rows from the top; 3 bytes per pixel: red, green, blue
};

/// Maps the name of a host service to its address; null when the host has no such service.
using HostResolver = void* (*)(const char* entryName);

/// The plug-in interface version that this plug-in speaks.
inline constexpr int32_t kPluginInterfaceVersion = 9;

// --- Text ---------------------------------------------------------------------------------------

inline constexpr HostULong kEncodingMacRoman = 0;
inline constexpr HostULong kEncodingUTF16 = 0x100;
inline constexpr HostULong kEncodingWindowsLatin1 = 0x500;
inline constexpr HostULong kEncodingASCII = 0x600;
inline constexpr HostULong kEncodingUTF8 = 0x8000100;
inline constexpr HostULong kEncodingUTF32 = 0xC000100;
inline constexpr HostULong kEncodingNone = 0xFFFF;  ///< raw bytes

/// A host string. The host owns and writes the record; plug-ins only read it.
struct REALstringStruct {
  int32_t hostWord0;
  const char* storage;  ///< the text begins at the storage's second byte and ends with a NUL
  int32_t hostWord2;
  int32_t length;  ///< in bytes, without the NUL
  uint32_t encoding;
};

/// Text bytes that the host's string-data services lend out and take back.
struct REALstringData {
  void* data;
  int32_t length;  ///< in bytes, without the terminator
  uint32_t encoding;
};

// --- Objects and arrays -------------------------------------------------------------------------

/// The part of every host object that plug-ins may look at.
struct HostObjectHeader {
  int32_t hostWords[3];
  int32_t lockCount;
};
static_assert(offsetof(HostObjectHeader, lockCount) == 12);

/// A host array as the element fallbacks address it.
struct REALarrayStruct {
  int32_t hostWord0;
  int32_t hostWord1;
  void* elements;  ///< contiguous, each element at its natural width
};

// --- Pictures -----------------------------------------------------------------------------------

/// Kinds of picture description that a lock can ask for and deliver.
enum PictureDescriptionKind : int32_t {
  kDescriptionDrawable = 6,      ///< the data handle is a GDK drawable
  kDescriptionPixelRecord = 10,  ///< the data handle is a HostPixelRecord
  kDescriptionCairo = 12,        ///< the data handle is a cairo context on an image surface
};

/// Filled by the host while a picture is locked. Plug-ins read the first four fields; the room
/// behind them belongs to hosts that write more.
struct REALpictureDescription {
  int32_t kind;
  void* data;
  int32_t width;
  int32_t height;
  int32_t hostWords[28];
};

/// Pixel storage of a console or web application's picture. Owned by the host, read only.
struct HostPixelRecord {
  int32_t type;  ///< 0 for a picture without alpha channel that can be opened
  int32_t width;
  int32_t height;
  uint8_t hostBytes[7212];
  void* hostPixels;     ///< must not be null
  uint8_t** rowStarts;  ///< entry y is the first byte of row y
};

// --- Declarations -------------------------------------------------------------------------------

/// A method that the plug-in adds to a class, to a host class or globally.
struct REALmethodDefinition {
  void* routine;
  void* setter;             ///< null unless the method can be assigned to
  const char* declaration;  ///< in the host language
  int32_t flags;
};

/// A property of a plug-in class.
struct REALpropertyDefinition {
  const char* group;
  const char* name;
  const char* type;
  int32_t flags;
  void* getter;       ///< hostAccessor() when the host reads the field itself
  void* setter;       ///< hostAccessor() when the host writes the field itself
  int32_t parameter;  ///< byte position in the instance data, or the accessors' parameter
  int32_t reserved[3];
};

/// A class that the plug-in adds, or a host class that it extends.
struct REALclassDefinition {
  int32_t version;
  const char* name;
  const char* superName;
  int32_t dataSize;    ///< bytes of instance data
  int32_t dataOffset;  ///< written by the host: where an instance's data starts within it
  void* constructor;
  void* destructor;
  REALpropertyDefinition* properties;
  int32_t propertyCount;
  REALmethodDefinition* methods;
  int32_t methodCount;
  void* reserved[9];
  int32_t flags;
  REALpropertyDefinition* sharedProperties;
  int32_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  int32_t sharedMethodCount;
};

/// The part of a module definition that start-up looks at.
struct REALmoduleDefinition {
  int32_t version;
  const char* name;
  REALmethodDefinition* methods;
  int32_t methodCount;
  void* reserved[2];
  REALpropertyDefinition* properties;
  int32_t propertyCount;
};

/// Stands in a property record for "the host accesses the instance data by itself".
inline void* hostAccessor() noexcept { return reinterpret_cast<void*>(~uintptr_t{0}); }

inline constexpr int32_t kFlagConsoleSafe = 4;        ///< host bit
inline constexpr int32_t kFlagHostBit8 = 8;           ///< host bit
inline constexpr int32_t kFlagWebOnly = 0x100;        ///< host bit, class records only
inline constexpr int32_t kMarkConsoleSafe = 0x40000;  ///< our marker for kFlagConsoleSafe
inline constexpr int32_t kMarkHostBit8 = 0x80000;     ///< our marker for kFlagHostBit8

#if defined(__i386__)
static_assert(sizeof(REALstringStruct) == 20 && offsetof(REALstringStruct, storage) == 4 &&
              offsetof(REALstringStruct, length) == 12 &&
              offsetof(REALstringStruct, encoding) == 16);
static_assert(sizeof(REALstringData) == 12 && offsetof(REALstringData, length) == 4 &&
              offsetof(REALstringData, encoding) == 8);
static_assert(offsetof(REALarrayStruct, elements) == 8);
static_assert(offsetof(REALpictureDescription, data) == 4 &&
              offsetof(REALpictureDescription, width) == 8 &&
              offsetof(REALpictureDescription, height) == 12);
static_assert(offsetof(HostPixelRecord, hostPixels) == 7224 &&
              offsetof(HostPixelRecord, rowStarts) == 7228);
static_assert(sizeof(REALmethodDefinition) == 16 && offsetof(REALmethodDefinition, flags) == 12);
static_assert(sizeof(REALpropertyDefinition) == 40 &&
              offsetof(REALpropertyDefinition, flags) == 12 &&
              offsetof(REALpropertyDefinition, parameter) == 24);
static_assert(sizeof(REALclassDefinition) == 100 &&
              offsetof(REALclassDefinition, dataOffset) == 16 &&
              offsetof(REALclassDefinition, properties) == 28 &&
              offsetof(REALclassDefinition, methods) == 36 &&
              offsetof(REALclassDefinition, flags) == 80 &&
              offsetof(REALclassDefinition, sharedProperties) == 84 &&
              offsetof(REALclassDefinition, sharedMethods) == 92);
static_assert(offsetof(REALmoduleDefinition, methods) == 8 &&
              offsetof(REALmoduleDefinition, properties) == 24);
#endif
