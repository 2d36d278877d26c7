// zvk run: applies calls to a picture, one after another.
#include <cstdio>
#include <new>

#include "Arguments.h"
#include "Needs.h"
#include "Output.h"
#include "Plan.h"
#include "Preview.h"
#include "Report.h"
#include "Speech.h"
#include "Tool.h"

namespace zvk {

using grammar::Type;
using host::Method;
using host::Value;

namespace {

class Runner {
 public:
  Runner(host::Host& host, const CommonOptions& common, const RunOptions& options)
      : host_(host),
        options_(options),
        plugin_(common.plugin),
        reader_(host, options.files),
        steps_(planned(plugin_, reader_, options.calls)) {}

  void run() {
    checkOutput();
    loadInput();
    for (const Step& step : steps_) {
      const Stage stage(step.name);
      step.info ? applyClass(step) : applyMethod(step);
    }
    if (!options_.output.empty()) save();
    if (options_.preview && current_.picture) preview(*current_.picture);
  }

  /// As far as that can be known without the input.
  void checkOutput() const {
    if (!options_.files.background.empty()) colorOf(options_.files.background, "--background");
    if (options_.output.empty() && !options_.preview && steps_.back().givesPicture()) {
      throw InputError(steps_.back().name +
                       " gives a picture; -o FILE saves it, --preview shows it");
    }
    requireUseOfOptions();
    if (const auto picture = endsWithPicture(steps_)) requireResult(*picture);
  }

 private:
  // --- Input and output ---

  void requireUseOfOptions() const {
    if (!options_.output.empty()) return;
    const FileOptions& files = options_.files;
    const char* useless = !files.format.empty() ? "--format"
                          : files.quality       ? "--quality"
                          : files.compression   ? "--compression"
                                                : nullptr;
    if (useless != nullptr) {
      throw InputError(std::string(useless) + ": nothing is saved; -o FILE saves the last picture");
    }
  }

  void requireResult(bool picture) const {
    if (!options_.output.empty()) requireOutput(options_.output, options_.files, picture);
    if (options_.preview && !picture) {
      throw InputError("--preview: the result is bytes, not a picture");
    }
  }

  void loadInput() {
    const std::string name = host::inputName(options_.input);
    const Stage stage("reading " + name);
    const std::string bytes = reader_.bytesOf(options_.input);
    const bool picture = host::isPicture(bytes);
    const std::string origin = bytes.empty() ? name + " (an empty file)" : name;
    requireKinds(steps_, picture, origin);
    if (!endsWithPicture(steps_)) requireResult(picture);
    current_ = {nullptr, picture ? "" : bytes, origin};
    if (!picture) return;
    host::LoadedPicture loaded = reader_.loadPicture(bytes, options_.input, options_.files.alpha);
    current_.picture = loaded.picture;
    const std::string& mask = options_.files.mask;
    if (!mask.empty()) {
      host::PictureOptions layout = loaded.picture->options();
      layout.alpha = false;
      const host::LoadOptions options{.layout = layout, .damaged = options_.files.damaged};
      current_.picture->setMask(
          host::loadPicture(host_, reader_.bytesOf(mask), host::inputName(mask), options).picture);
      requireMaskSize();
    }
    current_.transparent = loaded.transparent && loaded.picture->hasAlpha();
    extras_ = loaded.header.extras;
  }

  void requireMaskSize() const {
    const host::Picture& picture = *current_.picture;
    const host::Picture& mask = *current_.picture->mask(false);
    if (mask.width() == picture.width() && mask.height() == picture.height()) return;
    throw InputError("--mask: the mask must be as large as the picture, " +
                     std::to_string(picture.width()) + " x " + std::to_string(picture.height()));
  }

  void save() const {
    const std::string& path = options_.output;
    if (!current_.picture) return host::writeFile(path, current_.bytes);
    saveResult(*current_.picture, path, options_.files, extras_);
  }

  // --- Methods ---

  Value valueOf(const Bound& bound) const {
    return bound.value ? *bound.value : reader_.take(bound.type, current_, bound.place);
  }

  void applyMethod(const Step& step) {
    const Method& method = *step.method;
    Value self;
    if (method.kind == Method::Kind::kPicture) {
      self = reader_.take(Type::kPicture, current_, step.name);
    }
    std::vector<Value> arguments;
    for (const Bound& argument : step.arguments) arguments.push_back(valueOf(argument));
    const Value assigned = step.assigned ? valueOf(*step.assigned) : Value();
    const Given given{method, self.picture(), arguments, step.assigned ? &assigned : nullptr};
    const std::string reason = whyWithoutEffect(given);
    if (!reason.empty()) throw CallFailed(step.name + " changes nothing: " + reason);
    if (const std::string remark = remarkOn(given); !remark.empty()) note(remark);
    try {
      if (step.assigned) {
        const std::vector<uint32_t> before = host::visiblePixels(*current_.picture);
        plugin_.assign(method, self, arguments, assigned);
        keepColors(*current_.picture, before);
        current_.transparent = host::isTransparent(*current_.picture);
      } else {
        const host::CallResult result = plugin_.invoke(method, self, arguments);
        requireSuccess(result, given);
        take(result, step);
      }
    } catch (const host::ExceptionRaised& exception) {
      throw CallFailed(step.name + " raised " + exception.what());
    }
  }

