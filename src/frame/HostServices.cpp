#include "HostServices.h"

#include <cstdlib>
#include <cstring>

#include "HostCall.h"

// --- Registration and runtime -------------------------------------------------------------------

void REALRegisterClass(REALclassDefinition* definition) noexcept {
  callHost<"PluginRegisterClass">(definition);
}
void REALRegisterClassExtension(REALclassDefinition* definition) noexcept {
  callHost<"PluginRegisterClassExtension">(definition);
}
void REALRegisterMethod(REALmethodDefinition* definition) noexcept {
  callHost<"PluginRegisterMethod">(definition);
}
void REALRegisterControl(REALcontrol* definition) noexcept {
  callHost<"PluginRegisterControl">(definition);
}
void REALRegisterModule(REALmoduleDefinition* definition) noexcept {
  callHost<"PluginRegisterModule">(definition);
}
HostLong REALRegisterBackgroundTask(void (*task)(void*), HostULong period, void* data) noexcept {
  constexpr FixedString kEntry = "PluginRegisterBackgroundTask";
  auto* entry =
      serviceSlot<kEntry, HostLong(void (*)(void*), HostULong, void*)>.resolve(kEntry.text);
  return entry == nullptr ? -1 : entry(task, period, data);
}
void REALUnregisterBackgroundTask(HostLong task) noexcept {
  callHost<"PluginUnregisterBackgroundTask">(task);
}
HostBoolean REALinRuntime() noexcept { return callHost<"REALinRuntime", HostBoolean>(); }
HostBoolean REALInDebugMode() noexcept { return callHost<"REALInDebugMode", HostBoolean>(); }
void REALYieldToRB() noexcept { callHost<"REALYieldToRB">(); }
HostLong REALCallFunctionWithExceptionHandler(void (*function)(void*), void* data) noexcept {
  constexpr FixedString kEntry = "PluginCallFunctionWithExceptionHandler";
  auto* entry = serviceSlot<kEntry, HostLong(void (*)(void*), void*)>.resolve(kEntry.text);
  if (entry != nullptr) return entry(function, data);
  function(data);
  return 0;
}

// --- Objects ------------------------------------------------------------------------------------

void REALLockObject(REALobjectStruct* object) noexcept { callHost<"REALLockObject">(object); }
void REALUnlockObject(REALobjectStruct* object) noexcept { callHost<"REALUnlockObject">(object); }
bool hostAddsReferences() noexcept { return hostOffers<"REALLockObject", REALobjectStruct*>(); }
bool hostAddsStringReferences() noexcept {
  return hostOffers<"REALLockString", REALstringStruct*>();
}
bool hostRaisesExceptions() noexcept {
  return hostOffers<"RuntimeRaiseException", REALobjectStruct*>();
}
REALobjectStruct* REALnewInstance(const char* className) noexcept {
  return callHost<"PluginNewInstance", REALobjectStruct*>(className);
}
REALobjectStruct* REALnewInstance(REALclassRefStruct* classRef) noexcept {
  if (classRef == nullptr) return nullptr;
  return callHost<"CreateInstance", REALobjectStruct*>(classRef);
}
REALclassRefStruct* REALGetClassRef(const char* className) noexcept {
  return callHost<"pluginObjectType", REALclassRefStruct*>(className);
}
HostBoolean REALObjectIsA(REALobjectStruct* object, REALclassRefStruct* classRef) noexcept {
  return callHost<"RuntimeObjectIsa", HostBoolean>(object, classRef);
}
void* REALGetPluginData(REALobjectStruct* object, REALclassRefStruct* classRef) noexcept {
  return callHost<"PluginGetPluginData", void*>(object, classRef);
}
void* REALGetEventInstance(REALcontrolInstanceStruct* control, REALevent* event) noexcept {
  return callHost<"GetEventInstance", void*>(control, event);
}
void REALRaiseException(REALobjectStruct* exception) noexcept {
  callHost<"RuntimeRaiseException">(exception);
}
void REALMessageBox(REALstringStruct* text) noexcept { callHost<"RuntimeMsgBox">(text); }
void* REALLoadObjectMethod(REALobjectStruct* object, const char* declaration) noexcept {
  return callHost<"REALLoadObjectMethod", void*>(object, declaration);
}
void* REALLoadFrameworkMethod(const char* declaration) noexcept {
  return callHost<"REALLoadGlobalMethod", void*>(static_cast<void*>(nullptr), declaration);
}

// --- Properties ---------------------------------------------------------------------------------

