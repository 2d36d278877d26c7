#include "PluginMain.h"

#include "Declarations.h"
#include "HostService.h"
#include "HostServices.h"

HostResolver gResolver = nullptr;
double rbversion = 0.0;
HostBoolean IsConsole = false;
HostBoolean IsDesktop = false;
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

void* HCallResolver(const char* entryName) noexcept {
  return gResolver == nullptr ? nullptr : gResolver(entryName);
}

void REALPluginMain(HostResolver resolver) noexcept {
  gResolver = resolver;
  callHost<"RegisterPluginVersion">(kPluginInterfaceVersion);
  rbversion = callHost<"REALGetRBVersion", double>();
  PluginEntry();
}

void PluginEntry() noexcept {
  FixConsoleFlags(&PictureSepiaClass);
  FixConsoleFlags(&Lut3DClass);
  FixConsoleFlags(&PictureExtensionClass);
  FixConsoleFlags(GlobalMethodTable, kGlobalMethodCount);
  MyREALRegisterClass(&PictureSepiaClass);
  MyREALRegisterClass(&Lut3DClass);
  MyREALRegisterClassExtension(&PictureExtensionClass);
  for (REALmethodDefinition& method : GlobalMethodTable) REALRegisterMethod(&method);
  MyPluginEnde();
}

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

void CheckApplication() noexcept {
  const bool desktop = REALGetClassRef("Application") != nullptr;
  const bool web = REALGetClassRef("WebApplication") != nullptr;
  const bool console = REALGetClassRef("ConsoleApplication") != nullptr;
  if (desktop) {
    IsDesktop = true;
  } else if (web || console) {
    IsConsole = true;
  }
}

void MyPluginEnde() noexcept {}
