// A plug-in that does each thing wrong that a host's accounts must notice, one method for each.
#include <cstdlib>

#include "frame/Abi.h"

namespace {

HostResolver resolver;

template <typename Result, typename... A>
Result call(const char* service, A... arguments) {
  return reinterpret_cast<Result (*)(A...)>(resolver(service))(arguments...);
}

using Picture = REALpictureStruct*;

REALobjectStruct* object(Picture picture) { return reinterpret_cast<REALobjectStruct*>(picture); }

bool lock(Picture picture) {
  REALpictureDescription description;
  const HostLong kind = kDescriptionCairo;
  return call<HostBoolean>("REALLockPictureDescription", picture, &description, kind) != 0;
}

void leakReference(Picture picture) { call<void>("REALLockObject", object(picture)); }
void leakNewPicture(Picture) {
  call<Picture>("newPicture", HostLong{2}, HostLong{2}, HostLong{32});
}
void releaseTwice(Picture picture) { call<void>("REALUnlockObject", object(picture)); }
void useAfterRelease(Picture) {
  const auto made = call<Picture>("newPicture", HostLong{2}, HostLong{2}, HostLong{32});
  call<void>("REALUnlockObject", object(made));
  call<void>("REALPictureClearCache", made);
}
void keepLock(Picture picture) { lock(picture); }
void unlockUnlocked(Picture picture) { call<void>("unlockPictureDescription", picture); }
void releaseLocked(Picture) {
  const auto made = call<Picture>("newPicture", HostLong{2}, HostLong{2}, HostLong{32});
  lock(made);
  call<void>("REALUnlockObject", object(made));
}
void leakGraphics(Picture picture) {
  call<REALgraphicsStruct*>("pluginPictureGraphicsGetter", picture);
}
void leakString(Picture) { call<REALstringStruct*>("REALBuildString", "text", 4); }
void keepLentText(Picture) {
  auto* string = call<REALstringStruct*>("REALBuildString", "text", 4);
  REALstringData data;
  call<HostBoolean>("PluginGetStringData", string, HostULong{kEncodingUTF8}, &data);
  call<void>("REALUnlockString", string);
}
void returnForeignText(Picture) {
  REALstringData data{malloc(4), 4, 0};
  call<void>("PluginDisposeStringData", &data);
  free(data.data);
}
void passNoHandle(Picture) {
  alignas(16) static char bytes[64];
  call<void>("REALUnlockObject", reinterpret_cast<REALobjectStruct*>(bytes + 32));
}
void behave(Picture picture) {
  leakReference(picture);
  releaseTwice(picture);
  if (lock(picture)) unlockUnlocked(picture);
}

template <auto routine>
REALmethodDefinition method(const char* declaration) {
  return {reinterpret_cast<void*>(routine), nullptr, declaration, 0};
}

REALmethodDefinition methods[] = {
    method<&leakReference>("LeakReference(p as picture)"),
    method<&leakNewPicture>("LeakNewPicture(p as picture)"),
    method<&releaseTwice>("ReleaseTwice(p as picture)"),
    method<&useAfterRelease>("UseAfterRelease(p as picture)"),
    method<&keepLock>("KeepLock(p as picture)"),
    method<&unlockUnlocked>("UnlockUnlocked(p as picture)"),
    method<&releaseLocked>("ReleaseLocked(p as picture)"),
    method<&leakGraphics>("LeakGraphics(p as picture)"),
    method<&leakString>("LeakString(p as picture)"),
    method<&keepLentText>("KeepLentText(p as picture)"),
    method<&returnForeignText>("ReturnForeignText(p as picture)"),
    method<&passNoHandle>("PassNoHandle(p as picture)"),
    method<&behave>("Behave(p as picture)"),
};

}  // namespace

extern "C" ZVK_EXPORT void REALPluginMain(HostResolver hostResolver) {
  resolver = hostResolver;
  for (REALmethodDefinition& each : methods) call<void>("PluginRegisterMethod", &each);
}
