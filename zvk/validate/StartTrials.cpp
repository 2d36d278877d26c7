// What the plug-in registers when it is started, on hosts of every kind.
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <set>

#include "Scene.h"

namespace zvk::validation {

namespace {

using Registrations = host::Host::Registrations;

constexpr double kNoVersion = -1;           ///< the host reports none
constexpr double kFlagsVersion = 2010.029;  ///< first version that knows flag bits
constexpr double kVersions[] = {kNoVersion,
                                0,
                                2006,
                                2010.028,
                                kFlagsVersion,
                                2011.04,
                                2012,
                                2019.02,
                                std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()};

host::Settings settingsOf(double version) {
  host::Settings settings;
  settings.version = version;
  if (version == kNoVersion) settings.version.reset();
  return settings;
}

template <typename Record>
std::span<Record> list(Record* records, int32_t count) {
  return {records, records && count > 0 ? static_cast<size_t>(count) : 0};
}

std::vector<const REALclassDefinition*> classRecords(const Registrations& all) {
  std::vector<const REALclassDefinition*> records(all.classes.begin(), all.classes.end());
  records.insert(records.end(), all.extensions.begin(), all.extensions.end());
  return records;
}

/// Every method record with the class that it stands in; an empty one for global methods.
template <typename Visitor>
void eachMethod(const Registrations& all, Visitor visit) {
  for (const auto* record : classRecords(all)) {
    for (const auto& method : list(record->methods, record->methodCount)) visit(*record, method);
    for (const auto& method : list(record->sharedMethods, record->sharedMethodCount)) {
      visit(*record, method);
    }
  }
  static const REALclassDefinition kGlobal{};
  for (const auto* method : all.methods) visit(kGlobal, *method);
}

template <typename Visitor>
void eachProperty(const Registrations& all, Visitor visit) {
  for (const auto* record : all.classes) {
    for (const auto& property : list(record->properties, record->propertyCount)) {
      visit(*record, property);
    }
  }
}

std::string textOr(const char* text, const char* otherwise) { return text ? text : otherwise; }

/// The messages of one check.
class Findings {
 public:
  Findings(Log& log, std::string_view check) : log_(log), check_(check) {}
  void require(bool condition, const std::string& message) const {
    if (!condition) log_.fail(check_, message);
  }

