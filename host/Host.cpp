#include "host/Host.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "frame/DeclarationGrammar.h"
#include "host/services/Services.h"

namespace host {

namespace {

Host* currentHost = nullptr;

// Released objects are remembered until they take this much room together.
constexpr size_t kDeadBytesLimit = size_t{32} << 20;
constexpr size_t kPoolLimit = 16;

constexpr struct {
  const char* name;
  const char* superName;
} kHostClasses[] = {
    {"Object", ""},
    {"Picture", "Object"},
    {"Graphics", "Object"},
    {"MemoryBlock", "Object"},
    {"FolderItem", "Object"},
    {"Variant", "Object"},
    {"RuntimeException", "Object"},
    {"NilObjectException", "RuntimeException"},
    {"OutOfBoundsException", "RuntimeException"},
    {"OutOfMemoryException", "RuntimeException"},
    {"InvalidArgumentException", "RuntimeException"},
    {"UnsupportedOperationException", "RuntimeException"},
};

// The class whose existence tells an application of each kind; none for kNone.
constexpr std::string_view kApplicationClasses[] = {"", "Application", "ConsoleApplication",
                                                    "WebApplication"};

}  // namespace

Settings Settings::forStorage(Storage storage) {
  Settings settings;
  settings.newPictures.storage = storage;
  if (storage == Storage::kRecord) settings.application = ApplicationKind::kConsole;
  return settings;
}

Host::Host(Settings initial)
    : settings(initial),
      previous_(currentHost),
      deadBytesLimit_(kDeadBytesLimit),
      states_(allServices().size()) {
  currentHost = this;
  for (const auto& known : kHostClasses) addClass(known.name, known.superName);
}

Host::~Host() {
  forget(registrations);
  raised_.clear();
  dropped_.clear();
  deadBytesLimit_ = SIZE_MAX;
  // What leaked lives on while the others release their references to it, then all are deleted.
  while (!live_.empty()) {
    Object* object = live_.back();
    object->references_ = object->held_ = 0;
    object->settle();
  }
  for (Object* object : dead_) delete object;
  for (void* text : lentTexts_) free(text);
  currentHost = previous_;
}

Host& Host::current() {
  if (currentHost == nullptr) abort();
  return *currentHost;
}

// --- Objects ------------------------------------------------------------------------------------

Object* Host::object(const void* handle) { return Object::behind(handle); }

PictureRef Host::newPicture(int width, int height, const PictureOptions& options) {
  return PictureRef(Picture::create(*this, width, height, options));
}

PictureRef Host::newPicture(int width, int height, const std::vector<uint32_t>& pixels,
                            const PictureOptions& options) {
  PictureRef picture = newPicture(width, height, options);
  if (picture) picture->setPixels(pixels);
  return picture;
}

BlockRef Host::newBlock(int size, Placement placement) {
  return BlockRef(MemoryBlock::create(*this, size, placement));
}

BlockRef Host::newBlock(std::span<const uint8_t> bytes, Placement placement) {
  BlockRef block = newBlock(static_cast<int>(bytes.size()), placement);
  if (block && !bytes.empty()) memcpy(block->data(), bytes.data(), bytes.size());
  return block;
}

StringRef Host::newString(std::string_view bytes, HostULong encoding, Placement placement) {
  return StringRef(String::create(*this, bytes, encoding, placement));
}

Ref<PropertyObject> Host::newObject(std::string className, PropertyObject::Properties properties) {
  return Ref<PropertyObject>(
      PropertyObject::create(*this, "object", std::move(className), std::move(properties)));
}

Ref<Object> Host::newInstance(std::string_view className) {
  const ClassInfo* info = findClass(className);
  if (info == nullptr) return {};
  if (info->definition) return InstanceRef(Instance::create(*this, *info));
  if (grammar::equalIgnoringCase(className, "Picture")) {
    return PictureRef(Picture::createUnbuilt(*this));
  }
  if (isA(className, "RuntimeException")) {
    return Ref<PropertyObject>(PropertyObject::create(
        *this, "exception", info->name, {{"Message", StringRef()}, {"ErrorNumber", 0}}));
  }
  return newObject(info->name);
}

void Host::addObject(Object& object) {
  object.number_ = ++numbers_[object.kind_];
  object.liveIndex_ = live_.size();
  live_.push_back(&object);
}

void Host::removeObject(Object& object) {
  live_.back()->liveIndex_ = object.liveIndex_;
  live_[object.liveIndex_] = live_.back();
  live_.pop_back();
  dead_.push_back(&object);
  deadBytes_ += sizeof(Picture) + object.recordSize_;
  while (deadBytes_ > deadBytesLimit_ && dead_.size() > 1) {
    deadBytes_ -= sizeof(Picture) + dead_.front()->recordSize_;
    delete dead_.front();
    dead_.pop_front();
  }
}

Object* Host::useObject(const void* handle, const char* what) {
  if (handle == nullptr) return nullptr;
  Object* found = object(handle);
  if (found == nullptr) {
    report(std::string(what) + ": the argument is not a handle of this host");
  } else if (!found->alive()) {
    report(std::string(what) + ": " + found->name() + " was released already");
    return nullptr;
  }
  return found;
}

// --- Picture storage ----------------------------------------------------------------------------

std::unique_ptr<PixelStorage> Host::takeStorage(int width, int height,
                                                const PictureOptions& options) {
  if (width < 1 || height < 1) return nullptr;
  const uint64_t bytes = uint64_t{4} * width * height;
  if (bytes > settings.pictureByteLimit) return nullptr;
  // The one given back last first: the caches still hold it.
  const auto found = std::find_if(pool_.rbegin(), pool_.rend(), [&](const auto& pooled) {
    return pooled->width() == width && pooled->height() == height && pooled->options() == options;
  });
  if (found != pool_.rend()) {
    std::unique_ptr<PixelStorage> storage = std::move(*found);
    pool_.erase(std::prev(found.base()));
    return storage;
  }
  std::unique_ptr<PixelStorage> storage = PixelStorage::create(width, height, options);
  if (storage && settings.freshPixel != 0) {
    storage->write(
        std::vector<uint32_t>(static_cast<size_t>(width) * height, settings.freshPixel).data());
  }
  return storage;
}

void Host::recycle(std::unique_ptr<PixelStorage> storage) {
  if (!settings.recycling) return;
  // What was not asked for in the longest time makes room.
  if (pool_.size() == kPoolLimit) pool_.erase(pool_.begin());
  pool_.push_back(std::move(storage));
}

// --- Services -----------------------------------------------------------------------------------

std::string CallRecord::text() const {
  std::string text(name);
  text += '(';
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) text += ", ";
    text += arguments[i];
  }
  text += ')';
  if (!result.empty()) text += " = " + result;
  return text;
}