  // An assigned mask changes the alpha bytes alone; cairo's colours are multiplied by them.
  static void keepColors(host::Picture& picture, const std::vector<uint32_t>& before) {
    if (picture.options().storage != host::Storage::kCairo) return;
    std::vector<uint32_t> words = picture.words();
    for (size_t i = 0; i < words.size(); ++i) {
      words[i] = host::premultiplied((words[i] & 0xFF000000) | (before[i] & 0xFFFFFF));
    }
    picture.setWords(words);
  }

  void take(const host::CallResult& result, const Step& step) {
    const host::StringRef string = result.value.string();
    const host::BlockRef block = result.value.block();
    if (const host::PictureRef picture = result.value.picture()) {
      takePicture(picture, step.name);
    } else if (string) {
      current_ = {nullptr, std::string(string->bytes()), step.name + "'s result"};
    } else if (block) {
      const auto bytes = block->bytes();
      current_ = {nullptr, std::string(bytes.begin(), bytes.end()), step.name + "'s result"};
    }
    // What goes to standard output stays alone there.
    FILE* to = options_.output == host::kStandard ? stderr : stdout;
    const bool saved = (string || block) && !options_.output.empty();
    if (options_.json) {
      printJson(to, result, options_.label);
    } else if (!saved) {
      printResult(to, result, options_.label, countPrinting() > 1);
    }
  }

  /// How many calls give something to print.
  size_t countPrinting() const {
    size_t count = 0;
    for (const Step& step : steps_) count += !step.givesPicture() && !step.assigned;
    return count;
  }

  // Methods without a result tell a failure by a count below 0.
  static void requireSuccess(const host::CallResult& result, const Given& given) {
    const bool nil = result.value.isNil();
    const bool negative = result.value.isNothing() && !result.byReference.empty() &&
                          result.byReference.back().value.isInteger() &&
                          result.byReference.back().value.integer() < 0;
    if (nil || negative) {
      throw CallFailed(std::string(given.method.name()) + " failed: " + whyFailed(given));
    }
  }

  void takePicture(const host::PictureRef& picture, const std::string& by) {
    if (current_.picture && current_.picture != picture && current_.picture->mask(false)) {
      note(by + " gives a picture without the separate mask of its source");
    }
    bool transparent = false;
    if (current_.transparent) {
      makeOpaqueWhereUnset(*picture);
      transparent = host::isTransparent(*picture);
      // A mask is opaque by nature.
      if (!transparent && by != "EmbeddedMaskZVK") {
        note(by + " gives an opaque picture; the transparency of " + current_.origin + " is gone");
      }
    }
    current_ = {picture, "", by + "'s result", transparent};
  }

  // The plug-in leaves the alpha of results in records 0, which reads as fully transparent.
  static void makeOpaqueWhereUnset(host::Picture& picture) {
    if (!picture.hasAlpha() || picture.options().storage != host::Storage::kRecord) return;
    std::vector<uint32_t> words = picture.words();
    for (const uint32_t word : words) {
      if (word >> 24 != 0) return;
    }
    for (uint32_t& word : words) word |= 0x7F000000;
    picture.setWords(words);
  }

  // --- Classes ---

  void applyClass(const Step& step) {
    const Value source = reader_.take(Type::kPicture, current_, step.name);
    try {
      const host::InstanceRef instance = plugin_.newInstance(step.name);
      instance->setProperty("SourcePicture", source);
      Properties properties;
      for (const Setting& setting : step.settings) {
        if (setting.table) {
          assignCube(plugin_, instance, *setting.table, *setting.cube);
        } else {
          const Value value = valueOf(setting.value);
          properties[setting.property->name] = value;
          instance->setProperty(setting.property->name, value);
        }
      }
      const std::string remark = remarkOn(properties, source.picture());
      if (!remark.empty()) note(step.name + ": " + remark);
      const bool done = plugin_.call(instance, "Run").boolean();
      const host::PictureRef result = instance->property("DestinationPicture").picture();
      plugin_.call(instance, "Close");
      if (!done || !result) {
        throw CallFailed(step.name + " failed: Run gave false; memory may be short");
      }
      takePicture(result, step.name);
    } catch (const host::ExceptionRaised& exception) {
      throw CallFailed(step.name + " raised " + exception.what());
    }
  }

  host::Host& host_;
  const RunOptions& options_;
  host::Plugin plugin_;
  ArgumentReader reader_;
  std::vector<Step> steps_;
  Current current_;
  host::PictureExtras extras_;  ///< of the input, for the output
};

}  // namespace

int run(const CommonOptions& common, const RunOptions& options) {
  return inHost(common, [&](host::Host& host) { Runner(host, common, options).run(); });
}

int check(const CommonOptions& common, const RunOptions& options) {
  return inHost(common, [&](host::Host& host) { Runner(host, common, options).checkOutput(); });
}

}  // namespace zvk