namespace {

template <FixedString entryName, typename Value>
HostBoolean getProperty(REALobjectStruct* object, const char* name, Value* value) noexcept {
  return callHost<entryName, HostBoolean>(object, name, value);
}

template <FixedString entryName, typename Value>
HostBoolean setProperty(REALobjectStruct* object, const char* name, Value value) noexcept {
  return callHost<entryName, HostBoolean>(object, name, value);
}

}  // namespace

HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, HostLong* value) noexcept {
  return getProperty<"REALGetPropValueInt">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             HostBoolean* value) noexcept {
  return getProperty<"REALGetPropValueBool">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             REALstringStruct** value) noexcept {
  return getProperty<"REALGetPropValueString">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, double* value) noexcept {
  return getProperty<"REALGetPropValueDouble">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             REALobjectStruct** value) noexcept {
  return getProperty<"REALGetPropValueObject">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             long long* value) noexcept {
  return getProperty<"REALGetPropValueInt64">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             unsigned long long* value) noexcept {
  return getProperty<"REALGetPropValueUInt64">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             HostULong* value) noexcept {
  return getProperty<"REALGetPropValueUInt32">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name,
                             unsigned short* value) noexcept {
  return getProperty<"REALGetPropValueUInt16">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, short* value) noexcept {
  return getProperty<"REALGetPropValueInt16">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, char* value) noexcept {
  return getProperty<"REALGetPropValueInt8">(object, name, value);
}
HostBoolean REALGetPropValue(REALobjectStruct* object, const char* name, float* value) noexcept {
  return getProperty<"REALGetPropValueSingle">(object, name, value);
}

HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, HostLong value) noexcept {
  return setProperty<"REALSetPropValueInt">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             REALstringStruct* value) noexcept {
  return setProperty<"REALSetPropValueString">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, double value) noexcept {
  return setProperty<"REALSetPropValueDouble">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             REALobjectStruct* value) noexcept {
  return setProperty<"REALSetPropValueObject">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, HostULong value) noexcept {
  return setProperty<"REALSetPropValueUInt32">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             unsigned long long value) noexcept {
  return setProperty<"REALSetPropValueUInt64">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name, long long value) noexcept {
  return setProperty<"REALSetPropValueInt64">(object, name, value);
}
HostBoolean REALSetPropValue(REALobjectStruct* object, const char* name,
                             HostBoolean value) noexcept {
  return setProperty<"REALSetPropValueBoolean">(object, name, value);
}

// --- Variants -----------------------------------------------------------------------------------

REALobjectStruct* REALNewVariantString(REALstringStruct* value) noexcept {
  return callHost<"StringToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantInteger(HostLong value) noexcept {
  return callHost<"Int32ToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantDouble(double value) noexcept {
  return callHost<"DoubleToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantBoolean(HostBoolean value) noexcept {
  return callHost<"BooleanToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantColor(HostULong value) noexcept {
  return callHost<"ColorToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantUInt32(HostULong value) noexcept {
  return callHost<"UInt32ToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantInt64(long long value) noexcept {
  return callHost<"Int64ToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantUInt64(unsigned long long value) noexcept {
  return callHost<"UInt64ToVariant", REALobjectStruct*>(value);
}
REALobjectStruct* REALNewVariantSingle(float value) noexcept {
  return callHost<"SingleToVariant", REALobjectStruct*>(value);
}

// --- Strings ------------------------------------------------------------------------------------

REALstringStruct* originalREALBuildString(const char* bytes, int byteCount) noexcept {
  return callHost<"REALBuildString", REALstringStruct*>(bytes, byteCount);
}
void REALLockString(REALstringStruct* string) noexcept { callHost<"REALLockString">(string); }
void REALUnlockString(REALstringStruct* string) noexcept { callHost<"REALUnlockString">(string); }
void REALSetStringEncoding(REALstringStruct* string, HostULong encoding) noexcept {
  callHost<"REALSetStringEncoding">(string, encoding);
}
HostULong REALGetStringEncoding(REALstringStruct* string) noexcept {
  return callHost<"REALGetStringEncoding", HostULong>(string);
}
HostLong REALCompareStrings(REALstringStruct* a, REALstringStruct* b) noexcept {
  return callHost<"RuntimeStringCompare", HostLong>(a, b);
}
REALstringStruct* REALAddStrings(REALstringStruct* a, REALstringStruct* b) noexcept {
  return callHost<"RuntimeAddString", REALstringStruct*>(a, b);
}
REALstringStruct* REALConvertString(REALstringStruct* string, HostULong encoding) noexcept {
  return callHost<"REALConvertString", REALstringStruct*>(string, encoding);
}
HostULong REALGetFontEncoding(const char* fontName) noexcept {
  return callHost<"REALGetFontEncoding", HostULong>(fontName);
}

