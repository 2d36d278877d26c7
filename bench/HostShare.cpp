#include "HostShare.h"

namespace bench {

namespace {

template <typename Signature>
class HostFunction {
 public:
  explicit HostFunction(const char* name)
      : entry_(reinterpret_cast<Signature*>(host::Host::resolve(name))) {}
  template <typename... A>
  auto operator()(A... arguments) const {
    return entry_(arguments...);
  }

 private:
  Signature* entry_;
};

struct Functions {
  HostFunction<HostBoolean(void*, const char*, HostBoolean*)> property{"REALGetPropValueBool"};
  HostFunction<HostBoolean(void*, REALpictureDescription*, HostLong)> lock{
      "REALLockPictureDescription"};
  HostFunction<void(void*)> unlock{"unlockPictureDescription"};
  HostFunction<void(void*)> reference{"REALLockObject"};
  HostFunction<void(void*)> release{"REALUnlockObject"};
  HostFunction<void(void*)> clearCache{"REALPictureClearCache"};
  HostFunction<REALpictureStruct*(HostLong, HostLong, HostLong)> newPicture{"newPicture"};
};

void open(const Functions& call, void* picture, REALpictureDescription& description) {
  HostBoolean alpha = 0;
  call.property(picture, "HasAlphaChannel", &alpha);
  call.lock(picture, &description, kDescriptionCairo);
  call.reference(picture);
}

void close(const Functions& call, void* picture) {
  call.unlock(picture);
  call.release(picture);
}

// What an operation with one source and a new picture asks for, from first to last.
void callServices(const Functions& call, void* source) {
  REALpictureDescription description, newDescription;
  open(call, source, description);
  REALpictureStruct* result = call.newPicture(1, 1, 32);
  open(call, result, newDescription);
  call.release(result);
  call.reference(result);
  call.clearCache(result);
  close(call, result);
  call.clearCache(result);
  close(call, source);
  host::Host::adopt<host::Picture>(result);
}

}  // namespace

Timing measureHostShare(Stage& stage, const Effort& effort) {
  const Functions functions;
  const host::PictureRef source = stage.picture(Scene::kGradient, {1, 1, ""}, 0);
  return measure({{"host", [&] { callServices(functions, source.handle()); }}}, 1, effort).front();
}

}  // namespace bench
