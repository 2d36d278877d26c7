#include "Needs.h"

#include <cstdint>

namespace zvk {

using host::PictureRef;
using host::Value;

namespace {

constexpr int kLargestSide = 32767;

std::string sizeOf(const PictureRef& picture) {
  return std::to_string(picture->width()) + " x " + std::to_string(picture->height());
}

PictureRef pictureAt(const Given& given, size_t index) {
  return index < given.arguments.size() ? given.arguments[index].picture() : PictureRef();
}

std::string nameAt(const Given& given, size_t index) {
  return std::string(given.method.declaration.parameters[index].name);
}

// --- Why calls fail -----------------------------------------------------------------------------

std::string differentSizes(const Given& given) {
  std::string sizes;
  for (size_t i = 0; i < given.arguments.size(); ++i) {
    const PictureRef picture = pictureAt(given, i);
    if (!picture) return nameAt(given, i) + " is nil";
    sizes += (i == 0 ? "" : ", ") + nameAt(given, i) + " " + sizeOf(picture);
  }
  return "the pictures must have one size (" + sizes + ")";
}

std::string smallChannel(const Given& given) {
  const PictureRef channel = pictureAt(given, 0);
  if (!channel ||
      (channel->width() >= given.self->width() && channel->height() >= given.self->height())) {
    return "";
  }
  return "the channel picture of " + sizeOf(channel) + " must be at least " + sizeOf(given.self);
}

std::string shortBlock(const Given& given, size_t needed) {
  for (size_t i = 0; i < given.arguments.size(); ++i) {
    const host::BlockRef block = given.arguments[i].block();
    if (!block || block->bytes().size() >= needed) continue;
    return "the block " + nameAt(given, i) + " has " + std::to_string(block->bytes().size()) +
           " bytes; it must have " + std::to_string(needed);
  }
  return "";
}

std::string shortTable(const Given& given) { return shortBlock(given, 256); }
std::string shortHistogram(const Given& given) { return shortBlock(given, 1024); }

std::string brokenString(const Given& given) {
  const host::StringRef string = given.arguments.at(0).string();
  const std::string_view bytes = string ? string->bytes() : std::string_view();
  constexpr size_t kHeader = 40;
  const auto word = [&](size_t at) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
  };
  if (!bytes.starts_with("PPIC")) return "the data does not begin with PPIC, as such strings do";
  if (bytes.size() < kHeader) {
    return "the data has " + std::to_string(bytes.size()) + " bytes; its header alone has 40";
  }
  const uint32_t length = word(4), width = word(8), height = word(12);
  if (length != bytes.size()) {
    return "the data has " + std::to_string(bytes.size()) + " bytes; its header says " +
           std::to_string(length);
  }
  const std::string size = std::to_string(width) + " x " + std::to_string(height);
  if (width < 1 || width > kLargestSide || height < 1 || height > kLargestSide) {
    return "its header says " + size + " pixels; sides of 1 to 32767 are possible";
  }
  return "its header says " + size + " pixels, which do not fit into " +
         std::to_string(bytes.size()) + " bytes";
}

std::string longString(const Given& given) {
  const PictureRef picture = pictureAt(given, 0);
  constexpr int64_t kMost = INT32_MAX - 40;
  if (!picture || int64_t{3} * picture->width() * picture->height() <= kMost) return "";
  return sizeOf(picture) + " pixels are too many for a string of 2147483647 bytes";
}

// --- Why calls have no effect -------------------------------------------------------------------

std::string cannotScroll(const Given& given) {
  if (given.self->options().storage != host::Storage::kDrawable) return "";
  return "pictures in drawable storage cannot be changed in place; possible are --storage cairo "
         "and record";
}

std::string takesNoMask(const Given& given) {
  if (!given.assigned || given.self->hasAlpha()) return "";
  return given.self->options().storage == host::Storage::kDrawable
             ? "pictures in drawable storage have no alpha channel; possible are --storage cairo "
               "and record"
             : "the picture has no alpha channel to take the mask; --alpha gives the input one";
}

// --- Arguments that are never sensible ----------------------------------------------------------

std::string wrongWave(const host::Method& method, const std::vector<Value>& arguments) {
  constexpr size_t kSmooth = 2, kWidth = 3;
  if (arguments.size() > kSmooth && arguments[kSmooth].integer() < 1) {
    return "Smooth " + std::to_string(arguments[kSmooth].integer()) +
           " gives no curve; 1 is none, more is smoother";
  }
  for (size_t i = kWidth; i < kWidth + 2 && i < arguments.size(); ++i) {
    if (arguments[i].integer() <= kLargestSide) continue;
    return std::string(method.declaration.parameters[i].name) + " " +
           std::to_string(arguments[i].integer()) + " is too large; 32767 is possible";
  }
  return "";
}

struct Need {
  std::string_view method;
  std::string (*failure)(const Given&) = nullptr;
  std::string (*withoutEffect)(const Given&) = nullptr;
  std::string (*wrong)(const host::Method&, const std::vector<Value>&) = nullptr;
};
constexpr Need kNeeds[] = {
    {.method = "CombinePicturesZVK", .failure = differentSizes},
    {.method = "MergePictureZVK", .failure = differentSizes},
    {.method = "ReplaceRedChannelZVK", .failure = smallChannel},
    {.method = "ReplaceGreenChannelZVK", .failure = smallChannel},
    {.method = "ReplaceBlueChannelZVK", .failure = smallChannel},
    {.method = "TransformColorsZVK", .failure = shortTable},
    {.method = "CountColorsZVK", .failure = shortHistogram},
    {.method = "BinaryStringtoPictureZVK", .failure = brokenString},
    {.method = "PicturetoBinaryStringZVK", .failure = longString},
    {.method = "ScrollZVK", .withoutEffect = cannotScroll},
    {.method = "ScrollVerticalZVK", .withoutEffect = cannotScroll},
    {.method = "ScrollHorizontalZVK", .withoutEffect = cannotScroll},
    {.method = "EmbeddedMaskZVK", .withoutEffect = takesNoMask},
    {.method = "RenderSamplesZVK", .wrong = wrongWave},
};

const Need& needOf(const host::Method& method) {
  static constexpr Need kNone{};
  for (const Need& need : kNeeds) {
    if (grammar::equalIgnoringCase(need.method, method.name())) return need;
  }
  return kNone;
}

}  // namespace

std::string wrongArguments(const host::Method& method, const std::vector<Value>& arguments) {
  const auto wrong = needOf(method).wrong;
  return wrong ? wrong(method, arguments) : "";
}

std::string whyWithoutEffect(const Given& given) {
  const auto reason = needOf(given.method).withoutEffect;
  return reason && given.self ? reason(given) : "";
}

std::string remarkOn(const Given& given) {
  const auto& arguments = given.arguments;
  const bool scrolls = needOf(given.method).withoutEffect == cannotScroll;
  if (!scrolls || arguments.empty() || !arguments.back().boolean() || given.self->mask(false)) {
    return "";
  }
  return "there is no separate mask to scroll; --mask FILE gives one";
}

std::string whyFailed(const Given& given) {
  const auto reason = needOf(given.method).failure;
  std::string text = reason ? reason(given) : "";
  if (!text.empty()) return text;
  return "the plug-in gave no reason; memory may be short";
}

}  // namespace zvk