namespace {

/// Older hosts have no string-data service; what they offer instead.
struct StringAccess {
  using BytesOf = const char*(REALstringStruct*);
  using LengthOf = HostLong(REALstringStruct*);

  BytesOf* bytesOf;
  LengthOf* lengthOf;

  static StringAccess obtain() noexcept {
    static LengthOf* lengthOf = nullptr;
    constexpr FixedString kBytesOf = "StringGetCString";
    auto* bytesOf = serviceSlot<kBytesOf, BytesOf>.resolve(kBytesOf.text);
    if (lengthOf == nullptr) {
      lengthOf =
          reinterpret_cast<LengthOf*>(REALLoadFrameworkMethod("LenB( s as string ) as integer"));
    }
    return {bytesOf, lengthOf};
  }

  [[nodiscard]] bool complete() const noexcept { return bytesOf != nullptr && lengthOf != nullptr; }
};

bool copyStringData(const StringAccess& access, REALstringStruct* string, HostULong encoding,
                    REALstringData* out) noexcept {
  constexpr size_t kTerminator = 4;
  const char* bytes = access.bytesOf(string);
  const HostLong reported = access.lengthOf(string);
  const size_t length = bytes == nullptr || reported < 0 ? 0 : static_cast<size_t>(reported);
  auto* copy = static_cast<char*>(malloc(length + kTerminator));
  if (copy == nullptr) return false;
  if (length > 0) memcpy(copy, bytes, length);
  memset(copy + length, 0, kTerminator);
  *out = {copy, static_cast<int32_t>(length), static_cast<uint32_t>(encoding)};
  return true;
}

}  // namespace

HostBoolean REALGetStringData(REALstringStruct* string, HostULong encoding,
                              REALstringData* out) noexcept {
  constexpr FixedString kEntry = "PluginGetStringData";
  auto* entry =
      serviceSlot<kEntry, HostBoolean(REALstringStruct*, HostULong, REALstringData*)>.resolve(
          kEntry.text);
  if (entry != nullptr) return entry(string, encoding, out);

  const StringAccess access = StringAccess::obtain();
  if (!access.complete() || string == nullptr) return false;
  if (encoding == kEncodingNone || encoding == REALGetStringEncoding(string)) {
    return copyStringData(access, string, encoding, out);
  }
  REALstringStruct* converted = REALConvertString(string, encoding);
  if (converted == nullptr) return false;
  const bool copied = copyStringData(access, converted, encoding, out);
  REALUnlockString(converted);
  return copied;
}

void REALDisposeStringData(REALstringData* data) noexcept {
  constexpr FixedString kEntry = "PluginDisposeStringData";
  auto* entry = serviceSlot<kEntry, void(REALstringData*)>.resolve(kEntry.text);
  if (entry != nullptr) {
    entry(data);
  } else if (data != nullptr) {
    free(data->data);
  }
}

// --- Pictures and graphics ----------------------------------------------------------------------

REALpictureStruct* REALNewPicture(HostLong width, HostLong height, HostLong depth) noexcept {
  return callHost<"newPicture", REALpictureStruct*>(width, height, depth);
}
REALgraphicsStruct* REALGetPictureGraphics(REALpictureStruct* picture) noexcept {
  return callHost<"pluginPictureGraphicsGetter", REALgraphicsStruct*>(picture);
}
HostBoolean REALLockPictureDescription(REALpictureStruct* picture,
                                       REALpictureDescription* description,
                                       HostLong kind) noexcept {
  return callHost<"REALLockPictureDescription", HostBoolean>(picture, description, kind);
}
HostBoolean REALLockPictureDescription(REALpictureStruct* picture,
                                       REALpictureDescription* description) noexcept {
  return callHost<"lockPictureDescription", HostBoolean>(picture, description);
}
void REALUnlockPictureDescription(REALpictureStruct* picture) noexcept {
  callHost<"unlockPictureDescription">(picture);
}
void REALPictureClearCache(REALpictureStruct* picture) noexcept {
  callHost<"REALPictureClearCache">(picture);
}
REALpictureStruct* REALBuildPictureFromBuffer(HostLong width, HostLong height,
                                              RBPixelType pixelType, void* buffer,
                                              HostLong rowBytes) noexcept {
  return callHost<"REALBuildPictureFromBuffer", REALpictureStruct*>(width, height, pixelType,
                                                                    buffer, rowBytes);
}
REALpictureStruct* REALBuildPictureFromGWorld(void* world, HostBoolean transparent) noexcept {
  return callHost<"REALBuildPictureFromGWorld", REALpictureStruct*>(world, transparent);
}
REALpictureStruct* REALGetPictureMask(REALpictureStruct* picture,
                                      HostBoolean createIfMissing) noexcept {
  return callHost<"REALGetPictureMask", REALpictureStruct*>(picture, createIfMissing);
}
void REALDrawPicturePrimitive(REALgraphicsStruct* graphics, REALpictureStruct* picture,
                              const RB::Rect* rectangle, int transparent) noexcept {
  callHost<"REALDrawPicturePrimitive">(graphics, picture, rectangle, transparent);
}
void REALGraphicsDrawString(REALgraphicsStruct* graphics, REALstringStruct* text, HostLong x,
                            HostLong y, HostLong width) noexcept {
  callHost<"RuntimeGraphicsDrawString">(graphics, text, x, y, width);
}
void* REALGraphicsDC(REALgraphicsStruct* graphics) noexcept {
  return callHost<"REALGraphicsDC", void*>(graphics);
}
void REALGetGraphicsOrigin(REALgraphicsStruct* graphics, HostLong* x, HostLong* y) noexcept {
  callHost<"REALGetGraphicsOrigin">(graphics, x, y);
}
void REALSetGraphicsOrigin(REALgraphicsStruct* graphics, HostLong x, HostLong y) noexcept {
  callHost<"REALSetGraphicsOrigin">(graphics, x, y);
}