 private:
  Log& log_;
  std::string_view check_;
};

bool isName(const char* text) {
  if (text == nullptr || *text == 0 || (*text >= '0' && *text <= '9')) return false;
  return std::all_of(text, text + strlen(text),
                     [](unsigned char c) { return c == '_' || c == '.' || isalnum(c); });
}

// --- Order and contents -------------------------------------------------------------------------

void checkOrder(host::Host& host, Log& log) {
  const Findings order(log, "start.order"), passive(log, "start.passive");
  constexpr std::string_view kAnnouncement = "RegisterPluginVersion", kRegister = "PluginRegister";
  constexpr std::string_view kHarmless[] = {"REALGetRBVersion", "pluginObjectType", "REALinRuntime",
                                            "REALInDebugMode"};
  int announced = 0, registered = 0;
  for (const host::CallRecord& call : host.calls()) {
    if (call.name == kAnnouncement) {
      ++announced;
      order.require(registered == 0, "the interface version is announced after a registration");
    } else if (call.name.substr(0, kRegister.size()) == kRegister) {
      ++registered;
    } else {
      passive.require(
          std::find(std::begin(kHarmless), std::end(kHarmless), call.name) != std::end(kHarmless),
          "start-up calls " + call.text());
    }
  }
  order.require(announced == 1,
                "the interface version is announced " + std::to_string(announced) + " times");
  order.require(registered > 0, "nothing is registered");
  for (const host::Object* object : host.objects()) {
    passive.require(dynamic_cast<const host::ClassReference*>(object),
                    "it makes " + object->name());
  }
}

void checkVersion(const host::Host& host, Log& log) {
  const Findings version(log, "start.version");
  version.require(host.pluginVersion >= 1 && host.pluginVersion <= kPluginInterfaceVersion,
                  "it announces interface version " + std::to_string(host.pluginVersion));
  for (const auto* record : classRecords(host.registrations)) {
    version.require(record->version == host.pluginVersion,
                    "the record of " + textOr(record->name, "a class") + " has version " +
                        std::to_string(record->version));
  }
}

void checkRecord(const host::Host& host, const REALclassDefinition& record, bool extends,
                 const Findings& good) {
  const std::string name = textOr(record.name, "a class");
  good.require(isName(record.name), "a class has no name");
  const auto fits = [&](const void* records, int32_t count) {
    return count >= 0 && (records != nullptr || count == 0);
  };
  good.require(fits(record.properties, record.propertyCount) &&
                   fits(record.methods, record.methodCount) &&
                   fits(record.sharedProperties, record.sharedPropertyCount) &&
                   fits(record.sharedMethods, record.sharedMethodCount),
               name + ": a list and its count do not fit");
  good.require(std::all_of(std::begin(record.reserved), std::end(record.reserved),
                           [](const void* word) { return word == nullptr; }),
               name + ": a reserved word is not 0");
  good.require(record.dataSize >= 0 && (!extends || record.dataSize == 0),
               name + ": instance data of " + std::to_string(record.dataSize) + " bytes");
  if (record.superName) {
    good.require(host.findClass(record.superName), name + ": unknown super class");
  }
  if (extends) {
    const host::ClassInfo* extended = record.name ? host.findClass(record.name) : nullptr;
    good.require(extended && !extended->definition, name + " is no class of the host");
  }
  for (const auto& property : list(record.properties, record.propertyCount)) {
    good.require(isName(property.name), name + ": a property has no name");
    good.require(property.getter || property.setter, name + ": a property without accessors");
    good.require(
        property.reserved[0] == 0 && property.reserved[1] == 0 && property.reserved[2] == 0,
        name + ": a reserved word of a property is not 0");
  }
}

// --- Fields -------------------------------------------------------------------------------------

struct FieldType {
  std::string_view name;
  int32_t size;
};
constexpr int32_t kHandle = sizeof(void*);
constexpr FieldType kFieldTypes[] = {
    {"Picture", kHandle}, {"String", kHandle}, {"MemoryBlock", kHandle},
    {"Integer", 4},       {"Color", 4},        {"Double", 8},
    {"Boolean", 1}};
constexpr FieldType kObjectType = {"Object", kHandle};

const FieldType* fieldType(const host::Host& host, const REALpropertyDefinition& property) {
  if (property.type == nullptr) return nullptr;
  for (const FieldType& known : kFieldTypes) {
    if (grammar::equalIgnoringCase(property.type, known.name)) return &known;
  }
  return host.findClass(property.type) ? &kObjectType : nullptr;
}

void checkFields(const host::Host& host, const Registrations& all, Log& log) {
  const Findings types(log, "start.types"), fields(log, "start.fields");
  std::map<const REALclassDefinition*, std::map<int32_t, int32_t>> used;  // from and to
  eachProperty(all, [&](const REALclassDefinition& record, const REALpropertyDefinition& property) {
    const std::string name = textOr(record.name, "?") + "." + textOr(property.name, "?");
    const FieldType* type = fieldType(host, property);
    types.require(type, name + " is of the unknown type " + textOr(property.type, "nothing"));
    if (type == nullptr || property.getter != hostAccessor()) return;
    const int32_t begin = property.parameter;
    // In 64 bits: positions are whatever the record says.
    const int64_t end = int64_t{begin} + type->size;
    fields.require(begin >= 0 && end <= record.dataSize && begin % std::min(type->size, 4) == 0,
                   name + " lies at " + std::to_string(begin) + " of " +
                       std::to_string(record.dataSize) + " bytes");
    for (const auto& [otherBegin, otherEnd] : used[&record]) {
      fields.require(end <= otherBegin || begin >= otherEnd, name + " lies over another field");
    }
    used[&record][begin] = static_cast<int32_t>(end);
  });
}

// --- Flags --------------------------------------------------------------------------------------

void checkFlags(const Registrations& all, double version, Log& log) {
  const Findings flags(log, "start.flags");
  constexpr int32_t kMarks = kMarkConsoleSafe | kMarkHostBit8;
  constexpr int32_t kBits = kFlagConsoleSafe | kFlagHostBit8;
  const bool known = version >= kFlagsVersion;  // false where it is not a number
  const auto member = [&](const std::string& name, int32_t word) {
    const int32_t marked = ((word & kMarkConsoleSafe) ? kFlagConsoleSafe : 0) |
                           ((word & kMarkHostBit8) ? kFlagHostBit8 : 0);
    char text[16];
    snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(word));
    flags.require((word & ~(kMarks | kBits)) == 0, name + " has the unknown flags " + text);
    // Whoever sets bits without marks decides by the version, too.
    flags.require(known ? (word & marked) == marked : (word & kBits) == 0,
                  name + " has the flags " + text + " on host version " + std::to_string(version));
  };
  eachMethod(all, [&](const REALclassDefinition&, const REALmethodDefinition& method) {
    member(textOr(method.declaration, "a method"), method.flags);
  });
  eachProperty(all, [&](const REALclassDefinition&, const REALpropertyDefinition& property) {
    member(textOr(property.name, "a property"), property.flags);
  });
  for (const auto* record : classRecords(all)) {
    flags.require((record->flags & ~(kMarks | kBits | kFlagWebOnly)) == 0,
                  textOr(record->name, "a class") + " has unknown flags");
  }
}

// --- Names --------------------------------------------------------------------------------------

// What tells one member from another: its name, and of methods the types of their parameters.
std::string signature(const char* declaration) {
  const auto parsed = declaration ? grammar::parse(declaration) : std::nullopt;
  if (!parsed) return "";
  std::string text(parsed->name);
  for (int i = 0; i < parsed->parameterCount; ++i) {
    text += '/' + std::to_string(static_cast<int>(parsed->parameters[i].type));
  }
  std::transform(text.begin(), text.end(), text.begin(), grammar::lowerCase);
  return text;
}

void checkNames(const Registrations& all, Log& log) {
  const Findings alike(log, "start.unique"), declarations(log, "start.declarations");
  std::set<std::string> seen;
  const auto add = [&](const std::string& name) {
    alike.require(seen.insert(name).second, name + " is declared twice");
  };
  for (const auto* record : all.classes) add(textOr(record->name, "?"));
  eachMethod(all, [&](const REALclassDefinition& record, const REALmethodDefinition& method) {
    const std::string own = signature(method.declaration);
    const auto parsed = method.declaration ? grammar::parse(method.declaration) : std::nullopt;
    declarations.require(parsed.has_value(),
                         textOr(method.declaration, "a missing declaration") + " does not parse");
    if (!parsed) return;
    const bool canAssign = !method.setter || parsed->result != grammar::Type::kNothing;
    declarations.require(canAssign, textOr(method.declaration, "?") + " has nothing to assign");
    add(textOr(record.name, "") + "." + own);
  });
  eachProperty(all, [&](const REALclassDefinition& record, const REALpropertyDefinition& property) {
    add(textOr(record.name, "?") + "." + signature(property.name));
  });
}

// --- Addresses ----------------------------------------------------------------------------------

struct Address {
  uintptr_t value;
  bool executable = false, ofLibrary = false;
};

int locate(dl_phdr_info* info, size_t, void* argument) {
  auto& address = *static_cast<Address*>(argument);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    const uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    if (segment.p_type != PT_LOAD || address.value < begin ||
        address.value >= begin + segment.p_memsz) {
      continue;
    }
    address.ofLibrary = true;
    address.executable = (segment.p_flags & PF_X) != 0;
    return 1;
  }
  return 0;
}

