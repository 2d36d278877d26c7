// zvk run: applies calls to a picture, one after another.
#include <algorithm>
#include <cstdio>

#include "Arguments.h"
#include "CallText.h"
#include "CubeFile.h"
#include "Reference.h"
#include "Report.h"
#include "Tool.h"
#include "host/files/PictureFile.h"
#include "host/plugin/Names.h"
#include "host/plugin/Plugin.h"

namespace zvk {

using grammar::equalIgnoringCase;
using grammar::Type;
using host::Method;
using host::Value;

namespace {

class Runner {
 public:
  Runner(host::Host& host, const CommonOptions& common, const RunOptions& options)
      : host_(host), options_(options), plugin_(common.plugin), reader_(host, current_) {}

  void run() {
    for (const std::string& text : options_.calls) steps_.push_back(resolved(parseCall(text)));
    if (options_.output.empty() && givesPicture(steps_.back())) {
      throw InputError(steps_.back().call.name + " gives a picture; -o must name a file for it");
    }
    loadInput();
    for (const Step& step : steps_) apply(step);
    if (!options_.output.empty()) save();
  }

 private:
  /// A call with the one thing that it stands for: a class or a method.
  struct Step {
    CallText call;
    const host::ClassInfo* info = nullptr;
    const Method* method = nullptr;
  };

  // --- Input and output ---

  void loadInput() {
    current_.origin = options_.input;
    current_.bytes = host::readFile(options_.input);
    if (host::isPicture(current_.bytes)) {
      current_.picture = reader_.loadPicture(options_.input);
    } else {
      inputIsBytes_ = true;
    }
  }

  void save() const {
    if (current_.picture) {
      host::savePicture(*current_.picture, options_.output);
    } else {
      host::writeFile(options_.output, current_.bytes);
    }
  }

  // --- Finding what a call means ---

  const host::ClassInfo* findClass(const CallText& call) const {
    for (const auto* definition : host_.registrations.classes) {
      if (host::standsFor(call.name, definition->name)) return host_.findClass(definition->name);
    }
    return nullptr;
  }

  // A method of Picture may also be written with the current picture as its first argument.
  static bool namesSelf(const Method& method, const CallText& call) {
    return method.kind == Method::Kind::kPicture && !call.arguments.empty() &&
           call.arguments[0].value == "_" && method.parametersFor(call.arguments.size() - 1) &&
           (method.declaration.parameterCount == 0 ||
            method.declaration.parameters[0].type != Type::kPicture);
  }

  const Method& choose(const CallText& call) const {
    host::Names classes;
    for (const auto* definition : host_.registrations.classes) classes.push_back(definition->name);
    const auto callable = [](const Method& method) { return method.kind != Method::Kind::kClass; };
    const size_t count = call.arguments.size();
    return host::Plugin::choose(plugin_.overloads(call.name, callable, std::move(classes)),
                                call.name, count, [&](const Method& method) {
                                  return namesSelf(method, call) ||
                                         method.parametersFor(count).has_value();
                                });
  }

  Step resolved(CallText call) const {
    if (const host::ClassInfo* info = findClass(call)) {
      for (const Argument& argument : call.arguments) declaredSetting(*info, argument);
      if (call.assigned) throw InputError(call.name + " is a class; nothing can be assigned to it");
      return {.call = std::move(call), .info = info};
    }
    const Method& method = choose(call);
    if (call.assigned && !method.assignable()) {
      throw InputError("nothing can be assigned to " + std::string(method.text()));
    }
    for (const Argument& argument : call.arguments) {
      if (!argument.name.empty()) {
        throw InputError(argument.name + "=" + argument.value + ": " + std::string(method.text()) +
                         " takes its arguments in order, not by name");
      }
    }
    if (namesSelf(method, call)) call.arguments.erase(call.arguments.begin());
    return {.call = std::move(call), .method = &method};
  }

  static bool givesPicture(const Step& step) {
    return step.info || (step.method->declaration.result == Type::kPicture && !step.call.assigned);
  }

  // --- Methods ---

  void apply(const Step& step) {
    if (step.info) {
      applyClass(*step.info, step.call);
    } else {
      applyMethod(*step.method, step.call);
    }
  }

  /// Reads a value; a message about one that does not fit ends with what the reference says.
  Value readParameter(Type type, std::string_view text, const std::string& place,
                      const std::string& explanation) const {
    try {
      return reader_.read(type, text, place);
    } catch (const InputError& error) {
      throw InputError(error.what() + (explanation.empty() ? "" : "; " + explanation));
    }
  }

  std::vector<Value> readArguments(const Method& method, const CallText& call) const {
    const std::vector<int> places = method.parametersFor(call.arguments.size()).value();
    std::vector<Value> arguments;
    for (size_t i = 0; i < places.size(); ++i) {
      const grammar::Parameter& parameter = method.declaration.parameters[places[i]];
      arguments.push_back(
          readParameter(parameter.type, call.arguments[i].value,
                        std::string(parameter.name) + " of " + std::string(method.text()),
                        parameterLine(method.text(), parameter.name)));
    }
    return arguments;
  }

