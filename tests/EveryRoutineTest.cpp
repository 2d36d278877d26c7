// Everything that is declared does its work: somewhere among calls made up from the declarations,
// each routine gives something else than its failure result.
#include "EveryMethod.h"
#include "Support.h"

namespace {

using namespace test;
using host::Method;
using host::Value;

bool isFailure(const Value& value) {
  if (value.isNothing() || value.isNil()) return true;
  if (value.isBoolean()) return !value.boolean();
  if (value.isNumber()) return value.number() <= 0;
  return false;
}

bool works(const host::Plugin& plugin, const DeclaredCall& call) {
  const host::CallResult result = make(plugin, call);
  if (!isFailure(result.value)) return true;
  if (call.method->declaration.result != grammar::Type::kNothing) return false;
  if (!result.byReference.empty()) return !isFailure(result.byReference.back().value);
  // A method without any result is told by what it does to the instance's pictures.
  const host::InstanceRef instance = call.self.instance();
  return instance && instance->property("SourcePicture").isNil();
}

class EveryRoutineTest : public testing::Test {
 protected:
  EveryRoutineTest() : setup_(host::PictureOptions{.alpha = true}) {}

  DeclaredCall call(const Method& method, int size, uint32_t seed) {
    DeclaredCall result = callOf(setup_.plugin, method, setup_.options, size, size, seed);
    if (const host::PictureRef self = result.self.picture()) self->mask(true);
    return result;
  }

  bool worksSomewhere(const Method& method) {
    for (uint32_t seed = 0; seed < 40; ++seed) {
      for (const int size : {1, 6}) {
        if (works(setup_.plugin, call(method, size, seed))) return true;
      }
    }
    return false;
  }

  PluginHost setup_;
};

TEST_F(EveryRoutineTest, MethodsGiveMoreThanTheirFailureResult) {
  ASSERT_FALSE(setup_.plugin.methods().empty());
  for (const Method& method : setup_.plugin.methods()) {
    if (method.assignable()) continue;  // reads what was assigned, see below
    EXPECT_TRUE(worksSomewhere(method)) << method.className << "." << method.text();
  }
}

TEST_F(EveryRoutineTest, AssignmentsChangeWhatIsRead) {
  for (const Method& method : setup_.plugin.methods()) {
    if (!method.assignable()) continue;
    DeclaredCall reading = call(method, 6, 1);
    // Indices from the start: what is made up may lie outside.
    for (Value& argument : reading.arguments) {
      if (argument.isInteger()) argument = 0;
    }
    const uint64_t before = digest(setup_.plugin, reading);
    const Value value = method.declaration.result == grammar::Type::kPicture
                            ? Value(setup_.picture(6, 6, randomPixels(6, 6, 2, true)))
                            : Value(0.5);
    setup_.plugin.assign(method, reading.self, reading.arguments, value);
    EXPECT_NE(digest(setup_.plugin, reading), before) << method.text();
  }
}

TEST_F(EveryRoutineTest, NumberPropertiesKeepWhatIsWritten) {
  for (const REALclassDefinition* definition : setup_.host.registrations.classes) {
    const host::InstanceRef instance = setup_.plugin.newInstance(definition->name);
    for (int i = 0; i < definition->propertyCount; ++i) {
      const char* name = definition->properties[i].name;
      if (instance->property(name).isObject()) continue;
      // Each its own value, so that none is taken for another.
      instance->setProperty(name, 3 + i);
    }
    for (int i = 0; i < definition->propertyCount; ++i) {
      const char* name = definition->properties[i].name;
      if (instance->property(name).isObject()) continue;
      EXPECT_EQ(instance->property(name).number(), 3 + i) << definition->name << "." << name;
    }
  }
}

}  // namespace
