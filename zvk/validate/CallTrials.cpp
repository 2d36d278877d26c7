// Every declared method, on pictures in every storage, with plausible and with absurd arguments.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "Scene.h"
#include "StackCall.h"
#include "host/pictures/Display.h"

namespace zvk::validation {

namespace {

using grammar::Type;
using host::Method;
using host::Storage;
using host::Value;

constexpr Size kSizes[] = {{1, 1}, {1, 7}, {9, 1}, {2, 2}, {17, 5}, {33, 33}, {67, 3}, {401, 130}};
/// Every access to a drawable waits for the display.
constexpr Size kFewSizes[] = {{1, 1}, {1, 7}, {17, 5}, {67, 3}};

const Layout& layoutOf(const Case& c) { return layouts()[static_cast<size_t>(c.layout)]; }

std::span<const Size> sizesFor(const Layout& layout) {
  if (layout.options.storage == Storage::kDrawable) return kFewSizes;
  return kSizes;
}

// --- Plausible calls ----------------------------------------------------------------------------

/// Objects that a call may touch, as they were before it.
class Sources {
 public:
  explicit Sources(const DeclaredCall& call)
      : result_(call.assigned ? Type::kNothing : call.method->declaration.result),
        isGlobal_(call.method->kind == Method::Kind::kGlobal),
        assignment_(call.assigned.has_value()) {
    own_ = call.self.picture();
    add(call.self);
    if (const host::InstanceRef instance = call.self.instance()) {
      for (const Value& object : objectsIn(*instance)) add(object);
    }
    for (const Value& argument : call.arguments) add(argument);
    if (call.assigned) add(*call.assigned);
  }

  /// What gives a picture leaves all others alone. Other methods may work on their own one in
  /// place, global ones on any, and then tell the host; and what gives nothing may fill a block.
  void compare(Log& log) const {
    for (const Source& source : sources_) {
      if (contents(source.value, true) == source.contents) continue;
      const host::PictureRef picture = source.value.picture();
      const bool inPlace =
          picture ? result_ != Type::kPicture && (isGlobal_ || picture == own_ || source.isMask)
                  : source.value.block() && result_ == Type::kNothing;
      if (!inPlace) {
        log.fail("calls.source-unchanged", source.value.describe() + " has changed");
      } else if (picture && !assignment_ && picture->cacheClears() == source.cacheClears) {
        log.fail("calls.host-told", "the host does not know that " + picture->name() + " changed");
      }
    }
  }
  bool contains(const host::PictureRef& picture) const {
    return std::any_of(sources_.begin(), sources_.end(),
                       [&](const Source& source) { return source.value.picture() == picture; });
  }

 private:
  struct Source {
    Value value;
    std::string contents;
    int cacheClears = 0;
    bool isMask = false;
  };

  void add(const Value& value) {
    if (!value.object() || value.instance()) return;
    const host::PictureRef picture = value.picture();
    sources_.push_back({value, contents(value, true), picture ? picture->cacheClears() : 0});
    if (!picture) return;
    if (host::Picture* mask = picture->mask(false)) {
      const host::PictureRef held(mask);
      sources_.push_back({held, contents(held, true), mask->cacheClears(), picture == own_});
    }
  }

  Type result_;
  bool isGlobal_;
  bool assignment_;  ///< the program that assigns knows by itself that the picture changes
  host::PictureRef own_;
  std::vector<Source> sources_;
};

/// Pictures that came of a call: its result, its variables, and what an instance holds.
std::vector<host::PictureRef> newPictures(const DeclaredCall& call, const Answer& answer,
                                          const Sources& sources) {
  std::vector<Value> values = {answer.result.value};
  for (const host::ByReferenceResult& each : answer.result.byReference)
    values.push_back(each.value);
  if (const host::InstanceRef instance = call.self.instance()) {
    for (const Value& object : objectsIn(*instance)) values.push_back(object);
  }
  std::vector<host::PictureRef> pictures;
  for (const Value& value : values) {
    const host::PictureRef picture = value.picture();
    if (picture && !sources.contains(picture)) pictures.push_back(picture);
  }
  return pictures;
}

bool hasRectangle(const Method& method) {
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    if (grammar::equalIgnoringCase(method.declaration.parameters[i].name, "left")) return true;
  }
  return false;
}

constexpr uint32_t kFreshPixel = 0x5A3C1E77;

// Whether each word is either written, and then the same, or wholly left as the host made it.
bool onlyLeavesPixels(const host::PictureRef& zero, const host::PictureRef& fresh) {
  if (!zero || !fresh) return !zero && !fresh;
  const std::vector<uint32_t> first = zero->words(), second = fresh->words();
  return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                    [](uint32_t a, uint32_t b) { return a == b || (a == 0 && b == kFreshPixel); });
}