// --- Memory blocks ------------------------------------------------------------------------------

REALmemoryBlockStruct* REALNewMemoryBlock(int size) noexcept {
  return callHost<"newMemoryBlock", REALmemoryBlockStruct*>(size);
}
void* REALMemoryBlockGetPtr(REALmemoryBlockStruct* block) noexcept {
  return callHost<"memoryBlockGetPtr", void*>(block);
}
HostLong REALMemoryBlockGetSize(REALmemoryBlockStruct* block) noexcept {
  return callHost<"memoryBlockGetSize", HostLong>(block);
}
HostLong memoryBlockSize(REALmemoryBlockStruct* block) noexcept {
  constexpr FixedString kEntry = "memoryBlockGetSize";
  auto* entry = serviceSlot<kEntry, HostLong(REALmemoryBlockStruct*)>.resolve(kEntry.text);
  return entry != nullptr ? entry(block) : -1;
}
REALmemoryBlockStruct* REALPtrToMemoryBlock(void* address) noexcept {
  return callHost<"PtrToMemoryBlock", REALmemoryBlockStruct*>(address);
}

// --- Controls and files -------------------------------------------------------------------------

HostBoolean REALGetControlBounds(REALcontrolInstanceStruct* control, RB::Rect* bounds) noexcept {
  return callHost<"GetControlBounds", HostBoolean>(control, bounds);
}
REALgraphicsStruct* REALGetControlGraphics(REALcontrolInstanceStruct* control) noexcept {
  return callHost<"REALGetControlGraphics", REALgraphicsStruct*>(control);
}
REALobjectStruct* REALGetControlWindow(REALcontrolInstanceStruct* control) noexcept {
  return callHost<"getControlWindow", REALobjectStruct*>(control);
}
HostBoolean REALGetTabPanelVisible(REALcontrolInstanceStruct* control) noexcept {
  return callHost<"GetTabPanelVisible", HostBoolean>(control);
}
REALstringStruct* REALpathFromFolderItem(REALfolderItemStruct* item) noexcept {
  return callHost<"REALpathFromFolderItem", REALstringStruct*>(item);
}

// --- Arrays -------------------------------------------------------------------------------------

HostLong REALGetArrayUBound(void* array) noexcept {
  return callHost<"RuntimeUBound", HostLong>(array);
}
HostLong REALGetArrayInt(REALintArrayStruct* array, int index) noexcept {
  return callHost<"RuntimeDirectReadIntArray", HostLong>(array, index);
}
REALstringStruct* REALGetArrayString(REALstringArrayStruct* array, int index) noexcept {
  return callHost<"RuntimeDirectReadStringArray", REALstringStruct*>(array, index);
}
REALobjectStruct* REALGetArrayObject(REALobjectArrayStruct* array, int index) noexcept {
  return callHost<"RuntimeDirectReadObjectArray", REALobjectStruct*>(array, index);
}
REALarrayStruct* REALCreateArray(REALArrayType type, HostLong upperBound) noexcept {
  return callHost<"RuntimeArrayCreateSingleDimBoundedArray", REALarrayStruct*>(type, upperBound);
}

