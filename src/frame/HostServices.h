// The host's services, one function per service, named and typed as the host's interface has them.
//
// Every function forwards its arguments unchanged to the host entry of the name given in
// HostServices.cpp and returns the host's result unchanged. When the host lacks the service, the
// function does nothing, leaves out-parameters untouched and returns 0, null or false; the few that
// differ say so here. Nothing is looked up by name after the first successful call.
#pragma once

#include "Abi.h"

// --- Registration and runtime -------------------------------------------------------------------

void REALRegisterClass(REALclassDefinition* definition) noexcept;
void REALRegisterClassExtension(REALclassDefinition* definition) noexcept;
void REALRegisterMethod(REALmethodDefinition* definition) noexcept;
void REALRegisterControl(REALcontrol* definition) noexcept;
void REALRegisterModule(REALmoduleDefinition* definition) noexcept;
/// The task's id; -1 when the host lacks the service.
HostLong REALRegisterBackgroundTask(void (*task)(void*), HostULong period, void* data) noexcept;
void REALUnregisterBackgroundTask(HostLong task) noexcept;
HostBoolean REALinRuntime() noexcept;
HostBoolean REALInDebugMode() noexcept;
void REALYieldToRB() noexcept;
/// Calls `function(data)` under the host's exception handler; without that service, calls it
/// directly and returns 0.
HostLong REALCallFunctionWithExceptionHandler(void (*function)(void*), void* data) noexcept;

// --- Objects ------------------------------------------------------------------------------------

void REALLockObject(REALobjectStruct* object) noexcept;
void REALUnlockObject(REALobjectStruct* object) noexcept;
/// Whether references can be added at all; without that, nothing that the host hands out is safe to
/// keep.
bool hostAddsReferences() noexcept;
/// The same of references to strings.
bool hostAddsStringReferences() noexcept;
/// Whether the host can raise exceptions. One that is not raised is its maker's to release.
bool hostRaisesExceptions() noexcept;
/// A new instance with one reference for the caller, or null.
REALobjectStruct* REALnewInstance(const char* className) noexcept;
/// The same by class reference; null, without asking the host, for a null reference.
REALobjectStruct* REALnewInstance(REALclassRefStruct* classRef) noexcept;
/// Null when the host has no such class.
REALclassRefStruct* REALGetClassRef(const char* className) noexcept;
HostBoolean REALObjectIsA(REALobjectStruct* object, REALclassRefStruct* classRef) noexcept;
void* REALGetPluginData(REALobjectStruct* object, REALclassRefStruct* classRef) noexcept;
void* REALGetEventInstance(REALcontrolInstanceStruct* control, REALevent* event) noexcept;
/// Hands the exception to the host and returns; the plug-in goes on running.
void REALRaiseException(REALobjectStruct* exception) noexcept;
void REALMessageBox(REALstringStruct* text) noexcept;
/// Address of the object's method with exactly this declaration, or null.
void* REALLoadObjectMethod(REALobjectStruct* object, const char* declaration) noexcept;
/// Address of the host language's global method with exactly this declaration, or null.
void* REALLoadFrameworkMethod(const char* declaration) noexcept;

// --- Properties ---------------------------------------------------------------------------------

/// Each reads a property into `*value` and returns true, or leaves `*value` alone and returns
/// false.
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, HostLong* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             HostBoolean* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             REALstringStruct** value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, double* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             REALobjectStruct** value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, long long* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             unsigned long long* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, HostULong* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             unsigned short* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, short* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, char* value) noexcept;
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, float* value) noexcept;

/// Each writes a property and returns whether the host took it.
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, HostLong value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             REALstringStruct* value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, double value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             REALobjectStruct* value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, HostULong value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             unsigned long long value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, long long value) noexcept;
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             HostBoolean value) noexcept;

// --- Variants: each makes a new variant object with one reference for the caller ----------------