  void applyMethod(const Method& method, const CallText& call) {
    Value self;
    if (method.kind == Method::Kind::kPicture) {
      self = reader_.read(Type::kPicture, "_", std::string(method.name()));
    }
    std::vector<Value> arguments = readArguments(method, call);
    try {
      if (call.assigned) {
        const Value value = reader_.read(method.declaration.result, *call.assigned,
                                         "the value assigned to " + std::string(method.text()));
        plugin_.assign(method, self, std::move(arguments), value);
      } else {
        take(plugin_.invoke(method, self, std::move(arguments)));
      }
    } catch (const host::ExceptionRaised& exception) {
      throw CallFailed(call.name + " raised " + exception.what());
    }
  }

  void take(const host::CallResult& result) {
    const std::string name(result.method->name());
    requireSuccess(result, name);
    const host::StringRef string = result.value.string();
    const host::BlockRef block = result.value.block();
    if (result.value.picture()) {
      current_ = {result.value.picture(), "", name + "'s result"};
    } else if (string) {
      current_ = {nullptr, std::string(string->bytes()), name + "'s result"};
    } else if (block) {
      const auto bytes = block->bytes();
      current_ = {nullptr, std::string(bytes.begin(), bytes.end()), name + "'s result"};
    }
    const bool saved = (string || block) && !options_.output.empty();
    if (options_.json) {
      printJson(result);
    } else if (!saved) {
      printResult(result);
    }
  }

  // Methods without a result tell a failure by a count below 0.
  void requireSuccess(const host::CallResult& result, const std::string& name) const {
    const bool nil = result.value.isNil();
    const bool negative = result.value.isNothing() && !result.byReference.empty() &&
                          result.byReference.back().value.isInteger() &&
                          result.byReference.back().value.integer() < 0;
    if (!nil && !negative) return;
    const bool readsBytes = !current_.picture && inputIsBytes_;
    throw CallFailed(name + " failed" + (nil ? ": it gave nil" : "") +
                     (readsBytes ? " (" + current_.origin + " is not what it reads)" : ""));
  }

  // --- Classes ---

  /// What NAME=VALUE sets: a property, or a colour table by a method that is assigned to for each
  /// entry.
  struct Setting {
    const REALpropertyDefinition* property = nullptr;
    const Method* table = nullptr;
  };

  Setting declaredSetting(const host::ClassInfo& info, const Argument& argument) const {
    const REALclassDefinition& definition = *info.definition;
    std::string names;
    for (int i = 0; i < definition.propertyCount; ++i) {
      if (equalIgnoringCase(definition.properties[i].name, argument.name)) {
        return {.property = &definition.properties[i]};
      }
      names += std::string(i == 0 ? "" : ", ") + definition.properties[i].name;
    }
    for (const Method& method : plugin_.methods()) {
      if (method.kind != Method::Kind::kClass || method.className != info.name) continue;
      if (!method.assignable()) continue;
      if (equalIgnoringCase(method.name(), argument.name)) return {.table = &method};
      names += ", " + std::string(method.name());
    }
    if (argument.name.empty()) {
      throw InputError(info.name + " takes NAME=VALUE, not " + argument.value +
                       "; its properties are " + names);
    }
    throw InputError(info.name + " has no property " + argument.name + "; it has " + names);
  }

  void applyClass(const host::ClassInfo& info, const CallText& call) {
    const Value source = reader_.read(Type::kPicture, "_", info.name);
    try {
      const host::InstanceRef instance = plugin_.newInstance(info.name);
      instance->setProperty("SourcePicture", source);
      for (const Argument& argument : call.arguments) {
        const Setting setting = declaredSetting(info, argument);
        if (setting.table) {
          assignTable(instance, *setting.table, argument);
        } else {
          setProperty(*instance, *setting.property, argument);
        }
      }
      const bool done = plugin_.call(instance, "Run").boolean();
      const host::PictureRef result = instance->property("DestinationPicture").picture();
      plugin_.call(instance, "Close");
      if (!done || !result) throw CallFailed(info.name + " failed: Run gave false");
      current_ = {result, "", info.name + "'s result"};
    } catch (const host::ExceptionRaised& exception) {
      throw CallFailed(info.name + " raised " + exception.what());
    }
  }

  void setProperty(host::Instance& instance, const REALpropertyDefinition& property,
                   const Argument& argument) const {
    Type type = Type::kNothing;
    for (const grammar::TypeName& known : grammar::kTypeNames) {
      if (equalIgnoringCase(known.name, property.type)) type = known.type;
    }
    const std::string place = std::string(property.name) + " as " + property.type;
    const std::string explanation = parameterLine(instance.className(), property.name);
    instance.setProperty(property.name, readParameter(type, argument.value, place, explanation));
  }

  void assignTable(const host::InstanceRef& instance, const Method& table,
                   const Argument& argument) const {
    if (!argument.value.starts_with('@')) {
      throw InputError(argument.value + " is not a .cube file (@FILE), as " +
                       std::string(table.text()) + " needs");
    }
    const std::string path = unquoted(std::string_view(argument.value).substr(1));
    assignCube(plugin_, instance, table, Cube::read(path));
  }

  host::Host& host_;
  const RunOptions& options_;
  host::Plugin plugin_;
  std::vector<Step> steps_;
  Current current_;
  ArgumentReader reader_;
  bool inputIsBytes_ = false;
};

}  // namespace

int run(const CommonOptions& common, const RunOptions& options) {
  host::Host host(hostSettings(common));
  bool balanced = false;
  {
    Runner runner(host, common, options);
    try {
      runner.run();
    } catch (...) {
      reportAccounts(host);
      throw;
    }
    balanced = reportAccounts(host);
  }
  return balanced ? kDone : kCallFailed;
}

}  // namespace zvk
