// A host in which something fails, is missing, or is not what it says.
#include <algorithm>
#include <functional>
#include <map>

#include "Heap.h"
#include "Scene.h"
#include "host/pictures/Display.h"
#include "host/services/Service.h"

namespace zvk::validation {

namespace {

using grammar::Type;
using host::Method;
using host::PictureFaults;
using host::Storage;
using host::SurfaceFault;

constexpr Size kSize{5, 3};
/// Somebody's plug-in may use a service for every pixel, in loops that take all the room for cases.
constexpr int kMostUses = 1000;

const Layout& layoutOf(const Case& c) { return layouts()[static_cast<size_t>(c.layout)]; }

/// What kind of call a case is about.
enum Kind : int16_t {
  kCall,
  kAssignment,
  kCallWithNil,  ///< in all places: some methods raise an exception then
};

/// The call that a case is about.
DeclaredCall callOf(Scene& scene, const Case& c, Arguments& arguments) {
  const Method& method = scene.method(c);
  DeclaredCall call = c.kind == kAssignment ? arguments.assignment(method) : arguments.call(method);
  for (host::Value& argument : call.arguments) {
    if (c.kind == kCallWithNil && argument.isObject()) argument = nullptr;
  }
  if (const host::PictureRef picture = call.self.picture()) picture->mask(true);
  return call;
}

DeclaredCall callOf(Scene& scene, const Case& c, const Context& context) {
  Arguments arguments(scene.plugin, layoutOf(c).options, kSize, context.seed);
  return callOf(scene, c, arguments);
}

std::vector<Case> callsAndAssignments(const Context& context, Log& log) {
  std::vector<Case> cases = everyMethodAndLayout(context, log);
  for (Case c : everyMethodAndLayout(context, log,
                                     [](const Method& method) { return method.assignable(); })) {
    c.kind = kAssignment;
    cases.push_back(c);
  }
  for (Case c : everyMethodAndLayout(context, log, [](const Method& method) {
         return takes(method, Type::kPicture) || takes(method, Type::kMemoryBlock);
       })) {
    c.kind = kCallWithNil;
    cases.push_back(c);
  }
  std::stable_sort(cases.begin(), cases.end(),
                   [](const Case& a, const Case& b) { return a.layout < b.layout; });
  return cases;
}

// --- What a call uses ---------------------------------------------------------------------------

struct Use {
  int service;  ///< index among host::allServices()
  int calls;
};

/// What a call uses and gives, in a plug-in in which nothing was called before.
struct Uses {
  std::vector<Use> services;
  int allocations = 0;
  size_t result = 0;
  bool inPlace = false;
};

size_t hashOf(const DeclaredCall& call, const Answer& answer) {
  return std::hash<std::string>()(coloursOf(call, answer));
}

/// What can be seen of the picture that the call is made on.
std::string pictureOf(const DeclaredCall& call) {
  return call.self.picture() ? contents(call.self, true) : "";
}

Uses usesOf(const Context& context, const Case& c, Log& log) {
  Scene scene(context, log, layoutOf(c));
  const DeclaredCall call = callOf(scene, c, context);
  std::map<int, host::ServiceState> before;
  for (const host::Service* service : host::allServices()) {
    before[service->index] = scene.host.state(service->index);
  }
  Uses uses;
  const std::string picture = pictureOf(call);
  const int made = heap::made();
  uses.result = hashOf(call, scene.make(call));
  uses.allocations = heap::made() - made;
  uses.inPlace = pictureOf(call) != picture;
  for (const host::Service* service : host::allServices()) {
    const host::ServiceState &now = scene.host.state(service->index),
                             &then = before[service->index];
    if (now.calls > then.calls || now.resolutions > then.resolutions) {
      uses.services.push_back({service->index, now.calls - then.calls});
    }
  }
  return uses;
}

const host::Service& serviceAt(int index) {
  return *host::allServices()[static_cast<size_t>(index)];
}

// Cases for every service that a call uses.
template <typename Add>
std::vector<Case> plan(const Context& context, Log& log, Add add) {
  std::vector<Case> cases;
  for (Case c : callsAndAssignments(context, log)) {
    const Uses uses = usesOf(context, c, log);
    c.expected = uses.result;
    c.inPlace = uses.inPlace;
    add(cases, c, uses);
  }
  return cases;
}

std::vector<Case> everyUse(const Context& context, Log& log) {
  return plan(context, log, [](std::vector<Case>& cases, Case c, const Uses& uses) {
    for (const Use& use : uses.services) {
      if (!serviceAt(use.service).canFail) continue;
      c.a = use.service;
      for (c.b = 1; c.b <= std::min(use.calls, kMostUses); ++c.b) cases.push_back(c);
    }
  });
}

template <bool bookkeeping>
std::vector<Case> everyService(const Context& context, Log& log) {
  return plan(context, log, [](std::vector<Case>& cases, Case c, const Uses& uses) {
    for (const Use& use : uses.services) {
      c.a = use.service;
      if (serviceAt(use.service).canFail != bookkeeping) cases.push_back(c);
    }
  });
}

std::vector<Case> everyAllocation(const Context& context, Log& log) {
  return plan(context, log, [](std::vector<Case>& cases, Case c, const Uses& uses) {
    for (c.a = 1; c.a <= uses.allocations; ++c.a) {
      for (c.b = 0; c.b < 2; ++c.b) cases.push_back(c);
    }
  });
}

// --- What comes of it ---------------------------------------------------------------------------

/// Services that tell what is so, or that draw: when they fail, something else is true, or the host
/// has not drawn what it was asked to, and nobody can tell.
constexpr std::string_view kDecisive[] = {"REALGetPropValueBool", "memoryBlockGetSize",
                                          "pluginPictureGraphicsGetter", "RuntimeGraphicsDrawLine",
                                          "REALSetPropValueInt"};

/// Makes the call and judges it, while a service is out of order, or an allocation.
void tryAndJudge(Scene& scene, const Case& c, const DeclaredCall& call, std::string_view check,
                 const std::string& circumstances, const std::function<void()>& breakIt,
                 const std::function<void()>& mendIt, std::string_view service = {}) {
  const std::string before = pictureOf(call);
  breakIt();
  const Answer answer = scene.make(call, circumstances);
  mendIt();
  scene.settle(check);
  const bool unchanged = pictureOf(call) == before;
  if (!c.inPlace && !unchanged) scene.log.fail(check, "it changes its picture");
  const bool decisive =
      std::find(std::begin(kDecisive), std::end(kDecisive), service) != std::end(kDecisive);
  // What works in place has done nothing then, whatever it says.
  const bool nothing = answer.isFailure() || (c.inPlace && unchanged);
  if (decisive || nothing || hashOf(call, answer) == c.expected) return;
  scene.log.fail(check, "it gives neither nothing nor the whole result");
}

void failUse(const Context& context, const Case& c, Log& log, bool andOn) {
  Scene scene(context, log, layoutOf(c));
  const DeclaredCall call = callOf(scene, c, context);
  const std::string name(serviceAt(c.a).name);
  tryAndJudge(
      scene, c, call, andOn ? "faults.persistent" : "faults.once",
      name + " fails at use " + std::to_string(c.b) + (andOn ? " and on" : ""),
      [&] {
        scene.host.failCall(name, c.b);
        if (andOn) scene.host.failFrom(name, c.b);
      },
      [&] { scene.host.restore(name); }, name);
}
void failOnce(const Context& context, const Case& c, Log& log) { failUse(context, c, log, false); }
void failOn(const Context& context, const Case& c, Log& log) { failUse(context, c, log, true); }

host::Settings settingsWithout(std::string_view service, const Layout& layout) {
  host::Settings settings = settingsFor(layout.options);
  // What reports no version keeps locks like the oldest hosts.
  if (service == "REALGetRBVersion") settings.version.reset();
  return settings;
}

void withoutService(const Context& context, const Case& c, Log& log) {
  const std::string_view name = serviceAt(c.a).name;
  Scene scene(context, log, settingsWithout(name, layoutOf(c)));
  const DeclaredCall call = callOf(scene, c, context);
  tryAndJudge(
      scene, c, call, "faults.missing", std::string(name) + " is missing",
      [&] { scene.host.withhold(name); }, [] {}, name);
}

// Without these no host keeps accounts, so what is not released is not the plug-in's fault. But it
// must survive, and hand out nothing that it could not take a reference of.
void withoutBookkeeping(const Context& context, const Case& c, Log& log) {
  Scene scene(context, log, layoutOf(c));
  const DeclaredCall call = callOf(scene, c, context);
  const std::string name(serviceAt(c.a).name);
  scene.host.withhold(name);
  scene.make(call, name + " is missing");
  for (const host::Problem& problem : scene.host.problems()) {
    if (problem.kind == host::Problem::Kind::kOverRelease) {
      log.fail("faults.references", problem.text);
    }
  }
}

void failAllocation(const Context& context, const Case& c, Log& log) {
  Scene scene(context, log, layoutOf(c));
  const DeclaredCall call = callOf(scene, c, context);
  tryAndJudge(
      scene, c, call, "faults.allocations",
      "allocation " + std::to_string(c.a) + " fails" + (c.b ? " and all behind it" : ""),
      [&] { heap::fail(c.a, c.b != 0); }, [] { heap::fail(0); });
}

// --- Lies ---------------------------------------------------------------------------------------

/// Something that a host says wrongly. Each either changes what it hands out or the call's own
/// pictures and blocks.
struct Lie {
  std::string_view check;
  std::string_view text;
  void (*ofNew)(host::Lies&);
  void (*ofGiven)(PictureFaults&);
  void (*ofBlocks)(host::MemoryBlock&) = nullptr;
  bool opensDisplay = false;
};

/// A fault of pictures, in those that are given and in those that are new.
#define ZVK_PICTURE_LIE(check, text, assignment)                                        \
  Lie{check, text " of new pictures",                                                   \
      [](host::Lies& l) {                                                               \
        PictureFaults& f = l.pictures;                                                  \
        assignment;                                                                     \
      },                                                                                \
      nullptr},                                                                         \
      Lie {                                                                             \
    check, text " of the given pictures", nullptr, [](PictureFaults& f) { assignment; } \
  }

constexpr Lie kLies[] = {
    {"faults.sizes", "new pictures are narrower", [](host::Lies& l) { l.moreWidth = -1; }, nullptr},
    {"faults.sizes", "new pictures are wider", [](host::Lies& l) { l.moreWidth = 3; }, nullptr},
    {"faults.sizes", "new pictures are lower", [](host::Lies& l) { l.moreHeight = -1; }, nullptr},
    {"faults.sizes", "new pictures are higher", [](host::Lies& l) { l.moreHeight = 40; }, nullptr},
    {"faults.sizes", "new pictures are one pixel",
     [](host::Lies& l) {
       l.moreWidth = 1 - kSize.width;
       l.moreHeight = 1 - kSize.height;
     },
     nullptr},
    ZVK_PICTURE_LIE("faults.sizes", "a width of 0", f.width = 0),
    ZVK_PICTURE_LIE("faults.sizes", "a negative width", f.width = -5),
    ZVK_PICTURE_LIE("faults.sizes", "a width of 1", f.width = 1),
    ZVK_PICTURE_LIE("faults.sizes", "a height of 0", f.height = 0),
    ZVK_PICTURE_LIE("faults.sizes", "a negative height", f.height = -3),
    ZVK_PICTURE_LIE("faults.sizes", "a height of 1", f.height = 1),
    ZVK_PICTURE_LIE("faults.sizes", "unreadable size", f.unreadableSize = true),
    {"faults.storage", "new pictures are cairo surfaces",
     [](host::Lies& l) { l.storage = Storage::kCairo; }, nullptr},
    {"faults.storage", "new pictures are drawables",
     [](host::Lies& l) { l.storage = Storage::kDrawable; }, nullptr, nullptr, true},
    {"faults.storage", "new pictures are records",
     [](host::Lies& l) { l.storage = Storage::kRecord; }, nullptr},
    ZVK_PICTURE_LIE("faults.storage", "unreadable alpha channel", f.unreadableAlpha = true),
    ZVK_PICTURE_LIE("faults.storage", "an alpha channel", f.alpha = true),
    ZVK_PICTURE_LIE("faults.storage", "no alpha channel", f.alpha = false),
    ZVK_PICTURE_LIE("faults.locks", "no data", f.nullData = true),
    ZVK_PICTURE_LIE("faults.locks", "one refused lock", f.refusedLocks = 1),
    ZVK_PICTURE_LIE("faults.locks", "two refused locks", f.refusedLocks = 2),
    ZVK_PICTURE_LIE("faults.locks", "refused locks", f.refusedLocks = -1),
    ZVK_PICTURE_LIE("faults.locks", "descriptions of an unknown kind", f.kind = 99),
    ZVK_PICTURE_LIE("faults.locks", "descriptions of kind 6", f.kind = kDescriptionDrawable),
    ZVK_PICTURE_LIE("faults.locks", "descriptions of kind 10", f.kind = kDescriptionPixelRecord),
    ZVK_PICTURE_LIE("faults.locks", "descriptions of kind 12", f.kind = kDescriptionCairo),
    ZVK_PICTURE_LIE("faults.locks", "no graphics", f.noGraphics = true),
    ZVK_PICTURE_LIE("faults.surfaces", "surfaces of size 0", f.surface = SurfaceFault::kZeroSize),
    ZVK_PICTURE_LIE("faults.surfaces", "finished surfaces", f.surface = SurfaceFault::kFinished),
    ZVK_PICTURE_LIE("faults.surfaces", "surfaces without pixels",
                    f.surface = SurfaceFault::kNotAnImage),
    ZVK_PICTURE_LIE("faults.surfaces", "surfaces of bytes", f.surface = SurfaceFault::kEightBit),
    ZVK_PICTURE_LIE("faults.surfaces", "surfaces upside down",
                    f.surface = SurfaceFault::kUpsideDown),
    ZVK_PICTURE_LIE("faults.rows", "no row table", f.noRowTable = true),
    ZVK_PICTURE_LIE("faults.rows", "no first row", f.missingRow = 0),
    ZVK_PICTURE_LIE("faults.rows", "no second row", f.missingRow = 1),
    ZVK_PICTURE_LIE("faults.rows", "no last row", f.missingRow = kSize.height - 1),
    {"faults.blocks", "new blocks are a byte short", [](host::Lies& l) { l.moreBytes = -1; },
     nullptr},
    {"faults.blocks", "new blocks are much too short", [](host::Lies& l) { l.moreBytes = -1000; },
     nullptr},
    {"faults.blocks", "new blocks have no address", [](host::Lies& l) { l.hiddenBlocks = true; },
     nullptr},
    {"faults.blocks", "new blocks have a negative size", [](host::Lies& l) { l.blockSize = -1; },
     nullptr},
    {"faults.blocks", "the given blocks have no address", nullptr, nullptr,
     [](host::MemoryBlock& b) { b.hideAddress = true; }},
    {"faults.blocks", "the given blocks have a negative size", nullptr, nullptr,
     [](host::MemoryBlock& b) { b.reportedSize = -1; }},
    {"faults.blocks", "the given blocks have no size", nullptr, nullptr,
     [](host::MemoryBlock& b) { b.reportedSize = 0; }},
};

void falsify(const Lie& lie, DeclaredCall& call) {
  std::vector<host::Value> values = call.arguments;
  values.push_back(call.self);
  if (call.assigned) values.push_back(*call.assigned);
  if (const host::InstanceRef instance = call.self.instance()) {
    for (const host::Value& object : objectsIn(*instance)) values.push_back(object);
  }
  for (const host::Value& value : values) {
    if (const host::PictureRef picture = value.picture(); picture && lie.ofGiven) {
      lie.ofGiven(picture->faults);
    }
    if (const host::BlockRef block = value.block(); block && lie.ofBlocks) lie.ofBlocks(*block);
  }
}

// Given pictures of the wrong kind lead the plug-in astray for good: each case starts anew.
void tellLie(const Context& context, const Case& c, Log& log) {
  const Lie& lie = kLies[c.a];
  Layout layout = layoutOf(c);
  if (layout.options.storage != Storage::kDrawable) {
    layout.options.placement = host::Placement::kGuarded;
  }
  // Otherwise the call itself would seem to leave the connection to the display open.
  if (lie.opensDisplay) host::displayAvailable();
  host::Settings settings = settingsFor(layout.options);
  settings.placement = host::Placement::kGuarded;
  Scene scene(context, log, settings);
  Arguments arguments(scene.plugin, layout.options, kSize, context.seed);
  arguments.placement = host::Placement::kGuarded;
  DeclaredCall call = callOf(scene, c, arguments);
  if (lie.ofNew) lie.ofNew(scene.host.settings.lies);
  falsify(lie, call);
  scene.make(call, "the host lies: " + std::string(lie.text));
  scene.settle(lie.check);
}

template <int topic>
std::vector<Case> lieCases(const Context& context, Log& log) {
  constexpr std::string_view kTopics[] = {"faults.sizes",    "faults.storage", "faults.locks",
                                          "faults.surfaces", "faults.rows",    "faults.blocks"};
  std::vector<Case> cases;
  for (Case c : callsAndAssignments(context, log)) {
    for (size_t i = 0; i < std::size(kLies); ++i) {
      const Lie& lie = kLies[i];
      const bool onRecords = layoutOf(c).options.storage == Storage::kRecord;
      const bool onSurfaces = layoutOf(c).options.storage == Storage::kCairo;
      const bool pointless = lie.check != kTopics[topic] ||
                             (lie.check == "faults.rows" && !onRecords) ||
                             (lie.check == "faults.surfaces" && !onSurfaces);
      if (pointless) continue;
      c.a = static_cast<int32_t>(i);
      cases.push_back(c);
    }
  }
  return cases;
}

constexpr Trial kTrials[] = {
    {"faults.once", "", everyUse, failOnce},
    {"faults.persistent", "", everyUse, failOn},
    {"faults.missing", "", everyService<false>, withoutService},
    {"faults.references", "", everyService<true>, withoutBookkeeping},
    {"faults.allocations", "", everyAllocation, failAllocation},
    {"faults.sizes", "", lieCases<0>, tellLie},
    {"faults.storage", "", lieCases<1>, tellLie},
    {"faults.locks", "", lieCases<2>, tellLie},
    {"faults.surfaces", "", lieCases<3>, tellLie},
    {"faults.rows", "", lieCases<4>, tellLie},
    {"faults.blocks", "", lieCases<5>, tellLie},
};

}  // namespace

std::span<const Trial> faultTrials() { return kTrials; }

}  // namespace zvk::validation