REALobjectStruct* REALNewVariantString(REALstringStruct* value) noexcept;
REALobjectStruct* REALNewVariantInteger(HostLong value) noexcept;
REALobjectStruct* REALNewVariantDouble(double value) noexcept;
REALobjectStruct* REALNewVariantBoolean(HostBoolean value) noexcept;
REALobjectStruct* REALNewVariantColor(HostULong value) noexcept;
REALobjectStruct* REALNewVariantUInt32(HostULong value) noexcept;
REALobjectStruct* REALNewVariantInt64(long long value) noexcept;
REALobjectStruct* REALNewVariantUInt64(unsigned long long value) noexcept;
REALobjectStruct* REALNewVariantSingle(float value) noexcept;

// --- Strings ------------------------------------------------------------------------------------

/// A new string of these bytes with one reference for the caller, or null.
REALstringStruct* originalREALBuildString(const char* bytes, int byteCount) noexcept;
void REALLockString(REALstringStruct* string) noexcept;
void REALUnlockString(REALstringStruct* string) noexcept;
void REALSetStringEncoding(REALstringStruct* string, HostULong encoding) noexcept;
HostULong REALGetStringEncoding(REALstringStruct* string) noexcept;
HostLong REALCompareStrings(REALstringStruct* a, REALstringStruct* b) noexcept;
REALstringStruct* REALAddStrings(REALstringStruct* a, REALstringStruct* b) noexcept;
/// A new string in the requested encoding with one reference for the caller, or null.
REALstringStruct* REALConvertString(REALstringStruct* string, HostULong encoding) noexcept;
HostULong REALGetFontEncoding(const char* fontName) noexcept;

/// Fills `out` with the text of `string` in the requested encoding (kEncodingNone: its bytes as
/// they are) and returns true; the caller gives `out` back through REALDisposeStringData. Hosts
/// without the service are served from their C-string access and length method, with a buffer of
/// our own that ends in four zero bytes. False, with nothing allocated and `out` untouched, when
/// the text cannot be had.
HostBoolean REALGetStringData(REALstringStruct* string, HostULong encoding,
                              REALstringData* out) noexcept;
/// Releases what REALGetStringData has filled.
void REALDisposeStringData(REALstringData* data) noexcept;

// --- Pictures and graphics ----------------------------------------------------------------------

/// A new picture with one reference for the caller, or null. Sizes in pixels, depth in bits.
REALpictureStruct* REALNewPicture(HostLong width, HostLong height, HostLong depth) noexcept;
/// The picture's graphics with one reference for the caller, or null.
REALgraphicsStruct* REALGetPictureGraphics(REALpictureStruct* picture) noexcept;
/// Fills `description` and keeps the picture's pixels in place until they are unlocked; false when
/// the host cannot deliver the kind (a PictureDescriptionKind) asked for.
HostBoolean REALLockPictureDescription(REALpictureStruct* picture,
                                       REALpictureDescription* description, HostLong kind) noexcept;
HostBoolean REALLockPictureDescription(REALpictureStruct* picture,
                                       REALpictureDescription* description) noexcept;
void REALUnlockPictureDescription(REALpictureStruct* picture) noexcept;
/// Tells the host that the picture's pixels have changed.
void REALPictureClearCache(REALpictureStruct* picture) noexcept;
/// A new picture from a pixel buffer, with one reference for the caller, or null. The host copies
/// the pixels; the buffer stays the caller's.
REALpictureStruct* REALBuildPictureFromBuffer(HostLong width, HostLong height,
                                              RBPixelType pixelType, void* buffer,
                                              HostLong rowBytes) noexcept;
REALpictureStruct* REALBuildPictureFromGWorld(void* world, HostBoolean transparent) noexcept;
/// The picture's separate mask picture with one reference for the caller, or null.
REALpictureStruct* REALGetPictureMask(REALpictureStruct* picture,
                                      HostBoolean createIfMissing) noexcept;
void REALDrawPicturePrimitive(REALgraphicsStruct* graphics, REALpictureStruct* picture,
                              const RB::Rect* rectangle, int transparent) noexcept;
void REALGraphicsDrawString(REALgraphicsStruct* graphics, REALstringStruct* text, HostLong x,
                            HostLong y, HostLong width) noexcept;
