#include "plugin/PluginMain.h"

#include "filters/FilterClasses.h"
#include "frame/HostCall.h"
#include "frame/HostServices.h"
#include "frame/HostState.h"
#include "plugin/Declarations.h"
#include "plugin/Registration.h"

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
  FixConsoleFlags(globalMethods().data(), static_cast<HostLong>(globalMethods().size()));
  MyREALRegisterClass(&PictureSepiaClass);
  MyREALRegisterClass(&Lut3DClass);
  MyREALRegisterClassExtension(&PictureExtensionClass);
  for (REALmethodDefinition& method : globalMethods()) REALRegisterMethod(&method);
  MyPluginEnde();
}

void MyPluginEnde() noexcept {}
