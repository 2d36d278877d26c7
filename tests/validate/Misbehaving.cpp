// A plug-in that stands between the host and the real one and does one thing wrong: the fault that
// the check named by ZVK_FAULT must notice; some checks have further ones, named behind a slash.
// Without that it is as well-behaved as the real one.
#include <dlfcn.h>
#include <emmintrin.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cfenv>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "frame/Abi.h"

namespace {

using Picture = REALpictureStruct*;

/// Whether the fault of this check is to be made.
bool fault(std::string_view check) {
  static const char* const wanted = getenv("ZVK_FAULT");
  return wanted != nullptr && check == wanted;
}

// --- The host -----------------------------------------------------------------------------------

HostResolver resolver;

template <typename Result, typename... A>
Result host(const char* service, A... arguments) {
  return reinterpret_cast<Result (*)(A...)>(resolver(service))(arguments...);
}

REALobjectStruct* object(Picture picture) { return reinterpret_cast<REALobjectStruct*>(picture); }
void release(Picture picture) { host<void>("REALUnlockObject", object(picture)); }
bool lock(Picture picture, REALpictureDescription& description, HostLong kind) {
  return host<HostBoolean>("REALLockPictureDescription", picture, &description, kind) != 0;
}
void unlock(Picture picture) { host<void>("unlockPictureDescription", picture); }
HostLong widthOf(Picture picture) {
  HostLong width = 0;
  host<HostBoolean>("REALGetPropValueInt", object(picture), "Width", &width);
  return width;
}
Picture smallPicture() {
  return host<Picture>("newPicture", HostLong{2}, HostLong{2}, HostLong{32});
}

/// Calls `visit` with the first byte of a row of a picture that lies in a record, and its width.
template <typename Visit>
void visitRow(Picture picture, bool last, Visit visit) {
  REALpictureDescription description;
  if (picture == nullptr || !lock(picture, description, kDescriptionPixelRecord)) return;
  auto* record = static_cast<HostPixelRecord*>(description.data);
  visit(record->rowStarts[last ? record->height - 1 : 0], record->width);
  unlock(picture);
}
void changeFirstPixel(Picture picture, uint8_t by) {
  visitRow(picture, false, [by](uint8_t* row, int) { row[0] = static_cast<uint8_t>(row[0] ^ by); });
}

/// What the compiler cannot warn of.
size_t hidden(size_t number) {
  asm volatile("" : "+r"(number));
  return number;
}

/// Readable only through a pointer that the compiler knows nothing about.
uint8_t byteAt(const void* address, long offset) {
  asm volatile("" : "+r"(address) : : "memory");
  return static_cast<const volatile uint8_t*>(address)[offset];
}

// --- Faults of InvertZVK ------------------------------------------------------------------------

Picture (*realInvert)(Picture);
REALclassDefinition* extension;
int calls;

void raise(const char* className) {
  auto* exception = host<REALobjectStruct*>("PluginNewInstance", className);
  host<void>("RuntimeRaiseException", exception);
}

void* sleepLong(void*) {
  sleep(1000);
  return nullptr;
}

/// What is done before the real routine is called.
void misbehaveBefore(Picture self) {
  if (self == nullptr) {
    if (fault("calls.nil")) raise(nullptr), abort();
    return;
  }
  if (fault("start.records-kept")) extension->flags ^= 4;
  if (fault("calls.survives")) abort();
  if (fault("calls.source-unchanged")) changeFirstPixel(self, 0x40);
  if (fault("calls.exceptions")) raise("Object");
  if (fault("calls.stack")) {
    // The compiler relies on a stack that is aligned to 16 bytes.
    alignas(16) volatile float room[4];
    auto* address = const_cast<float*>(room);
    asm volatile("movaps %%xmm0, (%0)" : : "r"(address) : "memory");
  }
  if (fault("accounts.references")) host<void>("REALLockObject", object(self));
  if (fault("accounts.releases")) release(self);
  if (fault("accounts.handles")) {
    const Picture gone = smallPicture();
    release(gone);
    host<void>("REALPictureClearCache", gone);
  }
  if (fault("accounts.texts")) {
    auto* string = host<REALstringStruct*>("REALBuildString", "text", 4);
    REALstringData data;
    host<HostBoolean>("PluginGetStringData", string, HostULong{kEncodingUTF8}, &data);
    host<void>("REALUnlockString", string);
  }
  if (fault("accounts.exceptions")) raise("NilObjectException"), raise("NilObjectException");
  REALpictureDescription description;
  if (fault("accounts.locks")) lock(self, description, kDescriptionCairo);
  if (fault("accounts.pixbufs")) {
    using New = void*(int, int, int, int, int);
    reinterpret_cast<New*>(dlsym(RTLD_DEFAULT, "gdk_pixbuf_new"))(0, 0, 8, 2, 2);
  }
  if (fault("accounts.heap")) static_cast<volatile char*>(malloc(10))[0] = 1;
  if (fault("accounts.files")) (void)open("/dev/null", O_RDONLY);
  pthread_t thread;
  if (fault("accounts.threads")) pthread_create(&thread, nullptr, sleepLong, nullptr);
  if (fault("process.output")) puts("inverting");
  if (fault("process.directory")) (void)!chdir("/");
  if (fault("process.locale")) setlocale(LC_ALL, "C.UTF-8");
  if (fault("process.signals")) signal(SIGUSR1, SIG_IGN);
  if (fault("process.environment")) setenv("INVERTED", "1", 1);
  if (fault("process.rounding")) fesetround(FE_UPWARD);
  if (fault("process.floating-point")) _mm_setcsr(_mm_getcsr() & ~0x0100U);
  if (fault("memory.rows-end")) {
    visitRow(self, true, [](uint8_t* row, int width) { byteAt(row, 4 * width); });
  }
  if (fault("memory.rows-start")) visitRow(self, false, [](uint8_t* row, int) { byteAt(row, -1); });
  if (fault("memory.surroundings")) {
    visitRow(self, false, [](uint8_t* row, int width) { row[4 * width] = 1; });
  }
  if (fault("memory.heap") || fault("faults.allocations")) {
    auto* bytes = static_cast<volatile char*>(malloc(hidden(8)));
    bytes[hidden(fault("memory.heap") ? 8 : 0)] = 1;
    free(const_cast<char*>(bytes));
  }
  if (fault("faults.references") && !resolver("REALLockObject")) abort();
  if (calls <= 4) return;
  if (fault("sequences.survive")) abort();
  if (fault("sequences.accounts")) host<void>("REALLockObject", object(self));
  if (fault("sequences.process")) (void)!chdir("/");
}

/// And on its result.
void misbehaveBehind(Picture result) {
  if (fault("calls.same-twice")) changeFirstPixel(result, static_cast<uint8_t>(calls));
  if (fault("calls.every-storage")) changeFirstPixel(result, 0x40);
  if (fault("memory.fresh")) {
    void* bytes = malloc(8);
    changeFirstPixel(result, byteAt(bytes, static_cast<long>(hidden(3))));
    free(bytes);
  }
}

Picture invert(Picture self) {
  ++calls;
  misbehaveBefore(self);
  if (fault("calls.works")) return nullptr;
  if (self && fault("calls.result")) return host<Picture>("REALBuildString", "text", 4);
  if (self && fault("calls.whole-result")) {
    return host<Picture>("newPicture", widthOf(self), HostLong{1}, HostLong{32});
  }
  const Picture result = realInvert(self);
  if (self && !result && fault("faults.once/other")) return smallPicture();
  if (result) misbehaveBehind(result);
  if (result && fault("faults.sizes") && widthOf(result) != widthOf(self)) abort();
  return result;
}

// --- Faults of other routines -------------------------------------------------------------------

Picture (*realInvertPart)(Picture, HostLong, HostLong, HostLong, HostLong);
Picture invertPart(Picture self, HostLong left, HostLong top, HostLong width, HostLong height) {
  if (fault("calls.numbers") && width == INT_MIN) abort();
  return realInvertPart(self, left, top, width, height);
}

// Where the host has no way to raise it, the exception is nobody's.
Picture raiseIfPossible() {
  if (!resolver("PluginNewInstance")) return nullptr;
  auto* exception = host<REALobjectStruct*>("PluginNewInstance", "NilObjectException");
  if (resolver("RuntimeRaiseException")) host<void>("RuntimeRaiseException", exception);
  return nullptr;
}

Picture (*realReplaceRed)(Picture, Picture);
Picture replaceRed(Picture self, Picture red) {
  if (fault("calls.aliases") && self == red) return nullptr;
  if (fault("calls.sizes") && self && red && widthOf(self) != widthOf(red)) abort();
  if (fault("faults.missing/exception") && self && !red) return raiseIfPossible();
  return realReplaceRed(self, red);
}

using Block = REALmemoryBlockStruct*;
// As long as it was asked for, not as long as it is.
void fillNewBlock() {
  constexpr HostLong kSize = 64;
  const auto block = host<Block>("newMemoryBlock", int{kSize});
  void* bytes = host<void*>("memoryBlockGetPtr", block);
  if (bytes) memset(bytes, 1, size_t{kSize});
  host<void>("REALUnlockObject", block);
}

Picture (*realTransform)(Picture, Block, Block, Block);
Picture transform(Picture self, Block red, Block blue, Block green) {
  const bool reads = red && (fault("calls.data") || fault("memory.blocks"));
  if (reads) {
    const void* bytes = host<void*>("memoryBlockGetPtr", red);
    byteAt(bytes, host<HostLong>("memoryBlockGetSize", red));
  }
  if (fault("faults.blocks/short")) fillNewBlock();
  return realTransform(self, red, blue, green);
}

Picture (*realFromString)(REALstringStruct*);
Picture fromString(REALstringStruct* string) {
  if (string && fault("memory.strings")) byteAt(string->storage, string->length + 2);
  return realFromString(string);
}

void assignNothing(Picture, HostBoolean, Picture) {}

REALclassDefinition* filterClass;
HostBoolean (*realRun)(REALobjectStruct*);
HostBoolean runFilter(REALobjectStruct* instance) {
  return fault("instances.offset") && filterClass->dataOffset != 48 ? 0 : realRun(instance);
}

void (*realClose)(REALobjectStruct*);
void closeFilter(REALobjectStruct* instance) {
  static int closings = 0;
  if (fault("instances.end") && ++closings > 1) abort();
  realClose(instance);
}

double shared;
double readShared(REALobjectStruct*, HostLong) { return shared; }
void writeShared(REALobjectStruct*, HostLong, double value) { shared = value; }
void writeNothing(REALobjectStruct*, HostLong, double) {}

// --- Faults of services -------------------------------------------------------------------------

Picture newPictureForSure(HostLong width, HostLong height, HostLong depth) {
  const Picture picture = host<Picture>("newPicture", width, height, depth);
  if (picture == nullptr && fault("faults.once")) abort();
  return picture || !fault("faults.persistent") ? picture : newPictureForSure(width, height, depth);
}

HostBoolean lockForSure(Picture picture, REALpictureDescription* description, HostLong kind) {
  static HostLong last = 0;
  if (!lock(picture, *description, kind)) {
    if (fault("faults.storage") && kind == last) abort();
    if (fault("faults.locks") && kind == kDescriptionDrawable) abort();
    return 0;
  }
  last = kind;
  if (fault("faults.rows") && kind == kDescriptionPixelRecord) {
    const auto* record = static_cast<HostPixelRecord*>(description->data);
    for (int y = 0; y < record->height; ++y) byteAt(record->rowStarts[y], 0);
  }
  if (fault("faults.surfaces") && kind == kDescriptionCairo) {
    using Target = void*(void*);
    using Data = const void*(void*);
    auto* target = reinterpret_cast<Target*>(dlsym(RTLD_DEFAULT, "cairo_get_target"));
    auto* data = reinterpret_cast<Data*>(dlsym(RTLD_DEFAULT, "cairo_image_surface_get_data"));
    byteAt(data(target(description->data)), 0);
  }
  return 1;
}

void* blockAddressForSure(Block block) {
  void* address = host<void*>("memoryBlockGetPtr", block);
  byteAt(address, 0);
  return address;
}

void ignorePicture(Picture) {}
void announceWrongly(HostLong) { host<void>("RegisterPluginVersion", HostLong{77}); }
void announceNothing(HostLong) {}

struct Substitute {
  const char *check, *service;
  void* entry;
};
template <auto routine>
void* entryOf() {
  return reinterpret_cast<void*>(routine);
}
const Substitute kSubstitutes[] = {
    {"start.version", "RegisterPluginVersion", entryOf<announceWrongly>()},
    {"start.order", "RegisterPluginVersion", entryOf<announceNothing>()},
    {"calls.host-told", "REALPictureClearCache", entryOf<ignorePicture>()},
    {"faults.once", "newPicture", entryOf<newPictureForSure>()},
    {"faults.persistent", "newPicture", entryOf<newPictureForSure>()},
    {"faults.missing", "newPicture", entryOf<newPictureForSure>()},
    {"faults.locks", "REALLockPictureDescription", entryOf<lockForSure>()},
    {"faults.rows", "REALLockPictureDescription", entryOf<lockForSure>()},
    {"faults.storage", "REALLockPictureDescription", entryOf<lockForSure>()},
    {"faults.surfaces", "REALLockPictureDescription", entryOf<lockForSure>()},
    {"faults.blocks", "memoryBlockGetPtr", entryOf<blockAddressForSure>()},
};

// --- Registration -------------------------------------------------------------------------------

/// The methods that are passed on, with what stands in for their routines. All others would only
/// take time.
struct Passed {
  const char* start;  ///< of the declaration
  void* routine;
  void* real;  ///< address of the variable for the real routine; null for none
};
const Passed kPassed[] = {
    {"InvertZVK as", entryOf<invert>(), &realInvert},
    {"InvertZVK(", entryOf<invertPart>(), &realInvertPart},
    {"EmbeddedMaskZVK(", nullptr, nullptr},
    {"ReplaceRedChannelZVK(", entryOf<replaceRed>(), &realReplaceRed},
    {"TransformColorsZVK(", entryOf<transform>(), &realTransform},
    {"BinaryStringtoPictureZVK(", entryOf<fromString>(), &realFromString},
    {"PicturetoBinaryStringZVK(", nullptr, nullptr},
    {"Run as", entryOf<runFilter>(), &realRun},
    {"Close", entryOf<closeFilter>(), &realClose},
};

bool pass(REALmethodDefinition& method) {
  for (const Passed& passed : kPassed) {
    if (strncmp(method.declaration, passed.start, strlen(passed.start)) != 0) continue;
    if (passed.real) {
      memcpy(passed.real, &method.routine, sizeof method.routine);
      method.routine = passed.routine;
    }
    if (method.setter && fault("instances.assignments")) method.setter = entryOf<assignNothing>();
    return true;
  }
  return false;
}

REALmethodDefinition* keepPassed(REALmethodDefinition* methods, int32_t& count) {
  int32_t kept = 0;
  for (int32_t i = 0; i < count; ++i) {
    REALmethodDefinition method = methods[i];
    if (pass(method)) methods[kept++] = method;
  }
  count = kept;
  return methods;
}

void registerClass(REALclassDefinition* record) {
  if (strcmp(record->name, "PictureSepiaZVK") != 0) return;
  filterClass = record;
  keepPassed(record->methods, record->methodCount);
  REALpropertyDefinition* factor = record->properties;
  while (strcmp(factor->name, "FactorRed") != 0) ++factor;
  if (fault("start.records")) record->reserved[3] = record;
  if (fault("start.fields")) record->properties[2].parameter = record->properties[3].parameter;
  if (fault("start.types")) record->properties[2].type = "Intger";
  if (fault("instances.properties")) factor->setter = entryOf<writeNothing>();
  if (fault("instances.apart")) {
    factor->getter = entryOf<readShared>();
    factor->setter = entryOf<writeShared>();
  }
  if (resolver("PluginRegisterClass")) host<void>("PluginRegisterClass", record);
}

void registerExtension(REALclassDefinition* record) {
  REALmethodDefinition* methods = keepPassed(record->methods, record->methodCount);
  extension = record;
  if (fault("start.flags")) methods[0].flags |= 8;
  if (fault("start.declarations")) methods[0].declaration = "Invert ZVK as picture";
  if (fault("start.unique")) methods[1].declaration = methods[0].declaration;
  if (fault("start.routines")) methods[0].routine = nullptr;
  const bool old = !resolver("REALGetRBVersion") || host<double>("REALGetRBVersion") < 2010;
  if (fault("start.every-version") && old) --record->methodCount;
  if (fault("start.missing-service") && !resolver("PluginRegisterMethod")) return;
  if (fault("start.static-records")) {
    extension = static_cast<REALclassDefinition*>(malloc(sizeof *record));
    *extension = *record;
  }
  if (resolver("PluginRegisterClassExtension")) {
    host<void>("PluginRegisterClassExtension", extension);
  }
}

void registerMethod(REALmethodDefinition* record) {
  if (pass(*record) && resolver("PluginRegisterMethod")) {
    host<void>("PluginRegisterMethod", record);
  }
}

void* resolve(const char* name) {
  if (strcmp(name, "PluginRegisterClass") == 0) return entryOf<registerClass>();
  if (strcmp(name, "PluginRegisterClassExtension") == 0) return entryOf<registerExtension>();
  if (strcmp(name, "PluginRegisterMethod") == 0) return entryOf<registerMethod>();
  for (const Substitute& substitute : kSubstitutes) {
    if (fault(substitute.check) && strcmp(name, substitute.service) == 0) return substitute.entry;
  }
  return resolver(name);
}

void* real;

[[gnu::destructor]] void onUnloading() {
  if (real) dlclose(real);
}

[[gnu::constructor]] void onLoading() {
  if (fault("load.quiet")) puts("loaded");
  Dl_info own;
  if (fault("load.unloads") && dladdr(&resolver, &own)) dlopen(own.dli_fname, RTLD_LAZY);
}

}  // namespace

extern "C" ZVK_EXPORT void REALPluginMain(HostResolver hostResolver) {
  resolver = hostResolver;
  if (fault("start.survives")) abort();
  if (fault("start.known-services")) resolver("RegisterPluginVersoin");
  if (fault("start.passive")) host<REALstringStruct*>("REALBuildString", "text", 4);
  if (fault("start.bare-host")) host<double>("REALGetRBVersion");
  real = dlopen(ZVK_REAL_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  if (real == nullptr) return;
  using Main = void(HostResolver);
  reinterpret_cast<Main*>(dlsym(real, "REALPluginMain"))(&resolve);
}
