#include "host/plugin/Plugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "host/plugin/Call.h"
#include "host/plugin/Names.h"

namespace host {

using grammar::equalIgnoringCase;

namespace {

// Opens a library that is not in the process yet: one whose file is loaded already, or could not be
// unloaded, comes from a temporary copy.
void* openFresh(const std::string& path) {
  if (void* loaded = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {
    dlclose(loaded);
    std::string copy = std::filesystem::temp_directory_path() / "zvk-plugin-XXXXXX";
    const int file = mkstemp(copy.data());
    if (file < 0) throw std::runtime_error("no temporary copy of " + path + " can be made");
    close(file);
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
    void* library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    std::filesystem::remove(copy);
    return library;
  }
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

}  // namespace

std::string mangledName(std::string_view name) {
#if defined(__i386__)
  constexpr char kSigned = 'l', kUnsigned = 'm';
#else
  constexpr char kSigned = 'i', kUnsigned = 'j';
#endif
  std::string result(name);
  std::replace(result.begin(), result.end(), '@', kSigned);
  std::replace(result.begin(), result.end(), '%', kUnsigned);
  return result;
}

std::optional<std::vector<int>> Method::parametersFor(size_t arguments) const {
  const auto count = static_cast<size_t>(declaration.parameterCount);
  size_t required = count;
  while (required > 0 && declaration.parameters[required - 1].defaultValue) --required;
  std::vector<int> all, withoutVariables;
  for (int i = 0; i < declaration.parameterCount; ++i) {
    all.push_back(i);
    if (!declaration.parameters[i].byReference) withoutVariables.push_back(i);
  }
  if (arguments == withoutVariables.size()) return withoutVariables;
  if (arguments < required || arguments > count) return std::nullopt;
  all.resize(arguments);
  return all;
}

// --- Loading ------------------------------------------------------------------------------------

Plugin::Plugin(const std::string& path) : host_(Host::current()) {
  std::error_code error;
  const std::string file = std::filesystem::absolute(path, error);
  if (!std::filesystem::exists(file, error)) {
    throw std::runtime_error("the plug-in " + path + " does not exist");
  }
  library_ = openFresh(file);
  if (library_ == nullptr) throw std::runtime_error(std::string("cannot load: ") + dlerror());
  auto* main = reinterpret_cast<EntryPoint*>(symbol("REALPluginMain"));
  if (main == nullptr) {
    dlclose(library_);
    throw std::runtime_error(path + " is no plug-in: it does not export REALPluginMain");
  }
  start(main);
}

Plugin::Plugin(EntryPoint* main) : host_(Host::current()), library_(dlopen(nullptr, RTLD_NOW)) {
  start(main);
}

void Plugin::start(EntryPoint* main) {
  // What other plug-ins in this host registered stays theirs.
  Host::Registrations all = std::exchange(host_.registrations, {});
  main(&Host::resolve);
  registered_ = host_.registrations;
  for (auto* definition : registered_.classes) collect(*definition, Method::Kind::kClass);
  for (auto* definition : registered_.extensions) collect(*definition, Method::Kind::kPicture);
  for (auto* definition : registered_.methods) add(Method::Kind::kGlobal, "", definition);
  const auto append = [](auto& to, const auto& what) {
    to.insert(to.end(), what.begin(), what.end());
  };
  append(all.classes, registered_.classes);
  append(all.extensions, registered_.extensions);
  append(all.methods, registered_.methods);
  append(all.controls, registered_.controls);
  append(all.modules, registered_.modules);
  host_.registrations = std::move(all);
}

Plugin::~Plugin() {
  host_.forget(registered_);
  dlclose(library_);
}

void Plugin::collect(const REALclassDefinition& definition, Method::Kind kind) {
  if (kind == Method::Kind::kPicture && !equalIgnoringCase(definition.name, "Picture")) {
    faults_.push_back(std::string("extends the unknown class ") + definition.name);
    return;
  }
  for (int i = 0; i < definition.methodCount; ++i) {
    add(kind, definition.name, &definition.methods[i]);
  }
}

void Plugin::add(Method::Kind kind, std::string_view className, REALmethodDefinition* definition) {
  const auto declaration = grammar::parse(definition->declaration);
  if (!declaration) {
    faults_.push_back(std::string("malformed declaration: ") + definition->declaration);
    return;
  }
  methods_.push_back({kind, std::string(className), definition, *declaration});
}

void* Plugin::symbol(std::string_view name) const {
  return dlsym(library_, mangledName(name).c_str());
}

void* Plugin::requireSymbol(std::string_view name) const {
  if (void* address = symbol(name)) return address;
  throw CallError("the plug-in does not export " + mangledName(name));
}

InstanceRef Plugin::newInstance(std::string_view className) const {
  const Ref<Object> object = host_.newInstance(className);
  InstanceRef instance(dynamic_cast<Instance*>(object.get()));
  if (!instance) throw CallError("the plug-in has no class " + std::string(className));
  return instance;
}

// --- Choosing a method --------------------------------------------------------------------------

Overloads Plugin::overloads(std::string_view name, const Condition& callable, Names others) const {
  Overloads found;
  for (const Method& method : methods_) {
    if (!callable(method)) continue;
    others.emplace_back(method.name());
    if (standsFor(name, method.name())) found.push_back(&method);
  }
  if (found.empty()) {
    throw CallError("there is no method " + std::string(name) +
                    suggestion(similarNames(name, std::move(others))));
  }
  return found;
}

const Method& Plugin::choose(const Overloads& overloads, std::string_view name, size_t arguments,
                             const Condition& fits) {
  Names declarations;
  for (const Method* method : overloads) {
    if (fits(*method)) return *method;
    declarations.emplace_back(method->text());
  }
  throw CallError(std::string(name) + " does not take " + std::to_string(arguments) +
                  " argument(s); it is declared as " + join(declarations, " and "));
}

const Method& Plugin::choose(const Value& self, std::string_view name, size_t arguments) const {
  const InstanceRef instance = self.instance();
  const auto kind = instance         ? Method::Kind::kClass
                    : self.picture() ? Method::Kind::kPicture
                                     : Method::Kind::kGlobal;
  const auto callable = [&](const Method& method) {
    return method.kind == kind &&
           (!instance || equalIgnoringCase(method.className, instance->className()));
  };
  return choose(overloads(name, callable), name, arguments,
                [&](const Method& method) { return method.parametersFor(arguments).has_value(); });
}

// --- Calling ------------------------------------------------------------------------------------

CallResult Plugin::invoke(const Method& method, const Value& self,
                          std::vector<Value> arguments) const {
  Call call(method, self, std::move(arguments));
  return call.run(host_, method.definition->routine, nullptr);
}

void Plugin::assign(const Method& method, const Value& self, std::vector<Value> arguments,
                    const Value& value) const {
  if (!method.assignable()) {
    throw CallError("nothing can be assigned to " + std::string(method.text()));
  }
  Call call(method, self, std::move(arguments));
  call.run(host_, method.definition->setter, &value);
}

}  // namespace host