namespace {

// The host's array services hand out, for an array, the routine that works on its elements. The
// signatures carry the element type, so every overload has a slot of its own.
template <typename T>
using Inserter = void(REALarrayStruct*, HostLong index, T value);
template <typename T>
using Reader = T(REALarrayStruct*, HostLong index);
template <typename T>
using Writer = void(REALarrayStruct*, T value, HostLong index);
template <typename Routine>
using RoutineGetter = Routine*(REALarrayStruct*);

void lockElement(REALstringStruct* string) noexcept { REALLockString(string); }
void lockElement(REALobjectStruct* object) noexcept { REALLockObject(object); }
void unlockElement(REALstringStruct* string) noexcept { REALUnlockString(string); }
void unlockElement(REALobjectStruct* object) noexcept { REALUnlockObject(object); }

template <typename T>
T& storedElement(REALarrayStruct* array, HostLong index) noexcept {
  return static_cast<T*>(array->elements)[index];
}

template <typename T>
T readStored(REALarrayStruct* array, HostLong index) noexcept {
  T value = storedElement<T>(array, index);
  if constexpr (std::is_pointer_v<T>) {
    if (value != nullptr) lockElement(value);
  }
  return value;
}

template <typename T>
void writeStored(REALarrayStruct* array, T value, HostLong index) noexcept {
  T& element = storedElement<T>(array, index);
  if constexpr (std::is_pointer_v<T>) {
    if (value != nullptr) lockElement(value);
    if (element != nullptr) unlockElement(element);
  }
  element = value;
}

template <typename T>
Reader<T>* storageReader(REALarrayStruct*) noexcept {
  return &readStored<T>;
}
template <typename T>
Writer<T>* storageWriter(REALarrayStruct*) noexcept {
  return &writeStored<T>;
}

/// The routine for this array; null when neither the host nor `substitute` gives one.
template <FixedString entryName, typename Routine>
Routine* elementRoutine(REALarrayStruct* array, RoutineGetter<Routine>* substitute) noexcept {
  auto& slot = serviceSlot<entryName, RoutineGetter<Routine>>;
  auto* getter = slot.resolve(entryName.text);
  if (getter == nullptr) {
    slot.use(substitute);
    getter = substitute;
  }
  return getter == nullptr || array == nullptr ? nullptr : getter(array);
}

template <typename T>
void insertElement(REALarrayStruct* array, HostLong index, T value) noexcept {
  auto* insert = elementRoutine<"RuntimeArrayDirectGetInsertProc", Inserter<T>>(array, nullptr);
  if (insert != nullptr) insert(array, index, value);
}

template <typename T>
HostBoolean getElement(REALarrayStruct* array, HostLong index, T* out) noexcept {
  constexpr bool kStorageIsReadable = !std::is_same_v<T, unsigned short>;
  auto* read = elementRoutine<"RuntimeArrayDirectGetGetProc", Reader<T>>(
      array, kStorageIsReadable ? &storageReader<T> : nullptr);
  if (read == nullptr) return false;
  if (out != nullptr) *out = read(array, index);
  return true;
}

template <typename T>
void setElement(REALarrayStruct* array, HostLong index, T value) noexcept {
  auto* write = elementRoutine<"RuntimeArrayDirectGetSetProc", Writer<T>>(array, &storageWriter<T>);
  if (write != nullptr) write(array, value, index);
}

}  // namespace

void REALInsertArrayValue(REALarrayStruct* array, HostLong index, long long value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, HostLong value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index,
                          unsigned long long value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, HostULong value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, unsigned short value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, float value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index, double value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index,
                          REALstringStruct* value) noexcept {
  insertElement(array, index, value);
}
void REALInsertArrayValue(REALarrayStruct* array, HostLong index,
                          REALobjectStruct* value) noexcept {
  insertElement(array, index, value);
}

HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, long long* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, HostLong* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              unsigned long long* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, HostULong* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              unsigned short* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, unsigned char* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, float* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index, double* out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              REALstringStruct** out) noexcept {
  return getElement(array, index, out);
}
HostBoolean REALGetArrayValue(REALarrayStruct* array, HostLong index,
                              REALobjectStruct** out) noexcept {
  return getElement(array, index, out);
}

void REALSetArrayValue(REALarrayStruct* array, HostLong index, long long value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, HostLong value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, unsigned long long value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, HostULong value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, double value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, REALstringStruct* value) noexcept {
  setElement(array, index, value);
}
void REALSetArrayValue(REALarrayStruct* array, HostLong index, REALobjectStruct* value) noexcept {
  setElement(array, index, value);
}
