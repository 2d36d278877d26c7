// Random calls of anything with anything, one after another in one process.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Scene.h"
#include "host/pictures/Display.h"
#include "host/services/Service.h"

namespace zvk::validation {

namespace {

using grammar::Type;
using host::Method;
using host::Storage;
using host::Value;

constexpr int kCallsPerSequence = 400;
constexpr size_t kMostKept = 24;  ///< objects of each kind that a program keeps

/// A program of the host language that has lost its mind.
class Program {
 public:
  Program(Scene& scene, const Layout& layout, uint32_t seed)
      : scene_(scene), random_(seed), options_(layout.options) {}

  void run() {
    for (int i = 0; i < kCallsPerSequence && !scene_.log.failed(); ++i) {
      step();
      if (!scene_.settleAccounts("sequences.accounts")) return;
    }
    // The objects that are left go, and with them instances and what these hold.
    scene_.log.doing("the end of the sequence");
    pictures_.clear();
    blocks_.clear();
    strings_.clear();
    instances_.clear();
  }

 private:
  uint32_t roll(uint32_t sides) { return static_cast<uint32_t>(random_()) % sides; }

  template <typename T>
  T kept(std::vector<T>& values) {
    return values.empty() ? T() : values[roll(static_cast<uint32_t>(values.size()))];
  }
  template <typename T>
  void keep(std::vector<T>& values, T value) {
    if (!value) return;
    if (values.size() >= kMostKept) values.erase(values.begin() + roll(kMostKept));
    values.push_back(std::move(value));
  }

  host::PictureRef newPicture() {
    constexpr int kSides[] = {1, 2, 3, 5, 8, 16, 17, 33, 40};
    const Size size{kSides[roll(std::size(kSides))], kSides[roll(std::size(kSides))]};
    host::PictureOptions options = options_;
    options.alpha = options.storage != Storage::kDrawable && roll(2);
    const host::PictureRef picture =
        scene_.host.newPicture(size.width, size.height, variedPixels(size, random_), options);
    if (picture && roll(4) == 0) picture->mask(true);
    return picture;
  }

  Value number(Type type) {
    constexpr int32_t kOdd[] = {
        0,     1,   -1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
        32768, -77, 255};
    constexpr double kOddNumbers[] = {
        0, -1, 1e300, std::numeric_limits<double>::infinity(), std::nan(""), -0.0, 255, 1e-300};
    const bool odd = roll(3) == 0;
    if (type == Type::kDouble) {
      return odd ? kOddNumbers[roll(std::size(kOddNumbers))] : roll(4001) / 1000.0 - 2;
    }
    const int32_t whole = odd ? kOdd[roll(std::size(kOdd))] : static_cast<int32_t>(roll(50)) - 10;
    if (type == Type::kInteger) return whole;
    return host::Color{odd ? static_cast<uint32_t>(whole) : roll(0x1000000)};
  }

  Value value(Type type) {
    const bool fresh = roll(3) == 0;
    switch (type) {
      case Type::kPicture:
        if (roll(24) == 0) return nullptr;
        if (fresh || pictures_.empty()) keep(pictures_, newPicture());
        return kept(pictures_);
      case Type::kMemoryBlock:
        if (roll(24) == 0) return nullptr;
        if (fresh || blocks_.empty()) {
          keep(blocks_, scene_.host.newBlock(static_cast<int>(roll(4) ? 1024 : roll(1500)),
                                             host::Placement::kGuarded));
        }
        return kept(blocks_);
      case Type::kString:
        if (fresh || strings_.empty()) {
          keep(strings_, Arguments(scene_.plugin, options_, {3, 2}, roll(100)).string());
        }
        return kept(strings_);
      case Type::kBoolean:
        return roll(2) == 1;
      case Type::kNothing:
        return {};
      default:
        return number(type);
    }
  }