void checkException(Scene& scene, const Answer& answer) {
  if (!answer.exception) return;
  const auto& [className, message, isNil] = *answer.exception;
  if (scene.host.isA(className, "RuntimeException") && !message.empty()) return;
  scene.log.fail("calls.exceptions", "it raises " + className + " \"" + message + '"');
}

void tryPlausibly(Scene& scene, const Layout& layout, const Method& method, Size size,
                  uint32_t seed, bool assigning) {
  const auto fresh = [&] {
    Arguments arguments(scene.plugin, layout.options, size, seed);
    return assigning ? arguments.assignment(method) : arguments.call(method);
  };
  scene.host.settings.freshPixel = 0;
  const DeclaredCall call = fresh();
  const Sources sources(call);
  const Answer answer = scene.make(call);
  sources.compare(scene.log);
  for (const host::PictureRef& picture : newPictures(call, answer, sources)) {
    if (picture->cacheClears() == 0) {
      scene.log.fail("calls.host-told", "the host does not know of the pixels of the result");
    }
    if (!picture->hasStorage()) scene.log.fail("calls.result", "the result has no pixels");
  }
  checkException(scene, answer);
  if (!scene.settle()) return;

  const std::string bytes = contents(call, answer, true);
  const DeclaredCall again = fresh();
  if (contents(again, scene.make(again), true) != bytes) {
    scene.log.fail("calls.same-twice", "the second time it gives something else");
  }
  scene.host.settings.freshPixel = kFreshPixel;
  const DeclaredCall onFresh = fresh();
  const Answer other = scene.make(onFresh);
  const bool whole = hasRectangle(method) ? onlyLeavesPixels(answer.result.value.picture(),
                                                             other.result.value.picture())
                                          : contents(onFresh, other, true) == bytes;
  if (!whole) scene.log.fail("calls.whole-result", "what a new picture held shows in the result");
}

void plausible(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layoutOf(c);
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  for (const Size& size : sizesFor(layout)) {
    for (uint32_t seed = context.seed; seed < context.seed + 3; ++seed) {
      for (const bool assigning : {false, true}) {
        if (assigning && !method.assignable()) continue;
        tryPlausibly(scene, layout, method, size, seed, assigning);
        if (log.failed()) return;
      }
    }
  }
}

// --- Working at all -----------------------------------------------------------------------------

Value telling(const host::Host& host, Type type, const host::PictureRef& picture,
              Arguments& arguments) {
  (void)host;
  switch (type) {
    case Type::kPicture:
      return picture;
    case Type::kMemoryBlock:
      return arguments.block();
    case Type::kString:
      return arguments.string();
    case Type::kInteger:
      return 1;
    case Type::kColor:
      return host::Color{0xFFFFFF};
    case Type::kBoolean:
      return true;
    case Type::kDouble:
      return 0.5;
    case Type::kNothing:
      break;
  }
  return {};
}

// All that a call may work on.
std::string surroundings(const DeclaredCall& call) {
  std::string bytes = contents(call.self, true);
  for (const Value& argument : call.arguments) bytes += contents(argument, true);
  if (const host::InstanceRef instance = call.self.instance()) {
    bytes.append(instance->data(), instance->data() + instance->info().definition->dataSize);
  }
  return bytes;
}

// A method without result or variables is told by what it does to its surroundings.
bool didWork(const DeclaredCall& call, const Answer& answer, const std::string& before) {
  const bool tells =
      call.method->declaration.result != Type::kNothing || !answer.result.byReference.empty();
  return tells ? !answer.isFailure() : surroundings(call) != before;
}