const Service& Host::service(std::string_view name) {
  for (const Service* known : allServices()) {
    if (known->name == name) return *known;
  }
  throw std::invalid_argument("no service is called " + std::string(name));
}

ServiceState& Host::state(std::string_view name) { return state(service(name).index); }

bool Host::canFail(std::string_view name) { return service(name).canFail; }

void Host::withhold(std::string_view name, int fromResolution) {
  ServiceState& counts = state(name);
  counts.withheldFrom = counts.resolutions + fromResolution;
}

void Host::failCall(std::string_view name, int n) {
  if (!canFail(name)) throw std::invalid_argument(std::string(name) + " cannot fail");
  ServiceState& counts = state(name);
  counts.failingFrom = counts.failingUntil = counts.calls + n;
}

void Host::failFrom(std::string_view name, int n) {
  failCall(name, n);
  state(name).failingUntil = INT32_MAX;
}

void Host::restore(std::string_view name) {
  ServiceState& counts = state(name);
  counts.withheldFrom = counts.failingFrom = counts.failingUntil = 0;
}

std::vector<std::string_view> Host::serviceNames() {
  std::vector<std::string_view> names;
  for (const auto& [name, service] : servicesByName()) names.push_back(name);
  return names;
}

void* Host::resolve(const char* entryName) {
  const auto found = servicesByName().find(entryName);
  if (found == servicesByName().end()) {
    ++current().unknownResolutions[entryName];
    return nullptr;
  }
  return offer(*found->second);
}

std::vector<std::string> Host::callTexts() const {
  std::vector<std::string> texts;
  for (const CallRecord& call : calls_) texts.push_back(call.text());
  return texts;
}

// --- Accounts -----------------------------------------------------------------------------------

std::vector<std::string> Host::accounts() const {
  std::vector<std::string> texts;
  for (Problem& problem : problems()) texts.push_back(std::move(problem.text));
  return texts;
}

