// The stand-in host: a process that plug-ins load into, with its objects, its services and exact
// accounts of what a plug-in took and gave back.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/objects/Array.h"
#include "host/objects/Classes.h"
#include "host/objects/MemoryBlock.h"
#include "host/objects/Text.h"
#include "host/objects/Value.h"
#include "host/pictures/Graphics.h"
#include "host/pictures/Picture.h"

namespace host {

enum class ApplicationKind : uint8_t { kNone, kDesktop, kConsole, kWeb };

/// What a host gives a plug-in that asks for something new, where that is not what it asked for.
struct Lies {
  int moreWidth = 0, moreHeight = 0;  ///< pictures are so much larger; negative: smaller
  std::optional<Storage> storage;     ///< pictures lie in another storage than their sources
  PictureFaults pictures;             ///< what is wrong with new pictures
  int moreBytes = 0;                  ///< memory blocks are so much longer; negative: shorter
  std::optional<int> blockSize;       ///< the size that new memory blocks report
  bool hiddenBlocks = false;          ///< new memory blocks have no address
};

/// What kind of host this is. May be changed at any time through Host::settings.
struct Settings {
  std::optional<double> version = 2019.02;  ///< nothing: the host does not report one
  ApplicationKind application = ApplicationKind::kDesktop;
  PictureOptions newPictures;  ///< storage and layout of pictures that plug-ins make
  bool alphaPictures = true;   ///< "Picture" has its constructor for alpha pictures
  uint32_t freshPixel = 0;     ///< word that fills new pictures
  int32_t dataOffset = 48;     ///< where instances keep the plug-in's data; at least 16
  int descriptionWords = 12;   ///< words that a lock writes behind a description's first four
  Placement placement = Placement::kHeap;     ///< of strings and memory blocks that plug-ins make
  bool logging = true;                        ///< service calls are logged
  bool recycling = false;                     ///< storage of dead pictures is reused, not cleared
  size_t pictureByteLimit = size_t{1} << 30;  ///< larger pictures cannot be made
  Lies lies;

  /// A host whose application kind goes with the storage: desktop for cairo and drawables, console
  /// for records.
  static Settings forStorage(Storage storage);
};

/// One call of a service by the plug-in.
struct CallRecord {
  std::string_view name;               ///< entry name
  std::vector<std::string> arguments;  ///< handles by name, such as "picture#3"; texts in quotes
  std::string result;                  ///< empty for services without result
  /// "newPicture(4, 3, 32) = picture#1"
  std::string text() const;
};

/// An exception that the plug-in raised.
struct RaisedException {
  std::string className;
  std::string message;  ///< UTF-8; empty when nil
  bool messageNil = true;
};

/// Something that is not as it should be.
struct Problem {
  enum class Kind : uint8_t {
    kMisuse,       ///< of a handle: none of this host's, released, or of another type
    kLeak,         ///< references never released
    kOverRelease,  ///< references released too often
    kLock,         ///< a description still locked, unlocked twice, or locked at its picture's end
    kText,         ///< lent text
    kException,    ///< raised, and nobody took it
    kResult,       ///< a call's result is not what its declaration says
  };
  Kind kind;
  std::string text;
};

/// Misbehaviour of one service, and how often it was used. Calls and resolutions count from 1.
struct ServiceState {
  int resolutions = 0;  ///< times that the resolver was asked for it
  int calls = 0;
  int withheldFrom = 0;  ///< resolution from which on it is missing; 0 never
  int failingFrom = 0;   ///< first call that fails; 0 never
  int failingUntil = 0;  ///< last call that fails
};

struct Service;

/// The host process. The one that was made last is current: services act on it.
class Host {
 public:
  explicit Host(Settings settings = {});
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host();

  /// The current host. There must be one.
  static Host& current();
  /// The resolver that plug-ins receive: address of a service of the current host, or null.
  static void* resolve(const char* entryName);

  Settings settings;
  /// The reported version; 0 when the host reports none.
  double version() const { return settings.version.value_or(0.0); }

  // --- Objects for tests and tools: one reference each, nil when they cannot be made ---

  PictureRef newPicture(int width, int height, const PictureOptions& options);
  PictureRef newPicture(int width, int height) {
    return newPicture(width, height, settings.newPictures);
  }
  /// With canonical pixels, row after row.
  PictureRef newPicture(int width, int height, const std::vector<uint32_t>& pixels,
                        const PictureOptions& options);
  BlockRef newBlock(int size, Placement placement = Placement::kHeap);
  BlockRef newBlock(std::span<const uint8_t> bytes, Placement placement = Placement::kHeap);
  StringRef newString(std::string_view bytes, HostULong encoding = kEncodingUTF8,
                      Placement placement = Placement::kHeap);
  Ref<PropertyObject> newObject(std::string className, PropertyObject::Properties properties = {});
  /// An instance of a class by name, as New makes it; nil for an unknown class.
  Ref<Object> newInstance(std::string_view className);

  /// The object behind a handle, also when it was released (see Object::alive); null for nil.
  static Object* object(const void* handle);
  template <typename T>
  static T* as(const void* handle) {
    return dynamic_cast<T*>(object(handle));
  }
  /// A plug-in's result: takes over its reference.
  template <typename T>
  static Ref<T> adopt(void* handle) {
    return Ref<T>::adopt(as<T>(handle));
  }

