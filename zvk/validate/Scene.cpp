#include "Scene.h"

#include <cmath>
#include <cstring>

#include "Heap.h"
#include "host/pictures/Display.h"

namespace zvk::validation {

using grammar::Type;
using host::Method;
using host::PictureOptions;
using host::Storage;
using host::Value;

namespace {

constexpr Layout kLayouts[] = {
    {"cairo with alpha", {.alpha = true}},
    {"cairo", {.paddingWords = 3}},
    {"record", {.storage = Storage::kRecord, .paddingWords = 2}},
    {"scattered record", {.storage = Storage::kRecord, .scatteredRows = true}},
    {"record with alpha", {.storage = Storage::kRecord, .alpha = true, .scatteredRows = true}},
    {"drawable", {.storage = Storage::kDrawable}},
};

template <typename T>
void append(std::string& bytes, const T& value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

bool isFailureValue(const Value& value) {
  if (value.isNothing() || value.isNil()) return true;
  if (value.isBoolean()) return !value.boolean();
  return value.isNumber() && !(value.number() > 0);
}

std::string described(const Value& value) {
  const host::Ref<host::Object> object = value.object();
  if (!object) return value.describe();
  const std::string details = object->details();
  return object->name() + (details.empty() ? "" : " (" + details + ")");
}

// What turns a picture into a string: the only strings of which the plug-in makes something.
const Method* stringMaker(const host::Plugin& plugin) {
  for (const Method& method : plugin.methods()) {
    const grammar::Declaration& declaration = method.declaration;
    const bool fits = method.kind == Method::Kind::kGlobal && declaration.result == Type::kString &&
                      declaration.parameterCount == 1 &&
                      declaration.parameters[0].type == Type::kPicture;
    if (fits) return &method;
  }
  return nullptr;
}

}  // namespace

std::span<const Layout> layouts() { return kLayouts; }

int availableLayouts() {
  return static_cast<int>(std::size(kLayouts)) - (host::displayAvailable() ? 0 : 1);
}

host::Settings settingsFor(const PictureOptions& options) {
  host::Settings settings = host::Settings::forStorage(options.storage);
  settings.newPictures = options;
  settings.newPictures.alpha = false;
  settings.logging = false;
  settings.pictureByteLimit = size_t{16} << 20;
  return settings;
}

// --- Calls --------------------------------------------------------------------------------------

std::string DeclaredCall::text() const {
  std::string text(method->name());
  for (size_t i = 0; i < arguments.size(); ++i) {
    text +=
        (i == 0 ? "(" : ", ") + (arguments[i].isNothing() ? "variable" : described(arguments[i]));
  }
  if (!arguments.empty()) text += ')';
  if (assigned) text += " = " + described(*assigned);
  if (method->kind != Method::Kind::kGlobal) text += " on " + described(self);
  return text;
}

bool Answer::isFailure() const {
  if (exception) return true;
  const bool tellsByVariable = result.method->declaration.result == Type::kNothing;
  if (tellsByVariable && !result.byReference.empty()) {
    return isFailureValue(result.byReference.back().value);
  }
  return isFailureValue(result.value);
}

Arguments::Arguments(const host::Plugin& plugin, const PictureOptions& options, Size size,
                     uint32_t seed)
    : plugin_(plugin), options_(options), size_(size), random_(seed) {}

std::vector<uint32_t> variedPixels(Size size, std::mt19937& random) {
  std::vector<uint32_t> pixels(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
  for (size_t i = 0; i < pixels.size(); ++i) {
    const auto value = static_cast<uint32_t>(random());
    const uint32_t grey = (value & 0xFF) * 0x010101U;
    const uint32_t colour = i % 5 == 0 ? 0xFFFFFF : i % 3 == 0 ? grey : value & 0xF0F0F0;
    // Opaque or fully transparent: the only alpha that is the same in every storage.
    pixels[i] = (value & 0x1000000 ? 0xFF000000 : 0) | colour;
  }
  return pixels;
}

host::PictureRef Arguments::picture() {
  return plugin_.host().newPicture(size_.width, size_.height, variedPixels(size_, random_),
                                   options_);
}

host::BlockRef Arguments::block(int size) {
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
  return plugin_.host().newBlock(bytes, placement);
}

host::StringRef Arguments::string() {
  std::string bytes = "no text of any sense";
  if (const Method* maker = stringMaker(plugin_)) {
    const host::StringRef made = plugin_.invoke(*maker, {}, {picture()}).value.string();
    if (made) bytes = made->bytes();
  }
  return plugin_.host().newString(bytes, kEncodingNone, placement);
}

Value Arguments::ofType(Type type) {
  switch (type) {
    case Type::kPicture:
      return picture();
    case Type::kMemoryBlock:
      return block();
    case Type::kString:
      return string();
    case Type::kInteger:
      return static_cast<int>(random_() % 11) - 2;
    case Type::kColor:
      return host::Color{static_cast<uint32_t>(random_()) & 0xFFFFFF};
    case Type::kBoolean:
      return (random_() & 1) != 0;
    case Type::kDouble:
      return static_cast<double>(random_() % 4001) / 1000 - 2;
    case Type::kNothing:
      break;
  }
  return {};
}

Value Arguments::value(const grammar::Parameter& parameter) {
  return parameter.byReference ? Value() : ofType(parameter.type);
}

Value Arguments::self(const Method& method) {
  if (method.kind == Method::Kind::kPicture) return picture();
  if (method.kind == Method::Kind::kGlobal) return {};
  const host::InstanceRef instance = plugin_.newInstance(method.className);
  // The first picture is what such classes work on.
  const REALclassDefinition& definition = *instance->info().definition;
  for (int i = 0; i < definition.propertyCount; ++i) {
    if (grammar::equalIgnoringCase(definition.properties[i].type, "Picture")) {
      instance->setProperty(definition.properties[i].name, picture());
      break;
    }
  }
  return instance;
}

DeclaredCall Arguments::call(const Method& method) {
  DeclaredCall call{&method, self(method), {}};
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    call.arguments.push_back(value(method.declaration.parameters[i]));
  }
  return call;
}

DeclaredCall Arguments::assignment(const Method& method) {
  DeclaredCall assignment = call(method);
  assignment.assigned = ofType(method.declaration.result);
  return assignment;
}

// --- What can be seen ---------------------------------------------------------------------------

std::vector<Value> objectsIn(const host::Instance& instance) {
  std::vector<Value> objects;
  const REALclassDefinition& definition = *instance.info().definition;
  for (int i = 0; i < definition.propertyCount; ++i) {
    const Value value = instance.property(definition.properties[i].name);
    if (value.isObject()) objects.push_back(value);
  }
  return objects;
}

std::string contents(const Value& value, bool words) {
  std::string bytes = value.typeName();
  if (const host::PictureRef picture = value.picture()) {
    append(bytes, picture->width());
    append(bytes, picture->height());
    if (!picture->hasStorage()) return bytes;
    const bool all = words && picture->options().storage != Storage::kDrawable;
    for (const uint32_t pixel : all ? picture->words() : picture->pixels()) append(bytes, pixel);
  } else if (const host::BlockRef block = value.block()) {
    const std::span<uint8_t> data = block->bytes();
    bytes.append(data.begin(), data.end());
  } else if (const host::StringRef string = value.string()) {
    bytes += string->bytes();
  } else if (const host::InstanceRef instance = value.instance()) {
    for (const Value& object : objectsIn(*instance)) bytes += contents(object, words);
  } else if (!value.isNil()) {
    append(bytes, value.number());
    append(bytes, value.boolean());
  }
  return bytes;
}

std::string contents(const DeclaredCall& call, const Answer& answer, bool words) {
  std::string bytes = contents(answer.result.value, words);
  for (const host::ByReferenceResult& variable : answer.result.byReference) {
    bytes += contents(variable.value, words);
  }
  if (answer.exception) bytes += answer.exception->className + answer.exception->message;
  if (const host::PictureRef picture = call.self.picture()) {
    if (host::Picture* mask = picture->mask(false)) {
      bytes += contents(host::PictureRef(mask), words);
    }
  }
  return bytes + contents(call.self, words);
}

std::string coloursOf(const DeclaredCall& call, const Answer& answer) {
  std::string bytes;
  const auto add = [&](const host::Value& value) {
    const host::PictureRef picture = value.picture();
    if (!picture) {
      bytes += contents(value);
    } else if (picture->hasStorage()) {
      append(bytes, picture->width());
      for (const uint32_t pixel : picture->pixels()) append(bytes, pixel & 0xFFFFFF);
    }
  };
  add(answer.result.value);
  for (const host::ByReferenceResult& variable : answer.result.byReference) add(variable.value);
  if (const host::InstanceRef instance = call.self.instance()) {
    for (const Value& object : objectsIn(*instance)) add(object);
  } else if (call.self.picture()) {
    add(call.self);
  }
  return bytes;
}

// --- Scenes -------------------------------------------------------------------------------------

namespace {

// The plug-in's memory is watched from before it is loaded.
host::Settings watched(host::Settings settings) {
  heap::beginWatching();
  return settings;
}

}  // namespace

Scene::Scene(const Context& context, Log& where, host::Settings settings)
    : log(where), host(watched(std::move(settings))), plugin(context.plugin) {
  heap::findPlugin();
  if (host.settings.newPictures.storage == Storage::kDrawable) host::displayAvailable();
  watches_ = std::make_unique<Watches>();
}

Answer Scene::make(const DeclaredCall& call, const std::string& circumstances) {
  log.doing(call.text() + (circumstances.empty() ? "" : " while " + circumstances));
  log.countCall();
  Answer answer{{call.method, {}, {}}, {}};
  try {
    if (call.assigned) {
      plugin.assign(*call.method, call.self, call.arguments, *call.assigned);
    } else {
      answer.result = plugin.invoke(*call.method, call.self, call.arguments);
    }
  } catch (const host::ExceptionRaised& raised) {
    answer.exception = raised.exception();
  }
  return answer;
}

std::string_view checkOf(host::Problem::Kind kind) {
  using Kind = host::Problem::Kind;
  switch (kind) {
    case Kind::kLeak:
      return "accounts.references";
    case Kind::kOverRelease:
      return "accounts.releases";
    case Kind::kLock:
      return "accounts.locks";
    case Kind::kText:
      return "accounts.texts";
    case Kind::kException:
      return "accounts.exceptions";
    case Kind::kResult:
      return "calls.result";
    case Kind::kMisuse:
      break;
  }
  return "accounts.handles";
}

bool Scene::settleAccounts(std::string_view check) {
  const std::vector<host::Problem> problems = host.problems();
  for (const host::Problem& problem : problems) {
    log.fail(check.empty() ? checkOf(problem.kind) : check, problem.text);
  }
  return problems.empty();
}

bool Scene::settle(std::string_view check) {
  const bool balanced = settleAccounts(check);
  return watches_->compare(log, check) && balanced;
}

// --- Cases --------------------------------------------------------------------------------------

bool takes(const Method& method, Type type) {
  const grammar::Declaration& declaration = method.declaration;
  for (int i = 0; i < declaration.parameterCount; ++i) {
    const grammar::Parameter& parameter = declaration.parameters[i];
    if (parameter.type == type && !parameter.byReference) return true;
  }
  return method.assignable() && declaration.result == type;
}

std::vector<Case> everyMethodAndLayout(const Context& context, Log& log,
                                       bool (*applies)(const Method&), bool drawables) {
  const Scene scene(context, log, kLayouts[0]);
  const int count = drawables ? availableLayouts() : static_cast<int>(std::size(kLayouts)) - 1;
  std::vector<Case> cases;
  // Drawables last: where there are none, all other cases still have the same numbers.
  for (int layout = 0; layout < count; ++layout) {
    for (size_t method = 0; method < scene.plugin.methods().size(); ++method) {
      if (applies && !applies(scene.plugin.methods()[method])) continue;
      Case c;
      c.method = static_cast<int16_t>(method);
      c.layout = static_cast<int16_t>(layout);
      cases.push_back(c);
    }
  }
  return cases;
}

std::vector<Case> everyMethod(const Context& context, Log& log) {
  std::vector<Case> cases;
  for (const Case& c : everyMethodAndLayout(context, log)) {
    if (c.layout == 0) cases.push_back(c);
  }
  return cases;
}

}  // namespace zvk::validation