std::vector<Problem> Host::problems() const {
  using Kind = Problem::Kind;
  std::vector<Problem> problems = problems_;
  const auto add = [&](Kind kind, std::string text) {
    problems.push_back({kind, std::move(text)});
  };
  std::map<const Object*, int> expected;
  for (const Object* object : live_) {
    std::vector<Object*> fields;
    object->collectFields(fields);
    for (const Object* field : fields) ++expected[field];
  }
  for (const Object* object : live_) {
    const std::string details = object->details();
    const std::string name = object->name() + (details.empty() ? "" : " (" + details + ")");
    const int excess = object->references() - object->held() - expected[object];
    if (excess > 0) {
      add(Kind::kLeak, name + ": " + std::to_string(excess) + " reference(s) never released");
    } else if (excess < 0) {
      add(Kind::kOverRelease,
          name + ": released " + std::to_string(-excess) + " time(s) too often");
    }
    const auto* picture = dynamic_cast<const Picture*>(object);
    if (picture && picture->openLocks() > 0) {
      add(Kind::kLock,
          name + ": " + std::to_string(picture->openLocks()) + " description lock(s) still open");
    }
  }
  if (!lentTexts_.empty()) {
    add(Kind::kText, std::to_string(lentTexts_.size()) + " lent text(s) never given back");
  }
  for (const Ref<Object>& exception : raised_) {
    add(Kind::kException, "exception " + std::string(exception->className()) +
                              " was raised: " + exception->property("Message").text());
  }
  return problems;
}

bool Host::returnText(void* text) {
  const auto found = std::find(lentTexts_.begin(), lentTexts_.end(), text);
  if (found == lentTexts_.end()) return false;
  lentTexts_.erase(found);
  free(text);
  return true;
}

void Host::raise(Object& exception) { raised_.push_back(Ref<Object>::adopt(&exception)); }
void Host::dropException(Object& exception) { dropped_.push_back(Ref<Object>::adopt(&exception)); }

std::optional<RaisedException> Host::takeException() {
  dropped_.clear();
  if (raised_.empty()) return std::nullopt;
  if (raised_.size() > 1) {
    report(std::to_string(raised_.size()) + " exceptions were raised in one call",
           Problem::Kind::kException);
  }
  const Ref<Object> first = raised_.front();
  raised_.clear();
  const Value message = first->property("Message");
  return RaisedException{std::string(first->className()), message.text(), message.isNil()};
}

// --- Classes ------------------------------------------------------------------------------------

ClassInfo& Host::addClass(std::string name, std::string superName) {
  classes_.push_back(
      std::make_unique<ClassInfo>(ClassInfo{std::move(name), std::move(superName), nullptr}));
  return *classes_.back();
}

const ClassInfo* Host::findClass(std::string_view name) const {
  for (size_t kind = 1; kind < std::size(kApplicationClasses); ++kind) {
    if (grammar::equalIgnoringCase(name, kApplicationClasses[kind])) {
      static const ClassInfo kApplications[] = {{},
                                                {"Application", "Object", nullptr},
                                                {"ConsoleApplication", "Object", nullptr},
                                                {"WebApplication", "Object", nullptr}};
      return kind == static_cast<size_t>(settings.application) ? &kApplications[kind] : nullptr;
    }
  }
  for (const auto& info : classes_) {
    if (grammar::equalIgnoringCase(info->name, name)) return info.get();
  }
  return nullptr;
}

ClassReference* Host::classReference(const ClassInfo& info) {
  ClassReference*& reference = classReferences_[&info];
  if (reference == nullptr) {
    reference = new ClassReference(*this, info);
    reference->hold();
  }
  return reference;
}

bool Host::isA(std::string_view className, std::string_view ancestor) const {
  for (const ClassInfo* info = findClass(className); info; info = findClass(info->superName)) {
    if (grammar::equalIgnoringCase(info->name, ancestor)) return true;
  }
  return false;
}

void Host::forget(const Registrations& gone) {
  // `gone` may be the host's own list, which shrinks here.
  const Registrations lists = gone;
  for (const REALclassDefinition* definition : lists.classes) {
    for (auto& info : classes_) {
      if (info->definition != definition) continue;
      // Instances may still refer to the class; the name is free for the next plug-in.
      info->definition = nullptr;
      info->name.insert(0, "(unloaded) ");
    }
  }
  const auto remove = [](auto& from, const auto& what) {
    std::erase_if(from, [&](auto* entry) {
      return std::find(what.begin(), what.end(), entry) != what.end();
    });
  };
  remove(registrations.classes, lists.classes);
  remove(registrations.extensions, lists.extensions);
  remove(registrations.methods, lists.methods);
  remove(registrations.controls, lists.controls);
  remove(registrations.modules, lists.modules);
}

}  // namespace host
