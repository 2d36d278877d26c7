#include "Plan.h"

#include "Needs.h"
#include "Reference.h"
#include "Speech.h"
#include "host/plugin/Names.h"

namespace zvk {

using grammar::equalIgnoringCase;
using grammar::Type;
using host::Method;

namespace {

class Planner {
 public:
  Planner(const host::Plugin& plugin, ArgumentReader& reader) : plugin_(plugin), reader_(reader) {}

  Step plan(CallText call) const {
    if (const host::ClassInfo* info = findClass(call)) return planClass(*info, call);
    const Method& method = choose(call);
    const std::string text(method.text());
    if (call.assigned && !method.assignable()) {
      throw InputError("nothing can be assigned to " + text);
    }
    if (namesSelf(method, call)) call.arguments.erase(call.arguments.begin());
    Step step{.name = std::string(method.name()), .method = &method};
    const std::vector<int> places = method.parametersFor(call.arguments.size()).value();
    for (size_t i = 0; i < places.size(); ++i) {
      const Argument& argument = call.arguments[i];
      const grammar::Parameter& parameter = method.declaration.parameters[places[i]];
      if (!argument.name.empty()) {
        throw InputError(argument.name + "=" + argument.value + ": " + text +
                         " takes its arguments in order, not by name");
      }
      step.arguments.push_back(bound(parameter.type, argument.value,
                                     std::string(parameter.name) + " of " + text,
                                     parameterLine(method.text(), parameter.name)));
    }
    if (call.assigned) {
      step.assigned =
          bound(method.declaration.result, *call.assigned, "the value assigned to " + text);
    }
    refuseNonsense(step);
    return step;
  }

