#include "EveryMethod.h"

#include <cstring>
#include <random>

namespace test {

namespace {

using grammar::Type;
using host::Value;

/// Makes arguments up, each from its declared type.
class Arguments {
 public:
  Arguments(const host::Plugin& plugin, const host::PictureOptions& options, int width, int height,
            uint32_t seed)
      : plugin_(plugin), options_(options), width_(width), height_(height), random_(seed) {}

  host::PictureRef picture() {
    std::vector<uint32_t> pixels(static_cast<size_t>(width_) * static_cast<size_t>(height_));
    // Colours repeat, greys are frequent, edges are white: every branch has pixels to take.
    for (size_t i = 0; i < pixels.size(); ++i) {
      const auto value = static_cast<uint32_t>(random_());
      const uint32_t grey = (value & 0xFF) * 0x010101U;
      const uint32_t colour = i % 5 == 0 ? 0xFFFFFF : i % 3 == 0 ? grey : value & 0xF0F0F0;
      pixels[i] = (value & 0xFF000000) | colour;
    }
    if (single()) pixels[0] = 0xFF000000 | blackOrWhite();
    return plugin_.host().newPicture(width_, height_, pixels, options_);
  }

  host::BlockRef block() {
    std::vector<uint8_t> bytes(1024);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
    return plugin_.host().newBlock(bytes);
  }

  Value value(const grammar::Parameter& parameter) {
    if (parameter.byReference) return {};
    switch (parameter.type) {
      case Type::kPicture:
        return picture();
      case Type::kMemoryBlock:
        return block();
      case Type::kString:
        return plugin_.callGlobal("PicturetoBinaryStringZVK", picture());
      case Type::kInteger:
        return static_cast<int>(random_() % 11) - 2;
      case Type::kColor:
        return single() ? host::Color{blackOrWhite()}
                        : host::Color{static_cast<uint32_t>(random_()) & 0xFFFFFF};
      case Type::kBoolean:
        return (random_() & 1) != 0;
      case Type::kDouble:
        return static_cast<double>(random_() % 4001) / 1000 - 2;
      case Type::kNothing:
        break;
    }
    return {};
  }

  Value self(const host::Method& method) {
    if (method.kind == host::Method::Kind::kPicture) return picture();
    if (method.kind == host::Method::Kind::kGlobal) return {};
    const host::InstanceRef instance = plugin_.newInstance(method.className);
    instance->setProperty("SourcePicture", picture());
    return instance;
  }

 private:
  /// Pictures of one pixel have the colours that pictures are searched for.
  bool single() const { return width_ == 1 && height_ == 1; }
  uint32_t blackOrWhite() { return (random_() & 1) != 0 ? 0xFFFFFF : 0; }

  const host::Plugin& plugin_;
  host::PictureOptions options_;
  int width_, height_;
  std::mt19937 random_;
};

/// FNV-1a over whatever can come back from a call, a word at a time.
class Digest {
 public:
  void add(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    size_t i = 0;
    for (uint32_t word; i + sizeof word <= size; i += sizeof word) {
      memcpy(&word, bytes + i, sizeof word);
      take(word);
    }
    for (; i < size; ++i) take(bytes[i]);
  }
  template <typename T>
  void addNumber(T number) {
    add(&number, sizeof number);
  }
  void add(const Value& value) {
    const std::string type = value.typeName();
    add(type.data(), type.size());
    if (const host::PictureRef picture = value.picture()) {
      const std::vector<uint32_t> words = picture->words();
      addNumber(picture->width());
      add(words.data(), words.size() * sizeof words[0]);
    } else if (const host::BlockRef block = value.block()) {
      add(block->bytes().data(), block->bytes().size());
    } else if (const host::StringRef string = value.string()) {
      add(string->bytes().data(), string->bytes().size());
    } else if (const host::InstanceRef instance = value.instance()) {
      add(instance->property("DestinationPicture"));
    } else {
      addNumber(value.number());
      addNumber(value.boolean());
    }
  }
  uint64_t sum() const { return sum_; }

 private:
  void take(uint32_t number) { sum_ = (sum_ ^ number) * 0x100000001B3ULL; }

  uint64_t sum_ = 0xCBF29CE484222325ULL;
};

}  // namespace

DeclaredCall callOf(const host::Plugin& plugin, const host::Method& method,
                    const host::PictureOptions& options, int width, int height, uint32_t seed) {
  // A seed for each method, so that one more of them leaves the others' arguments as they were.
  for (const char c : method.text()) seed = seed * 31 + static_cast<uint8_t>(c);
  Arguments arguments(plugin, options, width, height, seed);
  DeclaredCall call{&method, arguments.self(method), {}};
  for (int i = 0; i < method.declaration.parameterCount; ++i) {
    call.arguments.push_back(arguments.value(method.declaration.parameters[i]));
  }
  return call;
}

std::vector<DeclaredCall> everyCall(const host::Plugin& plugin, const host::PictureOptions& options,
                                    int width, int height, uint32_t seed) {
  std::vector<DeclaredCall> calls;
  for (const host::Method& method : plugin.methods()) {
    calls.push_back(callOf(plugin, method, options, width, height, seed));
  }
  return calls;
}

host::CallResult make(const host::Plugin& plugin, const DeclaredCall& call) {
  try {
    return plugin.invoke(*call.method, call.self, call.arguments);
  } catch (const host::ExceptionRaised&) {
    return {call.method, {}, {}};
  }
}

uint64_t digest(const host::Plugin& plugin, const DeclaredCall& call) {
  Digest sum;
  const host::CallResult outcome = make(plugin, call);
  sum.add(outcome.value);
  for (const host::ByReferenceResult& result : outcome.byReference) sum.add(result.value);
  sum.add(call.self);
  return sum.sum();
}

}  // namespace test