void* REALGraphicsDC(REALgraphicsStruct* graphics) noexcept;
void REALGetGraphicsOrigin(REALgraphicsStruct* graphics, HostLong* x, HostLong* y) noexcept;
void REALSetGraphicsOrigin(REALgraphicsStruct* graphics, HostLong x, HostLong y) noexcept;

// --- Memory blocks ------------------------------------------------------------------------------

/// A new block of `size` bytes with one reference for the caller, or null.
REALmemoryBlockStruct* REALNewMemoryBlock(int size) noexcept;
/// Address of the block's bytes; they stay the host's.
void* REALMemoryBlockGetPtr(REALmemoryBlockStruct* block) noexcept;
HostLong REALMemoryBlockGetSize(REALmemoryBlockStruct* block) noexcept;
/// The same, but negative where the host has no service for sizes or cannot tell this block's.
HostLong memoryBlockSize(REALmemoryBlockStruct* block) noexcept;
REALmemoryBlockStruct* REALPtrToMemoryBlock(void* address) noexcept;

// --- Controls and files -------------------------------------------------------------------------

HostBoolean REALGetControlBounds(REALcontrolInstanceStruct* control, RB::Rect* bounds) noexcept;
REALgraphicsStruct* REALGetControlGraphics(REALcontrolInstanceStruct* control) noexcept;
REALobjectStruct* REALGetControlWindow(REALcontrolInstanceStruct* control) noexcept;
HostBoolean REALGetTabPanelVisible(REALcontrolInstanceStruct* control) noexcept;
REALstringStruct* REALpathFromFolderItem(REALfolderItemStruct* item) noexcept;

// --- Arrays -------------------------------------------------------------------------------------

/// The index of the array's last element.
HostLong REALGetArrayUBound(void* array) noexcept;
HostLong REALGetArrayInt(REALintArrayStruct* array, int index) noexcept;
REALstringStruct* REALGetArrayString(REALstringArrayStruct* array, int index) noexcept;
REALobjectStruct* REALGetArrayObject(REALobjectArrayStruct* array, int index) noexcept;
REALarrayStruct* REALCreateArray(REALArrayType type, HostLong upperBound) noexcept;

/// Inserts `value` before element `index`. Nothing happens when the host offers no insert routine.
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, long long value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, HostLong value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index,
                          unsigned long long value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, HostULong value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, unsigned short value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, float value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, double value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, REALstringStruct* value) noexcept;
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, REALobjectStruct* value) noexcept;

/// Stores element `index` in `*out` and returns true; strings and objects come with one reference
/// for the caller. A null `out` reads nothing. Where the host has no reading service at all, the
/// element is read from the array's storage; only `unsigned short` cannot be had that way. False,
/// with `out` untouched, when the array gives no get routine.
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, long long* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, HostLong* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              unsigned long long* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, HostULong* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, unsigned short* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, unsigned char* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, float* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, double* out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              REALstringStruct** out) noexcept;
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              REALobjectStruct** out) noexcept;

/// Stores `value` as element `index`; a string or object is referenced by the array, and what it
/// replaces is released. Where the host has no writing service at all, the array's storage is
/// written. Nothing happens when the array gives no set routine.
void REALSetArrayValue(REALarrayStruct* array, HostLong index, long long value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, HostLong value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, unsigned long long value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, HostULong value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, double value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, REALstringStruct* value) noexcept;
void REALSetArrayValue(REALarrayStruct* array, HostLong index, REALobjectStruct* value) noexcept;

// --- Handles as objects -------------------------------------------------------------------------

inline REALobjectStruct* asObject(REALpictureStruct* picture) noexcept {
  return reinterpret_cast<REALobjectStruct*>(picture);
}
inline REALobjectStruct* asObject(REALgraphicsStruct* graphics) noexcept {
  return reinterpret_cast<REALobjectStruct*>(graphics);
}
inline REALobjectStruct* asObject(REALmemoryBlockStruct* block) noexcept {
  return reinterpret_cast<REALobjectStruct*>(block);
}