 private:
  const host::ClassInfo* findClass(const CallText& call) const {
    for (const auto* definition : plugin_.host().registrations.classes) {
      if (host::standsFor(call.name, definition->name)) {
        return plugin_.host().findClass(definition->name);
      }
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
    for (const auto* definition : plugin_.host().registrations.classes) {
      classes.push_back(definition->name);
    }
    const auto callable = [](const Method& method) { return method.kind != Method::Kind::kClass; };
    const size_t count = call.arguments.size();
    return host::Plugin::choose(plugin_.overloads(call.name, callable, std::move(classes)),
                                call.name, count, [&](const Method& method) {
                                  return namesSelf(method, call) ||
                                         method.parametersFor(count).has_value();
                                });
  }

  /// A message about a value that does not fit ends with what the reference says of it.
  Bound bound(Type type, const std::string& text, std::string place,
              const std::string& explanation = "") const {
    Bound result{type, std::move(place), {}};
    if (ArgumentReader::isCurrent(type, text)) return result;
    try {
      result.value = reader_.read(type, text, result.place);
    } catch (const InputError& error) {
      throw InputError(error.what() + (explanation.empty() ? "" : "; " + explanation));
    }
    return result;
  }

  static void refuseNonsense(const Step& step) {
    std::vector<host::Value> values;
    for (const Bound& argument : step.arguments) {
      values.push_back(argument.value.value_or(host::Value()));
    }
    const std::string wrong = wrongArguments(*step.method, values);
    if (!wrong.empty()) throw InputError(step.name + ": " + wrong);
  }

  // --- Classes ---

  Step planClass(const host::ClassInfo& info, const CallText& call) const {
    if (call.assigned) throw InputError(info.name + " is a class; nothing can be assigned to it");
    Step step{.name = info.name, .info = &info};
    Properties properties;
    std::vector<const Method*> missing = tablesOf(info);
    for (const Argument& argument : call.arguments) {
      const Setting& setting = step.settings.emplace_back(this->setting(info, argument));
      if (setting.table) std::erase(missing, setting.table);
      if (setting.value.value) properties[setting.property->name] = *setting.value.value;
    }
    const std::string wrong = wrongRectangle(properties);
    if (!wrong.empty()) throw InputError(step.name + ": " + wrong);
    if (!missing.empty()) {
      const std::string table(missing.front()->name());
      throw InputError(step.name + ": without " + table + " all becomes black; " + table +
                       "=@FILE takes a .cube file");
    }
    return step;
  }

  /// What a .cube file can be assigned to.
  std::vector<const Method*> tablesOf(const host::ClassInfo& info) const {
    std::vector<const Method*> tables;
    for (const Method& method : plugin_.methods()) {
      const bool own = method.kind == Method::Kind::kClass && method.className == info.name;
      if (own && method.assignable()) tables.push_back(&method);
    }
    return tables;
  }

  Setting setting(const host::ClassInfo& info, const Argument& argument) const {
    const REALclassDefinition& definition = *info.definition;
    std::string names;
    for (int i = 0; i < definition.propertyCount; ++i) {
      const REALpropertyDefinition& property = definition.properties[i];
      if (equalIgnoringCase(property.name, argument.name))
        return propertySetting(info, property, argument);
      names += std::string(i == 0 ? "" : ", ") + property.name;
    }
    for (const Method* table : tablesOf(info)) {
      if (equalIgnoringCase(table->name(), argument.name)) return tableSetting(*table, argument);
      names += ", " + std::string(table->name());
    }
    if (argument.name.empty()) {
      throw InputError(info.name + " takes NAME=VALUE, not " + argument.value +
                       "; its properties are " + names);
    }
    throw InputError(info.name + " has no property " + argument.name + "; it has " + names);
  }

  Setting propertySetting(const host::ClassInfo& info, const REALpropertyDefinition& property,
                          const Argument& argument) const {
    Type type = Type::kNothing;
    for (const grammar::TypeName& known : grammar::kTypeNames) {
      if (equalIgnoringCase(known.name, property.type)) type = known.type;
    }
    const std::string place = std::string(property.name) + " as " + property.type;
    return {.property = &property,
            .value = bound(type, argument.value, place, parameterLine(info.name, property.name)),
            .cube = {}};
  }

  Setting tableSetting(const Method& table, const Argument& argument) const {
    if (!argument.value.starts_with('@')) {
      throw InputError(std::string(table.text()) + ": " + argument.value +
                       " is not a .cube file (@FILE)");
    }
    const std::string path = unquoted(std::string_view(argument.value).substr(1));
    Cube cube = Cube::parse(reader_.bytesOf(path), host::inputName(path));
    // Half a level is what rounding to levels costs anyway.
    if (const CubeError error = resamplingError(cube); error.largest > 0.5) {
      char text[80];
      snprintf(text, sizeof text, "%.1f levels of 255 at most, %.2f on average", error.largest,
               error.mean);
      note(path + ": the filter's 16 grid points per axis miss it by " + text);
    }
    return {.value = {}, .table = &table, .cube = std::move(cube)};
  }

  const host::Plugin& plugin_;
  ArgumentReader& reader_;
};

bool takesCurrent(const Step& step, bool picture) {
  const auto takes = [picture](const Bound& bound) {
    return !bound.value && (bound.type == Type::kPicture) == picture;
  };
  for (const Bound& argument : step.arguments) {
    if (takes(argument)) return true;
  }
  if (step.assigned && takes(*step.assigned)) return true;
  return picture && (step.info || step.method->kind == Method::Kind::kPicture);
}

}  // namespace

bool Step::givesPicture() const {
  return info || (method->declaration.result == Type::kPicture && !assigned);
}

bool Step::givesBytes() const {
  if (info || assigned) return false;
  const Type result = method->declaration.result;
  return result == Type::kString || result == Type::kMemoryBlock;
}

std::optional<bool> endsWithPicture(const std::vector<Step>& steps) {
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (step->givesPicture()) return true;
    if (step->givesBytes()) return false;
  }
  return std::nullopt;
}

std::vector<Step> planned(const host::Plugin& plugin, ArgumentReader& reader,
                          const std::vector<std::string>& calls) {
  const Planner planner(plugin, reader);
  std::vector<Step> steps;
  for (const std::string& text : calls) steps.push_back(planner.plan(parseCall(text)));
  return steps;
}

void requireKinds(const std::vector<Step>& steps, bool picture, std::string origin) {
  for (const Step& step : steps) {
    if (!picture && takesCurrent(step, true)) {
      throw InputError(origin + ": not a picture, as " + step.name + " needs; possible are " +
                       host::readableFormats());
    }
    if (picture && takesCurrent(step, false)) {
      throw InputError(origin + ": a picture; " + step.name + " needs bytes (@FILE)");
    }
    if (!step.givesPicture() && !step.givesBytes()) continue;
    picture = step.givesPicture();
    origin = step.name + "'s result";
  }
}

}  // namespace zvk