bool worksSomewhere(Scene& scene, const Method& method) {
  constexpr Size kSize{6, 6};
  for (const uint32_t color : {0xFFFFFFFFU, 0xFF000000U, 0xFF20C040U}) {
    Arguments arguments(scene.plugin, {.alpha = true}, kSize, color);
    const host::PictureRef picture = scene.host.newPicture(
        kSize.width, kSize.height, std::vector<uint32_t>(36, color), {.alpha = true});
    picture->mask(true);
    DeclaredCall call = arguments.call(method);
    if (call.self.picture()) call.self = picture;
    for (size_t i = 0; i < call.arguments.size(); ++i) {
      const grammar::Parameter& parameter = method.declaration.parameters[i];
      if (!parameter.byReference) {
        call.arguments[i] = telling(scene.host, parameter.type, picture, arguments);
      }
    }
    const std::string before = surroundings(call);
    if (didWork(call, scene.make(call), before)) return true;
  }
  return false;
}

void works(const Context& context, const Case& c, Log& log) {
  Scene scene(context, log, layouts()[0]);
  const Method& method = scene.method(c);
  // What is assigned is read; see the assignments of instances and pictures.
  if (!method.assignable() && !worksSomewhere(scene, method)) {
    log.fail("calls.works", "it gives what failing calls give, whatever it is called with");
  }
}

// --- The same everywhere ------------------------------------------------------------------------

void everywhere(const Context& context, const Case& c, Log& log) {
  // Where a picture is stored does not show.
  struct Seen {
    std::string bytes;
    const Layout* layout = nullptr;
    bool inPlace = false;
  } seen[2];  // without and with alpha channel
  for (const Layout& layout : layouts().first(static_cast<size_t>(availableLayouts()))) {
    Scene scene(context, log, layout);
    const Method& method = scene.method(c);
    // Neither do strings, which tell of it, nor what is assigned, which lies in bits that storages
    // keep each in its own way.
    if (method.declaration.result == Type::kString || method.assignable()) return;
    std::string bytes;
    bool inPlace = false;
    for (const Size size : {Size{1, 1}, Size{19, 4}}) {
      Arguments arguments(scene.plugin, layout.options, size, context.seed);
      const DeclaredCall call = arguments.call(method);
      const std::string before = contents(call.self, true);
      bytes += coloursOf(call, scene.make(call));
      inPlace |= call.self.picture() && contents(call.self, true) != before;
    }
    Seen& first = seen[layout.options.alpha ? 1 : 0];
    if (first.layout == nullptr) {
      first = {bytes, &layout, inPlace};
    } else if (first.inPlace && layout.options.storage == Storage::kDrawable) {
      continue;  // drawables cannot be changed in place
    } else if (first.bytes != bytes) {
      log.fail("calls.every-storage", "in the layout " + std::string(layout.name) +
                                          " it gives something else than in " +
                                          std::string(first.layout->name));
    }
  }
}

// --- Absurd arguments ---------------------------------------------------------------------------

/// Calls `vary` on plausible calls and makes them. `vary` gets the number of the variant and
/// returns false when there are no more.
template <typename Vary>
void tryVariants(const Context& context, const Case& c, Log& log, Size size, Vary vary) {
  const Layout& layout = layoutOf(c);
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  for (const bool assigning : {false, true}) {
    if (assigning && !method.assignable()) continue;
    for (int variant = 0; !log.failed(); ++variant) {
      Arguments arguments(scene.plugin, layout.options, size, context.seed);
      arguments.placement = host::Placement::kGuarded;
      DeclaredCall call = assigning ? arguments.assignment(method) : arguments.call(method);
      // The same for the result of the arguments: each variant stands alone.
      std::mt19937 random(context.seed + static_cast<uint32_t>(variant));
      if (!vary(scene, call, variant, random)) break;
      checkException(scene, scene.make(call));
      scene.settle();
    }
  }
}

bool takesObjects(const Method& method) {
  return method.kind == Method::Kind::kPicture || takes(method, Type::kPicture) ||
         takes(method, Type::kMemoryBlock) || takes(method, Type::kString);
}

/// The places of a call that hold an object which is nobody's own: its picture and its arguments.
std::vector<Value*> objectPlaces(DeclaredCall& call) {
  std::vector<Value*> places;
  const auto add = [&](Value& value) {
    if (value.object() && !value.instance()) places.push_back(&value);
  };
  add(call.self);
  for (Value& argument : call.arguments) add(argument);
  if (call.assigned) add(*call.assigned);
  return places;
}

void withNil(const Context& context, const Case& c, Log& log) {
  // Every set of places is nil once.
  tryVariants(context, c, log, {5, 4}, [](Scene&, DeclaredCall& call, int variant, std::mt19937&) {
    const std::vector<Value*> places = objectPlaces(call);
    if (variant + 1 >= 1 << places.size()) return false;
    for (size_t i = 0; i < places.size(); ++i) {
      if ((variant + 1) >> i & 1) *places[i] = nullptr;
    }
    return true;
  });
}

constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntegers[] = {0,           1,     -1,    2,      kLowest, kHighest,
                                 kLowest + 1, 32767, 32768, -32768, 65536,   kHighest - 1};
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNumbers[] = {0.0,        -0.0,  1,      -1,     std::nan(""), kInfinity,
                               -kInfinity, 1e308, -1e308, 1e-310, 4294967296,   -2147483649};

template <typename T, size_t count>
T pick(const T (&values)[count], std::mt19937& random) {
  return values[random() % count];
}

bool takesNumbers(const Method& method) {
  return takes(method, Type::kInteger) || takes(method, Type::kDouble) ||
         takes(method, Type::kColor);
}

void makeAbsurd(Value& value, std::mt19937& random) {
  if (value.isInteger()) value = pick(kIntegers, random);
  if (value.isDouble()) value = pick(kNumbers, random);
  if (value.isColor()) value = host::Color{static_cast<uint32_t>(pick(kIntegers, random))};
  if (value.isBoolean()) value = (random() & 1) != 0;
}

void withNumbers(const Context& context, const Case& c, Log& log) {
  constexpr int kVariants = 60;
  tryVariants(context, c, log, {5, 4},
              [](Scene&, DeclaredCall& call, int variant, std::mt19937& random) {
                for (Value& argument : call.arguments) {
                  // At first one number among plausible ones, then all of them.
                  if (variant >= kVariants / 2 || random() % call.arguments.size() == 0) {
                    makeAbsurd(argument, random);
                  }
                }
                if (call.assigned) makeAbsurd(*call.assigned, random);
                return variant < kVariants;
              });
}

bool takesPictures(const Method& method) { return takes(method, Type::kPicture); }

// Of other sizes, and in other storages of the same kind of application.
void withSizes(const Context& context, const Case& c, Log& log) {
  constexpr Size kOthers[] = {{1, 1}, {1, 9}, {9, 1}, {4, 3}, {30, 30}, {5, 4}};
  const bool console = layoutOf(c).options.storage == Storage::kRecord;
  const auto count = static_cast<uint32_t>(availableLayouts());
  tryVariants(context, c, log, {5, 4},
              [&](Scene& scene, DeclaredCall& call, int variant, std::mt19937& random) {
                for (Value* place : objectPlaces(call)) {
                  if (!place->picture()) continue;
                  const Size size = pick(kOthers, random);
                  host::PictureOptions options;
                  do {
                    options = layouts()[random() % count].options;
                  } while ((options.storage == Storage::kRecord) != console);
                  *place = scene.host.newPicture(size.width, size.height,
                                                 variedPixels(size, random), options);
                }
                return variant < 24;
              });
}

bool takesData(const Method& method) {
  return takes(method, Type::kMemoryBlock) || takes(method, Type::kString);
}

// --- Blocks and strings: short, long, without address, of no or a wrong size, and damaged

host::BlockRef oddBlock(Scene& scene, std::mt19937& random) {
  constexpr int kLengths[] = {0, 1, 3, 4, 255, 256, 257, 1020, 1023, 1024, 1 << 20};
  const host::BlockRef block =
      scene.host.newBlock(pick(kLengths, random), host::Placement::kGuarded);
  if (random() % 6 == 0) block->hideAddress = true;
  // Hosts that do not know a block's size say so; then there is enough of it.
  if (block->size() > 1024 && random() % 2) block->reportedSize = -1;
  return block;
}

host::StringRef oddString(Scene& scene, const host::StringRef& plausible, std::mt19937& random) {
  std::string bytes(plausible->bytes());
  switch (random() % 5) {
    case 0:
      bytes.clear();
      break;
    case 1:
      bytes.resize(random() % (bytes.size() + 1));
      break;
    case 2:
      if (!bytes.empty()) bytes[random() % std::min<size_t>(bytes.size(), 48)] ^= random() % 256;
      break;
    case 3:
      for (char& byte : bytes) byte = static_cast<char>(random());
      break;
    default:
      bytes.resize(size_t{1} << 20, '\xFF');
  }
  return scene.host.newString(bytes, kEncodingNone, host::Placement::kGuarded);
}

