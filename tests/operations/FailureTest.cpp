// What every declared operation has to stand: each service of the host that it uses fails, one call
// at a time, and arguments are nil.
#include "Support.h"

namespace {

using namespace test;
using grammar::Type;
using host::Method;
using host::Value;

class FailureTest : public LayoutTest {};

Value argument(PluginHost& setup, const grammar::Parameter& parameter) {
  if (parameter.byReference) return {};
  switch (parameter.type) {
    case Type::kPicture:
      return setup.picture(6, 5, randomPixels(6, 5, 2, true));
    case Type::kMemoryBlock:
      return setup.host.newBlock(256, host::Placement::kGuarded);
    case Type::kString:
      return setup.plugin.callGlobal("PicturetoBinaryStringZVK",
                                     setup.picture(6, 5, randomPixels(6, 5, 1)));
    case Type::kDouble:
      return 0.5;
    case Type::kBoolean:
      return true;
    case Type::kColor:
      return host::Color{0x80A0C0};
    default:
      return 2;
  }
}

struct Operation {
  Value self;
  std::vector<Value> arguments;
};

Operation operationOf(PluginHost& setup, const Method& method) {
  Operation operation;
  if (method.kind == Method::Kind::kPicture) {
    operation.self = setup.picture(6, 5, randomPixels(6, 5, 3, true));
  }
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    operation.arguments.push_back(argument(setup, method.declaration.parameters[i]));
  }
  return operation;
}

/// Runs the operation; false when it raised an exception.
bool run(PluginHost& setup, const Method& method, Operation operation) {
  try {
    setup.plugin.invoke(method, operation.self, operation.arguments);
  } catch (const host::ExceptionRaised&) {
    return false;
  }
  return true;
}

std::map<std::string_view, int> callsOf(PluginHost& setup, const Method& method) {
  Operation operation = operationOf(setup, method);
  setup.host.clearCalls();
  run(setup, method, operation);
  std::map<std::string_view, int> counts;
  for (const host::CallRecord& call : setup.host.calls()) ++counts[call.name];
  return counts;
}

TEST_P(FailureTest, KeepsNothingWhenAServiceFails) {
  PluginHost setup(GetParam().options);
  for (const Method& method : setup.plugin.methods()) {
    if (method.kind == Method::Kind::kClass) continue;
    for (const auto& [service, count] : callsOf(setup, method)) {
      if (!host::Host::canFail(service)) continue;
      for (int n = 1; n <= count; ++n) {
        const Operation operation = operationOf(setup, method);
        setup.host.failCall(service, n);
        run(setup, method, operation);
        setup.host.restore(service);
        ASSERT_THAT(setup.host.accounts(), testing::IsEmpty())
            << method.text() << ", call " << n << " of " << service;
      }
    }
  }
}

TEST_P(FailureTest, GivesNothingWithoutANewPicture) {
  PluginHost setup(GetParam().options);
  for (const Method& method : setup.plugin.methods()) {
    if (method.kind == Method::Kind::kClass || method.declaration.result != Type::kPicture)
      continue;
    const Operation operation = operationOf(setup, method);
    for (const char* maker : {"newPicture", "PluginNewInstance", "REALBuildPictureFromBuffer"}) {
      setup.host.failFrom(maker);
    }
    EXPECT_TRUE(setup.plugin.invoke(method, operation.self, operation.arguments).value.isNil())
        << method.text();
    for (const char* maker : {"newPicture", "PluginNewInstance", "REALBuildPictureFromBuffer"}) {
      setup.host.restore(maker);
    }
  }
}

TEST_P(FailureTest, StandsNilArguments) {
  PluginHost setup(GetParam().options);
  for (const Method& method : setup.plugin.methods()) {
    if (method.kind == Method::Kind::kClass) continue;
    const Operation whole = operationOf(setup, method);
    // The place 0 is the picture itself.
    for (size_t place = 0; place <= whole.arguments.size(); ++place) {
      Operation operation = whole;
      Value& value = place == 0 ? operation.self : operation.arguments[place - 1];
      if (!value.isObject() && !value.isString()) continue;
      value = nullptr;
      run(setup, method, operation);
      ASSERT_THAT(setup.host.accounts(), testing::IsEmpty()) << method.text() << ", " << place;
    }
  }
}

// The table of a host's pixel record may lack rows.
TEST(RowTableTest, StandsMissingRows) {
  PluginHost setup({.storage = host::Storage::kRecord, .scatteredRows = true});
  for (const Method& method : setup.plugin.methods()) {
    if (method.kind != Method::Kind::kPicture) continue;
    SCOPED_TRACE(method.text());
    for (const size_t y : {0, 2, 4}) {
      const Operation operation = operationOf(setup, method);
      uint8_t*& row = operation.self.picture()->record()->rowStarts[y];
      uint8_t* const kept = std::exchange(row, nullptr);
      run(setup, method, operation);
      row = kept;
    }
  }
}

}  // namespace

ZVK_ALL_LAYOUTS(FailureTest);