  // --- Services: withholding, failing, counting. Unknown names throw std::invalid_argument ---
  //
  // Methods of host objects are services too: "Picture.Constructor", "Graphics.DrawPicture",
  // "Graphics.DrawRect", "Graphics.FillRect", "Graphics.ClearRect", "Graphics.DrawOval",
  // "Graphics.FillOval", "Graphics.DrawRoundRect", "Graphics.FillRoundRect", "LenB". A withheld
  // method is not found on its object.

  /// The service is missing from its n-th resolution on.
  void withhold(std::string_view name, int fromResolution = 1);
  /// The n-th call from now on fails: it does nothing and returns 0, null or false.
  void failCall(std::string_view name, int n = 1);
  /// All calls from the n-th from now on fail.
  void failFrom(std::string_view name, int n = 1);
  /// Whether failCall and failFrom can be asked for; the services that keep references and locks
  /// cannot fail, and asking for it throws std::invalid_argument.
  static bool canFail(std::string_view name);
  /// Ends withholding and failing of one service.
  void restore(std::string_view name);
  int resolutions(std::string_view name) { return state(name).resolutions; }
  int callCount(std::string_view name) { return state(name).calls; }
  /// Names of all services that the resolver knows, sorted.
  static std::vector<std::string_view> serviceNames();

  /// Names that the plug-in asked for and that no host has, with how often it asked.
  std::map<std::string, int> unknownResolutions;

  std::vector<CallRecord>& calls() { return calls_; }
  /// The log as one text per call, see CallRecord::text.
  std::vector<std::string> callTexts() const;
  void clearCalls() { calls_.clear(); }

  // --- Accounts ---

  /// Everything that is not as it should be, one sentence each: misuse noticed so far, references
  /// that leaked or were released too often, descriptions still locked, lent text not given back,
  /// exceptions nobody took. Empty means balanced.
  std::vector<std::string> accounts() const;
  /// The same with what kind of problem each is.
  std::vector<Problem> problems() const;
  /// Notes misuse.
  void report(std::string problem, Problem::Kind kind = Problem::Kind::kMisuse) {
    problems_.push_back({kind, std::move(problem)});
  }
  /// Everything alive, in no order.
  const std::vector<Object*>& objects() const { return live_; }
  /// Forgets the misuse noticed so far, for tests that provoke it.
  void clearProblems() { problems_.clear(); }

  // --- What plug-ins did ---

  /// Removes and returns the exception raised first since the last call.
  std::optional<RaisedException> takeException();
  int32_t pluginVersion = 0;  ///< as announced through "RegisterPluginVersion"
  std::vector<std::string> messageBoxes;
  struct BackgroundTask {
    void (*routine)(void*);
    HostULong period;
    void* argument;
    bool active;
  };
  std::vector<BackgroundTask> backgroundTasks;  ///< the identifier is the index plus 1

  struct Registrations {
    std::vector<REALclassDefinition*> classes;
    std::vector<REALclassDefinition*> extensions;
    std::vector<REALmethodDefinition*> methods;
    std::vector<REALcontrol*> controls;
    std::vector<REALmoduleDefinition*> modules;
  };
  Registrations registrations;
  /// Forgets these registrations; instances of the classes then die without their destructor.
  void forget(const Registrations& gone);
  /// The class of this name; null when there is none.
  const ClassInfo* findClass(std::string_view name) const;
  /// Adds a class of the host's own; exceptions and the usual ones exist already.
  ClassInfo& addClass(std::string name, std::string superName = "Object");
  ClassReference* classReference(const ClassInfo& info);
  bool isA(std::string_view className, std::string_view ancestor) const;

  // --- For the services ---

  ServiceState& state(std::string_view name);
  static const Service& service(std::string_view name);
  ServiceState& state(int index) { return states_[static_cast<size_t>(index)]; }
  /// The object of type T behind a plug-in's handle. Null for nil; a handle that was released or is
  /// of another type is reported, and gives null too.
  template <typename T>
  T* use(const void* handle, const char* what) {
    Object* object = useObject(handle, what);
    T* result = dynamic_cast<T*>(object);
    if (object && !result)
      report(std::string(what) + ": " + object->name() + " is of another type");
    return result;
  }
  Object* useObject(const void* handle, const char* what);
  std::unique_ptr<PixelStorage> takeStorage(int width, int height, const PictureOptions& options);
  void recycle(std::unique_ptr<PixelStorage> storage);
  void raise(Object& exception);
  void dropException(Object& exception);
  void lendText(void* text) { lentTexts_.push_back(text); }
  bool returnText(void* text);

 private:
  friend class Object;
  void addObject(Object& object);
  void removeObject(Object& object);

  Host* previous_;
  std::vector<Object*> live_;
  std::deque<Object*> dead_;  ///< tombstones, the oldest first
  size_t deadBytes_ = 0;
  size_t deadBytesLimit_;
  std::map<std::string_view, int> numbers_;
  std::vector<ServiceState> states_;
  std::vector<CallRecord> calls_;
  std::vector<Problem> problems_;
  std::vector<Ref<Object>> raised_;
  std::vector<Ref<Object>> dropped_;
  std::vector<void*> lentTexts_;
  std::vector<std::unique_ptr<ClassInfo>> classes_;
  std::map<const ClassInfo*, ClassReference*> classReferences_;
  std::vector<std::unique_ptr<PixelStorage>> pool_;
};

}  // namespace host
