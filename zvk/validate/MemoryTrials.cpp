// Whether the plug-in stays inside the memory that it is lent, and reads nothing that nobody wrote.
#include <alloca.h>

#include <cstring>

#include "Heap.h"
#include "Scene.h"

namespace zvk::validation {

namespace {

using grammar::Type;
using host::Method;
using host::Placement;

/// Widths around those of vectors.
constexpr Size kSizes[] = {{1, 1},  {2, 3},  {3, 2},  {5, 3},  {7, 2},  {8, 3},  {9, 2},
                           {15, 3}, {16, 2}, {17, 3}, {31, 2}, {32, 3}, {33, 2}, {70, 4}};

void checkSurroundings(Scene& scene) {
  for (const host::Object* object : scene.host.objects()) {
    const auto* picture = dynamic_cast<const host::Picture*>(object);
    const auto* block = dynamic_cast<const host::MemoryBlock*>(object);
    const auto* string = dynamic_cast<const host::String*>(object);
    const bool intact = picture  ? picture->surroundingsIntact()
                        : block  ? block->surroundingsIntact()
                        : string ? string->surroundingsIntact()
                                 : true;
    if (!intact) scene.log.fail("memory.surroundings", "it wrote beside " + object->name());
  }
}

void callGuarded(const Context& context, const Case& c, Log& log, Placement placement) {
  Layout layout = layouts()[static_cast<size_t>(c.layout)];
  layout.options.placement = placement;
  // Nothing may lie between the last row and the page behind it.
  if (placement == Placement::kGuarded) layout.options.paddingWords = 0;
  host::Settings settings = settingsFor(layout.options);
  settings.placement = placement;
  Scene scene(context, log, settings);
  const Method& method = scene.method(c);
  for (const Size& size : kSizes) {
    for (uint32_t seed = context.seed; seed < context.seed + 3; ++seed) {
      // Blocks and strings that are handed in have trials of their own.
      Arguments arguments(scene.plugin, layout.options, size, seed);
      const DeclaredCall call = arguments.call(method);
      const Answer answer = scene.make(call);
      checkSurroundings(scene);
      if (method.assignable()) {
        const DeclaredCall assignment = arguments.assignment(method);
        scene.make(assignment);
        checkSurroundings(scene);
      }
      if (log.failed()) return;
    }
  }
}

void guardedBehind(const Context& context, const Case& c, Log& log) {
  callGuarded(context, c, log, Placement::kGuarded);
}
void guardedBefore(const Context& context, const Case& c, Log& log) {
  callGuarded(context, c, log, Placement::kGuardedStart);
}

std::vector<Case> pictureCases(const Context& context, Log& log) {
  return everyMethodAndLayout(context, log, nullptr, false);
}

// Blocks and strings just as long as they are needed, or not quite.
template <Type type>
bool handles(const Method& method) {
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    if (method.declaration.parameters[i].type == type) return true;
  }
  return method.declaration.result == type;
}
template <Type type>
std::vector<Case> dataCases(const Context& context, Log& log) {
  std::vector<Case> cases;
  for (Case c : everyMethodAndLayout(context, log, handles<type>, false)) {
    for (const Placement placement : {Placement::kGuarded, Placement::kGuardedStart}) {
      c.kind = static_cast<int16_t>(placement);
      cases.push_back(c);
    }
  }
  return cases;
}

void guardedData(const Context& context, const Case& c, Log& log) {
  const auto placement = static_cast<Placement>(c.kind);
  Layout layout = layouts()[static_cast<size_t>(c.layout)];
  host::Settings settings = settingsFor(layout.options);
  settings.placement = placement;
  Scene scene(context, log, settings);
  const Method& method = scene.method(c);
  constexpr int kLengths[] = {0, 1, 15, 255, 256, 257, 1023, 1024, 1025, 4096};
  for (const int length : kLengths) {
    for (uint32_t seed = context.seed; seed < context.seed + 3; ++seed) {
      Arguments arguments(scene.plugin, layout.options, {13, 3}, seed);
      arguments.placement = placement;
      DeclaredCall call = arguments.call(method);
      for (host::Value& argument : call.arguments) {
        if (argument.block()) argument = arguments.block(length);
        if (const host::StringRef string = argument.string()) {
          const std::string_view bytes = string->bytes();
          argument = scene.host.newString(
              bytes.substr(0, bytes.size() - std::min<size_t>(bytes.size(), seed % 3)),
              kEncodingNone, placement);
        }
      }
      const Answer answer = scene.make(call);
      checkSurroundings(scene);
      if (log.failed()) return;
    }
  }
}

// --- Fresh memory -------------------------------------------------------------------------------

// What the next call finds below the stack pointer.
[[gnu::noinline]] void fillStack(int byte) {
  constexpr size_t kRoom = 96 * 1024;
  void* room = alloca(kRoom);
  memset(room, byte, kRoom);
  asm volatile("" : : "r"(room) : "memory");
}

void onFreshMemory(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layouts()[static_cast<size_t>(c.layout)];
  std::string expected;
  for (const uint8_t byte : {0x00, 0xA5, 0x5A}) {
    Scene scene(context, log, layout);
    heap::fillWith(byte);
    std::string given;
    for (const Size size : {Size{1, 1}, Size{17, 5}, Size{70, 3}}) {
      Arguments arguments(scene.plugin, layout.options, size, context.seed);
      const DeclaredCall call = arguments.call(scene.method(c));
      fillStack(byte);
      given += contents(call, scene.make(call), true);
    }
    if (expected.empty()) expected = given;
    if (given != expected) log.fail("memory.fresh", "what it gives depends on what memory held");
  }
  heap::fillWith(0);
}

std::vector<Case> allCases(const Context& context, Log& log) {
  return everyMethodAndLayout(context, log);
}

constexpr Trial kTrials[] = {
    {"memory.rows-end", "memory.surroundings", pictureCases, guardedBehind},
    {"memory.rows-start", "memory.surroundings", pictureCases, guardedBefore},
    {"memory.blocks", "memory.surroundings", dataCases<Type::kMemoryBlock>, guardedData},
    {"memory.strings", "memory.surroundings", dataCases<Type::kString>, guardedData},
    {"memory.fresh", "", allCases, onFreshMemory},
};

}  // namespace

std::span<const Trial> memoryTrials() { return kTrials; }

}  // namespace zvk::validation
