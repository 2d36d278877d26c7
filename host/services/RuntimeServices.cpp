// Registration and the running program.
#include "host/services/Services.h"

namespace host {

namespace {

void registerVersion(Host& host, HostLong version) { host.pluginVersion = version; }

double version(Host& host) { return host.version(); }

void registerClass(Host& host, REALclassDefinition* definition) {
  definition->dataOffset = host.settings.dataOffset;
  host.registrations.classes.push_back(definition);
  host.addClass(definition->name, definition->superName ? definition->superName : "Object")
      .definition = definition;
}

void registerExtension(Host& host, REALclassDefinition* definition) {
  host.registrations.extensions.push_back(definition);
}

void registerMethod(Host& host, REALmethodDefinition* definition) {
  host.registrations.methods.push_back(definition);
}

void registerControl(Host& host, REALcontrol* definition) {
  host.registrations.controls.push_back(definition);
}

void registerModule(Host& host, REALmoduleDefinition* definition) {
  host.registrations.modules.push_back(definition);
}

HostLong registerTask(Host& host, void (*routine)(void*), HostULong period, void* argument) {
  host.backgroundTasks.push_back({routine, period, argument, true});
  return static_cast<HostLong>(host.backgroundTasks.size());
}

void unregisterTask(Host& host, HostLong id) {
  if (id < 1 || static_cast<size_t>(id) > host.backgroundTasks.size() ||
      !host.backgroundTasks[static_cast<size_t>(id) - 1].active) {
    host.report("PluginUnregisterBackgroundTask: there is no task " + std::to_string(id));
    return;
  }
  host.backgroundTasks[static_cast<size_t>(id) - 1].active = false;
}

HostBoolean inRuntime(Host&) { return 1; }
HostBoolean inDebugMode(Host&) { return 0; }
void yield(Host&) {}

HostLong callWithHandler(Host&, void (*routine)(void*), void* argument) {
  routine(argument);
  return 1;
}

void messageBox(Host& host, REALstringStruct* text) {
  const String* string = host.use<String>(text, "RuntimeMsgBox");
  host.messageBoxes.push_back(string ? string->utf8() : "");
}

}  // namespace

std::span<Service* const> runtimeServices() {
  static Service* const kServices[] = {
      service<"RegisterPluginVersion", registerVersion>(),
      service<"REALGetRBVersion", version>(),
      service<"PluginRegisterClass", registerClass>(),
      service<"PluginRegisterClassExtension", registerExtension>(),
      service<"PluginRegisterMethod", registerMethod>(),
      service<"PluginRegisterControl", registerControl>(),
      service<"PluginRegisterModule", registerModule>(),
      service<"PluginRegisterBackgroundTask", registerTask>(),
      service<"PluginUnregisterBackgroundTask", unregisterTask>(),
      service<"REALinRuntime", inRuntime>(),
      service<"REALInDebugMode", inDebugMode>(),
      service<"REALYieldToRB", yield>(),
      service<"PluginCallFunctionWithExceptionHandler", callWithHandler>(),
      service<"RuntimeMsgBox", messageBox>(),
  };
  return kServices;
}

}  // namespace host
