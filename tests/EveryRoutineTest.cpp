// Everything that is declared does its work: somewhere among plausible calls, each routine gives
// something else than its failure result.
#include "Support.h"

namespace {

using namespace test;
using grammar::Type;
using host::Method;
using host::Value;

bool isFailure(const Value& value) {
  if (value.isNothing() || value.isNil()) return true;
  if (value.isBoolean()) return !value.boolean();
  if (value.isNumber()) return value.number() <= 0;
  return false;
}

class EveryRoutineTest : public testing::Test {
 protected:
  static constexpr int kSize = 6;

  EveryRoutineTest() : setup_(options()) {
    for (const uint32_t color : {0xFFFFFFFFU, 0xFF000000U, 0xFF20C040U}) {
      pictures_.push_back(setup_.picture(kSize, kSize, Pixels(kSize * kSize, color)));
      pictures_.back()->mask(true);
    }
  }

  static host::PictureOptions options() {
    host::PictureOptions options;
    options.alpha = true;
    return options;
  }

  Value argument(Type type, const host::PictureRef& picture) {
    switch (type) {
      case Type::kPicture:
        return picture;
      case Type::kMemoryBlock:
        return setup_.host.newBlock(1024);
      case Type::kString:
        return setup_.plugin.callGlobal("PicturetoBinaryStringZVK", picture);
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

  /// Whether a call on one of the pictures, or on an instance that filters it, works.
  bool works(const Method& method) {
    for (const host::PictureRef& picture : pictures_) {
      std::vector<Value> arguments;
      for (int i = 0; i < method.declaration.parameterCount; ++i) {
        const grammar::Parameter& parameter = method.declaration.parameters[i];
        arguments.push_back(parameter.byReference ? Value() : argument(parameter.type, picture));
      }
      if (method.kind == Method::Kind::kClass) {
        if (worksOnInstance(method, picture, arguments)) return true;
        continue;
      }
      const bool ofPicture = method.kind == Method::Kind::kPicture;
      const host::CallResult result =
          setup_.plugin.invoke(method, ofPicture ? Value(picture) : Value(), arguments);
      if (!isFailure(result.value)) return true;
      const bool tellsByReference = method.declaration.result == Type::kNothing;
      if (tellsByReference && !result.byReference.empty() &&
          !isFailure(result.byReference.back().value)) {
        return true;
      }
    }
    return false;
  }

  bool worksOnInstance(const Method& method, const host::PictureRef& picture,
                       const std::vector<Value>& arguments) {
    const host::InstanceRef instance = setup_.plugin.newInstance(method.className);
    instance->setProperty("SourcePicture", picture);
    const host::CallResult result = setup_.plugin.invoke(method, instance, arguments);
    // A method without result is told by what it does to the instance's pictures.
    return method.declaration.result == Type::kNothing ? instance->property("SourcePicture").isNil()
                                                       : !isFailure(result.value);
  }

  PluginHost setup_;
  std::vector<host::PictureRef> pictures_;
};

TEST_F(EveryRoutineTest, MethodsGiveMoreThanTheirFailureResult) {
  ASSERT_FALSE(setup_.plugin.methods().empty());
  for (const Method& method : setup_.plugin.methods()) {
    if (method.assignable()) continue;  // reads what was assigned, see below
    EXPECT_TRUE(works(method)) << method.className << "." << method.text();
  }
}

TEST_F(EveryRoutineTest, AssignmentsChangeWhatIsRead) {
  for (const Method& method : setup_.plugin.methods()) {
    if (!method.assignable()) continue;
    Value self = pictures_[0];
    if (method.kind == Method::Kind::kClass) self = setup_.plugin.newInstance(method.className);
    std::vector<Value> arguments;
    for (int i = 0; i < method.declaration.parameterCount; ++i) {
      arguments.push_back(argument(method.declaration.parameters[i].type, pictures_[0]));
    }
    const auto read = [&] { return setup_.plugin.invoke(method, self, arguments).value; };
    const auto contents = [](const Value& value) {
      return value.isNumber() ? std::to_string(value.number())
                              : testing::PrintToString(colors(value.picture()));
    };
    const std::string before = contents(read());
    setup_.plugin.assign(method, self, arguments,
                         argument(method.declaration.result, pictures_[2]));
    EXPECT_NE(contents(read()), before) << method.text();
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