  Value self(const Method& method) {
    if (method.kind == Method::Kind::kGlobal) return {};
    if (method.kind == Method::Kind::kPicture) return value(Type::kPicture);
    std::vector<host::InstanceRef> fitting;
    for (const host::InstanceRef& instance : instances_) {
      if (instance->className() == method.className) fitting.push_back(instance);
    }
    if (fitting.empty() || roll(6) == 0) {
      fitting = {scene_.plugin.newInstance(method.className)};
      keep(instances_, fitting.front());
    }
    const host::InstanceRef instance = kept(fitting);
    writeProperties(*instance);
    return instance;
  }

  void writeProperties(host::Instance& instance) {
    const REALclassDefinition& definition = *instance.info().definition;
    for (int i = 0; i < definition.propertyCount; ++i) {
      if (roll(3) != 0) continue;
      const char* name = definition.properties[i].name;
      const Value present = instance.property(name);
      const Type type = present.isObject()   ? Type::kPicture
                        : present.isDouble() ? Type::kDouble
                                             : Type::kInteger;
      instance.setProperty(name, value(type));
    }
  }

  void take(const Value& value) {
    keep(pictures_, value.picture());
    keep(blocks_, value.block());
    keep(strings_, value.string());
  }

  // Now and then some service fails from some use on.
  std::string breakSomething() {
    const auto services = host::allServices();
    const host::Service& service = *services[roll(static_cast<uint32_t>(services.size()))];
    if (!service.canFail) return "";
    scene_.host.failFrom(service.name, 1 + static_cast<int>(roll(3)));
    return std::string(service.name) + " fails";
  }

  void step() {
    const auto& methods = scene_.plugin.methods();
    const Method& method = methods[roll(static_cast<uint32_t>(methods.size()))];
    DeclaredCall call{&method, self(method), {}};
    for (int i = 0; i < method.declaration.parameterCount; ++i) {
      const grammar::Parameter& parameter = method.declaration.parameters[i];
      const bool left = parameter.byReference && roll(2);
      call.arguments.push_back(left ? Value() : value(parameter.type));
    }
    if (method.assignable() && roll(2)) call.assigned = value(method.declaration.result);
    const std::string broken = roll(8) == 0 ? breakSomething() : "";
    const Answer answer = scene_.make(call, broken);
    if (!broken.empty()) {
      for (const host::Service* service : host::allServices()) scene_.host.restore(service->name);
    }
    take(answer.result.value);
    for (const host::ByReferenceResult& variable : answer.result.byReference) take(variable.value);
  }

  Scene& scene_;
  std::mt19937 random_;
  host::PictureOptions options_;
  std::vector<host::PictureRef> pictures_;
  std::vector<host::BlockRef> blocks_;
  std::vector<host::StringRef> strings_;
  std::vector<host::InstanceRef> instances_;
};

void sequence(const Context& context, const Case& c, Log& log) {
  constexpr std::optional<double> kVersions[] = {std::nullopt, 2009.0,  2010.029, 2011.04,
                                                 2012.0,       2019.02, 2019.02};
  std::mt19937 random(context.seed * 0x9E3779B1U + static_cast<uint32_t>(c.a));
  // Drawables are a hundred times slower than the others.
  const bool drawable = random() % 16 == 0 && host::displayAvailable();
  const size_t memory = layouts().size() - 1;
  const Layout& layout = layouts()[drawable ? memory : random() % memory];
  host::Settings settings = settingsFor(layout.options);
  settings.version = kVersions[random() % std::size(kVersions)];
  settings.pictureByteLimit = size_t{1} << 16;
  settings.freshPixel = static_cast<uint32_t>(random());
  settings.placement = host::Placement::kGuarded;
  Scene scene(context, log, settings);
  Program(scene, layout, static_cast<uint32_t>(random())).run();
  if (!log.failed()) scene.settle("sequences.process");
}

constexpr Trial kTrials[] = {
    {"sequences.survive", "sequences.accounts sequences.process", nullptr, sequence},
};

}  // namespace

std::span<const Trial> sequenceTrials() { return kTrials; }

}  // namespace zvk::validation