Address located(const void* pointer) {
  Address address{reinterpret_cast<uintptr_t>(pointer)};
  dl_iterate_phdr(&locate, &address);
  return address;
}

void checkAddresses(const Registrations& all, Log& log) {
  const Findings routines(log, "start.routines"), records(log, "start.static-records");
  const auto routine = [&](const void* pointer, bool optional, const std::string& name) {
    if (optional && (pointer == nullptr || pointer == hostAccessor())) return;
    routines.require(located(pointer).executable, name + " has no routine");
  };
  const auto fixed = [&](const void* pointer, const std::string& name) {
    records.require(!pointer || located(pointer).ofLibrary, name + " is not the library's own");
  };
  for (const auto* record : classRecords(all)) {
    const std::string name = textOr(record->name, "a class");
    fixed(record, "the record of " + name);
    fixed(record->name, "the name of " + name);
    routine(record->constructor, true, "the constructor of " + name);
    routine(record->destructor, true, "the destructor of " + name);
  }
  eachMethod(all, [&](const REALclassDefinition&, const REALmethodDefinition& method) {
    const std::string name = textOr(method.declaration, "a method");
    routine(method.routine, false, name);
    routine(method.setter, true, name + ", assigned,");
    fixed(&method, "the record of " + name);
    fixed(method.declaration, "the text of " + name);
  });
  eachProperty(all, [&](const REALclassDefinition&, const REALpropertyDefinition& property) {
    const std::string name = textOr(property.name, "a property");
    routine(property.getter, true, name);
    routine(property.setter, true, name + ", written,");
    fixed(&property, "the record of " + name);
  });
}

