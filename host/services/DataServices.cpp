// Memory blocks, arrays and variants.
#include "host/services/Services.h"

namespace host {

namespace {

// --- Memory blocks ------------------------------------------------------------------------------

REALmemoryBlockStruct* newBlock(Host& host, int size) {
  const Lies& lies = host.settings.lies;
  MemoryBlock* block = MemoryBlock::create(host, size + lies.moreBytes, host.settings.placement);
  if (block == nullptr) return nullptr;
  block->reportedSize = lies.blockSize;
  block->hideAddress = lies.hiddenBlocks;
  return handOut(block);
}

void* blockAddress(Host& host, REALmemoryBlockStruct* handle) {
  const auto* block = host.use<MemoryBlock>(handle, "memoryBlockGetPtr");
  return block ? block->data() : nullptr;
}

HostLong blockSize(Host& host, REALmemoryBlockStruct* handle) {
  const auto* block = host.use<MemoryBlock>(handle, "memoryBlockGetSize");
  return block ? block->size() : 0;
}

REALmemoryBlockStruct* wrapAddress(Host& host, void* address) {
  return handOut(MemoryBlock::wrap(host, address));
}

// Blocks are complete when they are handed out; the method tells what kind of object they are.
void constructBlock(Host& host, REALmemoryBlockStruct* handle, HostLong) {
  host.use<MemoryBlock>(handle, "MemoryBlock.Constructor");
}

// --- Arrays -------------------------------------------------------------------------------------

HostLong upperBound(Host& host, void* handle) {
  const auto* array = host.use<Array>(handle, "RuntimeUBound");
  return array ? array->bound() : -1;
}

template <typename Handle, typename T>
T directRead(Host& host, Handle* handle, int index) {
  const auto* array = host.use<Array>(handle, "reading an array");
  return array ? array->template get<T>(index) : T();
}

REALarrayStruct* newArray(Host& host, REALArrayType type, HostLong bound) {
  return handOut(Array::create(host, static_cast<ElementType>(type), bound));
}

template <typename T>
T getElement(REALarrayStruct* handle, HostLong index) {
  const auto* array = Host::current().use<Array>(handle, "reading an array");
  return array ? array->template get<T>(index) : T();
}

template <typename T>
void setElement(REALarrayStruct* handle, T value, HostLong index) {
  auto* array = Host::current().use<Array>(handle, "writing an array");
  if (array) array->template set<T>(index, value);
}

template <typename T>
void insertElement(REALarrayStruct* handle, HostLong index, T value) {
  auto* array = Host::current().use<Array>(handle, "inserting into an array");
  if (array) array->template insert<T>(index, value);
}

struct ElementRoutines {
  void *get, *set, *insert;
};

template <typename T>
ElementRoutines routines() {
  return {reinterpret_cast<void*>(&getElement<T>), reinterpret_cast<void*>(&setElement<T>),
          reinterpret_cast<void*>(&insertElement<T>)};
}

template <auto member>
void* elementRoutine(Host& host, REALarrayStruct* handle) {
  // In the order of ElementType.
  static const ElementRoutines kRoutines[] = {routines<HostLong>(),
                                              routines<HostULong>(),
                                              routines<long long>(),
                                              routines<unsigned long long>(),
                                              routines<unsigned short>(),
                                              routines<unsigned char>(),
                                              routines<float>(),
                                              routines<double>(),
                                              routines<REALstringStruct*>(),
                                              routines<REALobjectStruct*>()};
  const auto* array = host.use<Array>(handle, "an element routine");
  return array ? kRoutines[static_cast<size_t>(array->type())].*member : nullptr;
}

// --- Variants -----------------------------------------------------------------------------------

REALobjectStruct* box(Host& host, Value value) {
  return handOut<Object>(
      PropertyObject::create(host, "variant", "Variant", {{"Value", std::move(value)}}));
}

REALobjectStruct* boxString(Host& host, REALstringStruct* handle) {
  return box(host, StringRef(host.use<String>(handle, "StringToVariant")));
}
REALobjectStruct* boxBoolean(Host& host, HostBoolean value) { return box(host, value != 0); }
REALobjectStruct* boxColor(Host& host, HostULong value) {
  return box(host, Color{static_cast<uint32_t>(value)});
}
template <typename T>
REALobjectStruct* boxNumber(Host& host, T value) {
  if constexpr (std::is_floating_point_v<T>) {
    return box(host, double{value});
  } else {
    return box(host, static_cast<long long>(value));
  }
}

}  // namespace

std::span<Service* const> dataServices() {
  static Service* const kServices[] = {
      service<"newMemoryBlock", newBlock>(),
      service<"memoryBlockGetPtr", blockAddress>(),
      service<"memoryBlockGetSize", blockSize>(),
      service<"PtrToMemoryBlock", wrapAddress>(),
      service<"RuntimeUBound", upperBound>(),
      service<"RuntimeDirectReadIntArray", directRead<REALintArrayStruct, HostLong>>(),
      service<"RuntimeDirectReadStringArray",
              directRead<REALstringArrayStruct, REALstringStruct*>>(),
      service<"RuntimeDirectReadObjectArray",
              directRead<REALobjectArrayStruct, REALobjectStruct*>>(),
      service<"RuntimeArrayCreateSingleDimBoundedArray", newArray>(),
      service<"RuntimeArrayDirectGetGetProc", elementRoutine<&ElementRoutines::get>>(),
      service<"RuntimeArrayDirectGetSetProc", elementRoutine<&ElementRoutines::set>>(),
      service<"RuntimeArrayDirectGetInsertProc", elementRoutine<&ElementRoutines::insert>>(),
      service<"StringToVariant", boxString>(),
      service<"BooleanToVariant", boxBoolean>(),
      service<"ColorToVariant", boxColor>(),
      service<"Int32ToVariant", boxNumber<HostLong>>(),
      service<"UInt32ToVariant", boxNumber<HostULong>>(),
      service<"Int64ToVariant", boxNumber<long long>>(),
      service<"UInt64ToVariant", boxNumber<unsigned long long>>(),
      service<"DoubleToVariant", boxNumber<double>>(),
      service<"SingleToVariant", boxNumber<float>>(),
  };
  return kServices;
}

std::span<const ObjectMethod> blockMethods() {
  static const ObjectMethod kMethods[] = {
      {"Constructor(bytes as Integer)", service<"MemoryBlock.Constructor", constructBlock>()},
  };
  return kMethods;
}

}  // namespace host
