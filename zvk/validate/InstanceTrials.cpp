// Instances of the plug-in's classes, and methods that can be assigned to.
#include "Scene.h"

namespace zvk::validation {

namespace {

using host::Method;
using host::Value;

const REALclassDefinition& classAt(const Scene& scene, int index) {
  return *scene.host.registrations.classes[static_cast<size_t>(index)];
}

std::span<const REALpropertyDefinition> properties(const REALclassDefinition& definition) {
  return {definition.properties, static_cast<size_t>(definition.propertyCount)};
}

std::vector<Case> eachClass(const Context& context, Log& log) {
  const Scene scene(context, log, layouts()[0]);
  std::vector<Case> cases(scene.host.registrations.classes.size());
  for (size_t i = 0; i < cases.size(); ++i) cases[i].a = static_cast<int32_t>(i);
  return cases;
}

// --- Properties ---------------------------------------------------------------------------------

bool keepsNumbers(const host::Instance& instance, const REALpropertyDefinition& property) {
  if (property.getter == nullptr || property.setter == nullptr) return false;
  const Value value = instance.property(property.name);
  return value.isNumber() || value.isColor();
}

void writeNumbers(host::Instance& instance, const REALclassDefinition& definition, int first) {
  for (const auto& property : properties(definition)) {
    // Each its own value, so that none is taken for another.
    if (keepsNumbers(instance, property)) instance.setProperty(property.name, first);
    ++first;
  }
}

bool holdsNumbers(const host::Instance& instance, const REALclassDefinition& definition, int first,
                  std::string& wrong) {
  for (const auto& property : properties(definition)) {
    const Value value = instance.property(property.name);
    if (keepsNumbers(instance, property) && value.number() != first) {
      wrong = std::string(property.name) + " is " + value.describe() + " instead of " +
              std::to_string(first);
      return false;
    }
    ++first;
  }
  return true;
}

void keepNumbers(const Context& context, const Case& c, Log& log) {
  Scene scene(context, log, layouts()[0]);
  const REALclassDefinition& definition = classAt(scene, c.a);
  log.doing(std::string("properties of ") + definition.name);
  const host::InstanceRef one = scene.plugin.newInstance(definition.name);
  const host::InstanceRef other = scene.plugin.newInstance(definition.name);
  constexpr int kOnes = 3, kOthers = 5000;
  std::string wrong;
  writeNumbers(*one, definition, kOnes);
  if (!holdsNumbers(*one, definition, kOnes, wrong)) log.fail("instances.properties", wrong);
  writeNumbers(*other, definition, kOthers);
  if (!holdsNumbers(*one, definition, kOnes, wrong)) {
    log.fail("instances.apart", "after another instance was written, " + wrong);
  }
  scene.settle();
}

// --- Assignments --------------------------------------------------------------------------------

std::vector<Case> assignableMethods(const Context& context, Log& log) {
  std::vector<Case> cases = everyMethodAndLayout(
      context, log, [](const Method& method) { return method.assignable(); }, false);
  std::erase_if(cases, [](const Case& c) { return c.layout != 0; });
  return cases;
}

void assign(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layouts()[0];
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  for (uint32_t seed = context.seed; seed < context.seed + 40; ++seed) {
    Arguments arguments(scene.plugin, layout.options, {6, 5}, seed);
    const DeclaredCall assignment = arguments.assignment(method);
    DeclaredCall reading = assignment;
    reading.assigned.reset();
    const std::string before = contents(scene.make(reading).result.value);
    scene.make(assignment);
    if (contents(scene.make(reading).result.value) != before) return;
  }
  log.fail("instances.assignments", "whatever is assigned, the same is read");
}

// --- Place of the data --------------------------------------------------------------------------

bool isOfClass(const Method& method) { return method.kind == Method::Kind::kClass; }

std::vector<Case> instanceMethods(const Context& context, Log& log) {
  return everyMethodAndLayout(context, log, isOfClass);
}

void moveData(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layouts()[static_cast<size_t>(c.layout)];
  std::string expected;
  for (const int32_t offset : {48, 16, 32, 1040}) {
    host::Settings settings = settingsFor(layout.options);
    settings.dataOffset = offset;
    Scene scene(context, log, settings);
    Arguments arguments(scene.plugin, layout.options, {6, 5}, context.seed);
    const DeclaredCall call = arguments.call(scene.method(c));
    const std::string given = contents(call, scene.make(call), true);
    if (expected.empty()) expected = given;
    if (given != expected) {
      log.fail("instances.offset", "with the data " + std::to_string(offset) +
                                       " bytes into the instance it gives something else");
    }
    scene.settle();
  }
}

// --- Ends ---------------------------------------------------------------------------------------

// Every method twice, and the instance's end with and without its pictures.
void endTwice(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layouts()[static_cast<size_t>(c.layout)];
  Scene scene(context, log, layout);
  const Method& method = scene.method(c);
  Arguments arguments(scene.plugin, layout.options, {6, 5}, context.seed);
  for (const Method& other : scene.plugin.methods()) {
    if (!isOfClass(other) || other.className != method.className) continue;
    DeclaredCall first = arguments.call(method), second = arguments.call(other);
    second.self = first.self;
    scene.make(first);
    scene.make(second);
    scene.make(first);
    scene.settle();
    const host::InstanceRef instance = first.self.instance();
    for (const auto& property : properties(*instance->info().definition)) {
      if (instance->property(property.name).isObject()) {
        instance->setProperty(property.name, arguments.picture());
      }
    }
    log.doing(std::string("the end of an instance of ") + method.className + " after " +
              std::string(other.name()));
  }
  scene.settle();
}

constexpr Trial kTrials[] = {
    {"instances.properties", "instances.apart", eachClass, keepNumbers},
    {"instances.assignments", "", assignableMethods, assign},
    {"instances.offset", "accounts.*", instanceMethods, moveData},
    {"instances.end", "accounts.* process.*", instanceMethods, endTwice},
};

}  // namespace

std::span<const Trial> instanceTrials() { return kTrials; }

}  // namespace zvk::validation