// --- Trials -------------------------------------------------------------------------------------

std::vector<Case> eachVersion(const Context&, Log&) {
  std::vector<Case> cases(std::size(kVersions));
  for (size_t i = 0; i < cases.size(); ++i) cases[i].a = static_cast<int32_t>(i);
  return cases;
}

void startOn(const Context& context, const Case& c, Log& log) {
  const double version = kVersions[c.a];
  log.doing("start-up on host version " + std::to_string(version));
  Scene scene(context, log, settingsOf(version));
  const Registrations& all = scene.host.registrations;
  checkOrder(scene.host, log);
  checkVersion(scene.host, log);
  for (const auto* record : all.classes) {
    checkRecord(scene.host, *record, false, {log, "start.records"});
  }
  for (const auto* record : all.extensions) {
    checkRecord(scene.host, *record, true, {log, "start.records"});
  }
  checkFields(scene.host, all, log);
  checkFlags(all, version, log);
  checkNames(all, log);
  checkAddresses(all, log);
  for (const auto& [name, times] : scene.host.unknownResolutions) {
    log.fail("start.known-services", "it asks for the unknown service " + name);
  }
  scene.settle("start.passive");
}

std::vector<std::string> declared(const Registrations& all) {
  std::vector<std::string> names;
  for (const auto* record : classRecords(all)) {
    names.push_back("class " + textOr(record->name, "?") + ", " + std::to_string(record->dataSize));
  }
  eachMethod(all, [&](const REALclassDefinition& record, const REALmethodDefinition& method) {
    names.push_back(textOr(record.name, "") + "." + textOr(method.declaration, "?"));
  });
  eachProperty(all, [&](const REALclassDefinition& record, const REALpropertyDefinition& property) {
    names.push_back(textOr(record.name, "") + "." + textOr(property.name, "?"));
  });
  return names;
}

// Two hosts, one after the other, as in two starts of the same program.
void compareVersions(const Context& context, const Case& c, Log& log) {
  const auto names = [&](double version) {
    return declared(Scene(context, log, settingsOf(version)).host.registrations);
  };
  log.doing("start-up on host versions 2019.02 and " + std::to_string(kVersions[c.a]));
  if (names(2019.02) != names(kVersions[c.a])) {
    log.fail("start.every-version", "other things are registered");
  }
}

