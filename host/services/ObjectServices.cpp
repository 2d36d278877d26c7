// Objects: references, instances, classes, exceptions, properties, controls and files.
#include <cstring>

#include "frame/DeclarationGrammar.h"
#include "host/services/Services.h"

namespace host {

namespace {

void lockObject(Host& host, REALobjectStruct* handle) {
  if (Object* object = host.useObject(handle, "REALLockObject")) object->lock();
}

void unlockObject(Host& host, REALobjectStruct* handle) {
  if (Object* object = host.useObject(handle, "REALUnlockObject")) object->unlock();
}

REALobjectStruct* newInstance(Host& host, const char* className) {
  return className ? handOut(host.newInstance(className).get()) : nullptr;
}

REALobjectStruct* createInstance(Host& host, REALclassRefStruct* handle) {
  const auto* reference = host.use<ClassReference>(handle, "CreateInstance");
  return reference ? handOut(host.newInstance(reference->info().name).get()) : nullptr;
}

REALclassRefStruct* classReference(Host& host, const char* className) {
  const ClassInfo* info = className ? host.findClass(className) : nullptr;
  if (info == nullptr) return nullptr;
  return static_cast<REALclassRefStruct*>(host.classReference(*info)->handle());
}

HostBoolean objectIsA(Host& host, REALobjectStruct* handle, REALclassRefStruct* classHandle) {
  const Object* object = host.useObject(handle, "RuntimeObjectIsa");
  const auto* reference = host.use<ClassReference>(classHandle, "RuntimeObjectIsa");
  return object && reference && host.isA(object->className(), reference->info().name);
}

void* pluginData(Host& host, REALobjectStruct* handle, REALclassRefStruct* classHandle) {
  const auto* instance = host.use<Instance>(handle, "PluginGetPluginData");
  const auto* reference = host.use<ClassReference>(classHandle, "PluginGetPluginData");
  if (instance == nullptr || reference == nullptr) return nullptr;
  return &instance->info() == &reference->info() ? instance->data() : nullptr;
}

void raiseException(Host& host, REALobjectStruct* handle) {
  if (Object* exception = host.useObject(handle, "RuntimeRaiseException")) host.raise(*exception);
}

void loseException(Host& host, REALobjectStruct* handle) {
  if (Object* exception = Host::object(handle)) host.dropException(*exception);
}

void* loadObjectMethod(Host& host, REALobjectStruct* handle, const char* declaration) {
  Object* object = host.useObject(handle, "REALLoadObjectMethod");
  return object && declaration ? object->method(declaration) : nullptr;
}

void* loadGlobalMethod(Host&, void*, const char* declaration) {
  return declaration ? findMethod(globalMethods(), declaration) : nullptr;
}

// --- Controls and files: objects whose properties a test sets -----------------------------------

void* eventInstance(Host& host, REALcontrolInstanceStruct* control, REALevent*) {
  Object* object = host.useObject(control, "GetEventInstance");
  return object ? object->handle() : nullptr;
}

// Four 16-bit numbers: top, left, bottom, right.
HostBoolean controlBounds(Host& host, REALcontrolInstanceStruct* control, RB::Rect* bounds) {
  const Object* object = host.useObject(control, "GetControlBounds");
  if (object == nullptr || bounds == nullptr) return 0;
  const int64_t left = object->property("Left").integer(), top = object->property("Top").integer();
  const int64_t edges[] = {top, left, top + object->property("Height").integer(),
                           left + object->property("Width").integer()};
  for (size_t i = 0; i < std::size(edges); ++i) {
    const auto edge = static_cast<int16_t>(edges[i]);
    memcpy(reinterpret_cast<uint8_t*>(bounds) + 2 * i, &edge, sizeof edge);
  }
  return 1;
}

template <typename Handle>
Handle* objectProperty(const Object* object, std::string_view name) {
  const Value value = object ? object->property(name) : Value();
  return reinterpret_cast<Handle*>(handOut(value.object().get()));
}

REALgraphicsStruct* controlGraphics(Host& host, REALcontrolInstanceStruct* control) {
  return objectProperty<REALgraphicsStruct>(host.useObject(control, "REALGetControlGraphics"),
                                            "Graphics");
}

REALobjectStruct* controlWindow(Host& host, REALcontrolInstanceStruct* control) {
  return objectProperty<REALobjectStruct>(host.useObject(control, "getControlWindow"), "Window");
}

HostBoolean tabPanelVisible(Host& host, REALcontrolInstanceStruct* control) {
  const Object* object = host.useObject(control, "GetTabPanelVisible");
  return object && object->property("Visible").boolean();
}

REALstringStruct* folderItemPath(Host& host, REALfolderItemStruct* item) {
  return objectProperty<REALstringStruct>(host.useObject(item, "REALpathFromFolderItem"), "Path");
}

// Folder items have no children here; the method tells what kind of object they are.
REALfolderItemStruct* trueItem(Host&, REALfolderItemStruct*, HostLong) { return nullptr; }

// --- Properties ---------------------------------------------------------------------------------

template <typename T>
bool fetch(const Value& value, T* out) {
  if constexpr (std::is_same_v<T, HostBoolean>) {
    if (!value.isBoolean()) return false;
    *out = value.boolean();
  } else if constexpr (std::is_same_v<T, REALstringStruct*>) {
    if (!value.isString()) return false;
    *out = reinterpret_cast<T>(handOut(value.object().get()));
  } else if constexpr (std::is_same_v<T, REALobjectStruct*>) {
    if (!value.isObject()) return false;
    *out = handOut(value.object().get());
  } else {
    if (!value.isNumber() && !value.isColor()) return false;
    *out = std::is_floating_point_v<T> ? static_cast<T>(value.number())
                                       : static_cast<T>(value.integer());
  }
  return true;
}

template <typename T>
HostBoolean readProperty(Host& host, REALobjectStruct* handle, const char* name, T* out) {
  const Object* object = host.useObject(handle, "reading a property");
  if (object == nullptr || name == nullptr || out == nullptr) return 0;
  return fetch(object->property(name), out);
}

Value toValue(Host& host, REALstringStruct* handle) {
  return StringRef(host.use<String>(handle, "writing a property"));
}
Value toValue(Host& host, REALobjectStruct* handle) {
  return Ref<Object>(host.useObject(handle, "writing a property"));
}
Value toValue(Host&, double value) { return value; }
Value toValue(Host&, HostBoolean value) { return value != 0; }
template <typename T>
Value toValue(Host&, T value) {
  return static_cast<long long>(value);
}

template <typename T>
HostBoolean writeProperty(Host& host, REALobjectStruct* handle, const char* name, T value) {
  Object* object = host.useObject(handle, "writing a property");
  if (object == nullptr || name == nullptr) return 0;
  return object->setProperty(name, toValue(host, value));
}

}  // namespace

std::span<Service* const> objectServices() {
  static Service* const kServices[] = {
      service<"REALLockObject", lockObject, NeverFails{}>(),
      service<"REALUnlockObject", unlockObject, NeverFails{}>(),
      service<"PluginNewInstance", newInstance>(),
      service<"CreateInstance", createInstance>(),
      service<"pluginObjectType", classReference>(),
      service<"RuntimeObjectIsa", objectIsA>(),
      service<"PluginGetPluginData", pluginData>(),
      service<"RuntimeRaiseException", raiseException, loseException>(),
      service<"REALLoadObjectMethod", loadObjectMethod>(),
      service<"REALLoadGlobalMethod", loadGlobalMethod>(),
      service<"GetEventInstance", eventInstance>(),
      service<"GetControlBounds", controlBounds>(),
      service<"REALGetControlGraphics", controlGraphics>(),
      service<"getControlWindow", controlWindow>(),
      service<"GetTabPanelVisible", tabPanelVisible>(),
      service<"REALpathFromFolderItem", folderItemPath>(),
  };
  return kServices;
}

std::span<const ObjectMethod> folderItemMethods() {
  static const ObjectMethod kMethods[] = {
      {"TrueItem(Index as integer) as Folderitem", service<"FolderItem.TrueItem", trueItem>()},
  };
  return kMethods;
}

std::span<Service* const> propertyServices() {
  static Service* const kServices[] = {
      service<"REALGetPropValueInt", readProperty<HostLong>>(),
      service<"REALGetPropValueBool", readProperty<HostBoolean>>(),
      service<"REALGetPropValueString", readProperty<REALstringStruct*>>(),
      service<"REALGetPropValueDouble", readProperty<double>>(),
      service<"REALGetPropValueObject", readProperty<REALobjectStruct*>>(),
      service<"REALGetPropValueInt64", readProperty<long long>>(),
      service<"REALGetPropValueUInt64", readProperty<unsigned long long>>(),
      service<"REALGetPropValueUInt32", readProperty<HostULong>>(),
      service<"REALGetPropValueUInt16", readProperty<unsigned short>>(),
      service<"REALGetPropValueInt16", readProperty<short>>(),
      service<"REALGetPropValueInt8", readProperty<char>>(),
      service<"REALGetPropValueSingle", readProperty<float>>(),
      service<"REALSetPropValueInt", writeProperty<HostLong>>(),
      service<"REALSetPropValueString", writeProperty<REALstringStruct*>>(),
      service<"REALSetPropValueDouble", writeProperty<double>>(),
      service<"REALSetPropValueObject", writeProperty<REALobjectStruct*>>(),
      service<"REALSetPropValueUInt32", writeProperty<HostULong>>(),
      service<"REALSetPropValueUInt64", writeProperty<unsigned long long>>(),
      service<"REALSetPropValueInt64", writeProperty<long long>>(),
      service<"REALSetPropValueBoolean", writeProperty<HostBoolean>>(),
  };
  return kServices;
}

}  // namespace host
