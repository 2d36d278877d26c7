#include "plugin/Registration.h"

#include "frame/HostServices.h"
#include "frame/HostState.h"

HostBoolean gHasControls = false;

namespace {

/// The part of a control record that registration looks at.
struct ControlRecord {
  int32_t version;
  const char* name;
  int32_t dataSize;
};

/// First host version that knows the flag bits behind our markers.
constexpr double kFlagBitsVersion = 2010.029;

constexpr int32_t roundUpTo16(int32_t size) {
  return static_cast<int32_t>((static_cast<uint32_t>(size) + 15U) & ~15U);
}

void fixFlags(int32_t& flags) noexcept {
  if (!(rbversion >= kFlagBitsVersion)) return;
  if ((flags & kMarkConsoleSafe) != 0) flags |= kFlagConsoleSafe;
  if ((flags & kMarkHostBit8) != 0) flags |= kFlagHostBit8;
}

template <typename Record>
void fixList(Record* records, int32_t count) noexcept {
  if (records == nullptr) return;
  for (int32_t i = 0; i < count; ++i) fixFlags(records[i].flags);
}

}  // namespace

void MyREALRegisterClass(REALclassDefinition* definition) noexcept {
  definition->dataSize = roundUpTo16(definition->dataSize);
  REALRegisterClass(definition);
}

void MyREALRegisterControl(REALcontrol* definition) noexcept {
  gHasControls = true;
  auto* record = reinterpret_cast<ControlRecord*>(definition);
  record->dataSize = roundUpTo16(record->dataSize);
  REALRegisterControl(definition);
}

void MyREALRegisterClassExtension(REALclassDefinition* definition) noexcept {
  REALRegisterClassExtension(definition);
}

void FixConsoleFlags(REALmethodDefinition* method) noexcept { fixList(method, 1); }

void FixConsoleFlags(REALmethodDefinition* methods, HostLong count) noexcept {
  fixList(methods, static_cast<int32_t>(count));
}

void FixConsoleFlags(REALclassDefinition* definition) noexcept {
  if (definition == nullptr) return;
  fixFlags(definition->flags);
  fixList(definition->methods, definition->methodCount);
  fixList(definition->sharedMethods, definition->sharedMethodCount);
  fixList(definition->properties, definition->propertyCount);
  fixList(definition->sharedProperties, definition->sharedPropertyCount);
}

void FixConsoleFlags(REALmoduleDefinition* definition) noexcept {
  if (definition == nullptr) return;
  fixList(definition->methods, definition->methodCount);
  fixList(definition->properties, definition->propertyCount);
}

void SetClassConsoleSafe(REALclassDefinition* definition) noexcept {
  definition->flags |= kFlagConsoleSafe;
}

void SetClassWebOnly(REALclassDefinition* definition) noexcept {
  definition->flags = (definition->flags & ~kFlagHostBit8) | kFlagWebOnly;
}