std::vector<Case> eachService(const Context&, Log&) {
  std::vector<Case> cases(host::Host::serviceNames().size());
  for (size_t i = 0; i < cases.size(); ++i) cases[i].a = static_cast<int32_t>(i);
  return cases;
}

void startWithout(const Context& context, const Case& c, Log& log) {
  using Counts = std::map<std::string_view, size_t>;
  const auto countsOf = [](const Registrations& all) {
    return Counts{{"PluginRegisterClass", all.classes.size()},
                  {"PluginRegisterClassExtension", all.extensions.size()},
                  {"PluginRegisterMethod", all.methods.size()}};
  };
  Counts expected = countsOf(Scene(context, log, host::Settings()).host.registrations);
  const std::string_view missing = host::Host::serviceNames()[static_cast<size_t>(c.a)];
  if (const auto found = expected.find(missing); found != expected.end()) found->second = 0;
  host::Host host;
  host.withhold(missing);
  log.doing("start-up without " + std::string(missing));
  const host::Plugin plugin(context.plugin);
  for (const auto& [service, count] : countsOf(host.registrations)) {
    if (count == expected[service]) continue;
    log.fail("start.missing-service", std::string(service) + " was used " + std::to_string(count) +
                                          " times instead of " + std::to_string(expected[service]));
  }
  for (const std::string& problem : host.accounts()) log.fail("start.missing-service", problem);
}

void startBare(const Context& context, const Case&, Log& log) {
  host::Host host;
  for (const std::string_view name : host::Host::serviceNames()) host.withhold(name);
  log.doing("start-up without any service");
  const host::Plugin plugin(context.plugin);
}

std::vector<Case> once(const Context&, Log&) { return {Case()}; }

// Records, lists and texts, byte by byte.
std::vector<std::string> recordBytes(const Registrations& all) {
  std::vector<std::string> bytes;
  const auto add = [&](const auto& record) {
    bytes.emplace_back(reinterpret_cast<const char*>(&record), sizeof record);
  };
  for (const auto* record : classRecords(all)) {
    add(*record);
    bytes.push_back(textOr(record->name, ""));
  }
  eachMethod(all, [&](const REALclassDefinition&, const REALmethodDefinition& method) {
    add(method);
    bytes.push_back(textOr(method.declaration, ""));
  });
  eachProperty(all, [&](const REALclassDefinition&, const REALpropertyDefinition& property) {
    add(property);
    bytes.push_back(textOr(property.name, "") + textOr(property.type, ""));
  });
  return bytes;
}

void callAll(const Context& context, const Case& c, Log& log) {
  const Layout& layout = layouts()[static_cast<size_t>(c.layout)];
  Scene scene(context, log, layout);
  const auto before = recordBytes(scene.host.registrations);
  for (const host::Method& method : scene.plugin.methods()) {
    Arguments arguments(scene.plugin, layout.options, {6, 5}, context.seed);
    scene.make(arguments.call(method));
    if (recordBytes(scene.host.registrations) != before) {
      return log.fail("start.records-kept", "a record has changed");
    }
  }
}

std::vector<Case> eachLayout(const Context&, Log&) {
  std::vector<Case> cases(static_cast<size_t>(availableLayouts()));
  for (size_t i = 0; i < cases.size(); ++i) cases[i].layout = static_cast<int16_t>(i);
  return cases;
}

constexpr Trial kTrials[] = {
    {"start.survives",
     "start.version start.order start.records start.fields start.flags start.declarations "
     "start.types start.unique start.routines start.static-records start.known-services "
     "start.passive",
     eachVersion, startOn},
    {"start.every-version", "", eachVersion, compareVersions},
    {"start.missing-service", "", eachService, startWithout},
    {"start.bare-host", "", once, startBare},
    {"start.records-kept", "", eachLayout, callAll},
};

}  // namespace

std::span<const Trial> startTrials() { return kTrials; }

}  // namespace zvk::validation