void withData(const Context& context, const Case& c, Log& log) {
  tryVariants(context, c, log, {5, 4},
              [](Scene& scene, DeclaredCall& call, int variant, std::mt19937& random) {
                for (Value& argument : call.arguments) {
                  if (argument.block()) argument = oddBlock(scene, random);
                  if (argument.string()) argument = oddString(scene, argument.string(), random);
                }
                return variant < 120;
              });
}

bool takesPicturesTwice(const Method& method) {
  int pictures = method.kind == Method::Kind::kPicture ? 1 : 0;
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    pictures += method.declaration.parameters[i].type == Type::kPicture;
  }
  return pictures + (method.assignable() ? 1 : 0) > 1;
}

// One picture in all places, and equal ones: what comes of it must be the same, where nothing is
// changed in place.
void withAliases(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layoutOf(c);
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  for (const bool assigning : {false, true}) {
    if (assigning && !method.assignable()) continue;
    const auto calling = [&](bool same) {
      Arguments arguments(scene.plugin, layout.options, {7, 5}, context.seed);
      DeclaredCall call = assigning ? arguments.assignment(method) : arguments.call(method);
      const auto copy = [&] {
        return Arguments(scene.plugin, layout.options, {7, 5}, 9).picture();
      };
      const host::PictureRef one = copy();
      for (Value* place : objectPlaces(call)) {
        if (place->picture()) *place = same ? one : copy();
      }
      return call;
    };
    const DeclaredCall apart = calling(false), together = calling(true);
    const std::string expected = contents(scene.make(apart).result.value);
    const std::string given = contents(scene.make(together).result.value);
    if (given != expected) {
      log.fail("calls.aliases", "one picture in all places gives something else than equal ones");
    }
    scene.settle();
  }
}

// --- Any stack ----------------------------------------------------------------------------------

// Hosts of another compiler's making call with a stack that is aligned to 4 bytes only.
void withAnyStack(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layoutOf(c);
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  const auto fresh = [&] {
    return Arguments(scene.plugin, layout.options, {37, 5}, context.seed).call(method);
  };
  const DeclaredCall call = fresh();
  const Answer answer = scene.make(call);
  const std::string expected = contents(call, answer, true);
  for (const int offset : {0, 4, 8, 12}) {
    const DeclaredCall again = fresh();
    log.doing(again.text() + " with the stack " + std::to_string(offset) + " bytes off");
    log.countCall();
    const Answer given{callWithStackAt(offset, scene.host, again), scene.host.takeException()};
    // An exception's call gives nothing here, whatever it returned.
    const bool same =
        given.exception ? answer.exception.has_value() : contents(again, given, true) == expected;
    if (!same) log.fail("calls.stack", "it gives something else");
    scene.settle();
  }
}

std::vector<Case> stackCases(const Context& context, Log& log) {
  if (canMoveStack()) return everyMethodAndLayout(context, log, nullptr, false);
  log.skip("calls.stack", "64-bit hosts keep the stack aligned");
  return {};
}

// --- The trials ---------------------------------------------------------------------------------

template <bool (*applies)(const Method&)>
std::vector<Case> methodsThat(const Context& context, Log& log) {
  return everyMethodAndLayout(context, log, applies);
}

std::vector<Case> allMethods(const Context& context, Log& log) {
  if (!host::displayAvailable())
    log.skip("accounts.pixbufs", "there is no X display for drawables");
  return everyMethodAndLayout(context, log);
}

constexpr std::string_view kGuest =
    "accounts.* process.* calls.result calls.exceptions memory.heap";

constexpr Trial kTrials[] = {
    {"calls.survives",
     "calls.source-unchanged calls.host-told calls.result calls.whole-result calls.same-twice "
     "calls.exceptions accounts.* process.* memory.heap",
     allMethods, plausible},
    {"calls.works", "", everyMethod, works},
    {"calls.every-storage", "", everyMethod, everywhere},
    {"calls.nil", kGuest, methodsThat<takesObjects>, withNil},
    {"calls.numbers", kGuest, methodsThat<takesNumbers>, withNumbers},
    {"calls.sizes", kGuest, methodsThat<takesPictures>, withSizes},
    {"calls.data", kGuest, methodsThat<takesData>, withData},
    {"calls.aliases", kGuest, methodsThat<takesPicturesTwice>, withAliases},
    {"calls.stack", kGuest, stackCases, withAnyStack},
};

}  // namespace

std::span<const Trial> callTrials() { return kTrials; }

}  // namespace zvk::validation
