#include "Needs.h"

#include <algorithm>
#include <cstdint>

#include "Report.h"
#include "host/files/PictureFile.h"

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

int64_t numberAt(const std::vector<Value>& arguments, size_t index) {
  const bool known = index < arguments.size() && arguments[index].isInteger();
  return known ? arguments[index].integer() : 0;
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

std::string largeChannel(const Given& given) {
  const PictureRef channel = pictureAt(given, 0);
  if (!channel ||
      (channel->width() <= given.self->width() && channel->height() <= given.self->height())) {
    return "";
  }
  return "the channel picture is " + sizeOf(channel) + ", the picture " + sizeOf(given.self) +
         "; its top left part is taken";
}

std::string shortBlock(const Given& given, size_t needed) {
  for (size_t i = 0; i < given.arguments.size(); ++i) {
    const host::BlockRef block = given.arguments[i].block();
    if (!block || block->bytes().size() >= needed) continue;
    return "the block " + nameAt(given, i) + " has " + bytesInWords(block->bytes().size()) +
           "; it must have " + std::to_string(needed);
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
    return "the data has " + bytesInWords(bytes.size()) + "; its header alone has 40";
  }
  const uint32_t length = word(4), width = word(8), height = word(12);
  if (length != bytes.size()) {
    return "the data has " + bytesInWords(bytes.size()) + "; its header says " +
           std::to_string(length);
  }
  const std::string size = std::to_string(width) + " x " + std::to_string(height);
  if (width < 1 || width > kLargestSide || height < 1 || height > kLargestSide) {
    return "its header says " + size + " pixels; sides of 1 to 32767 are possible";
  }
  return "its header says " + size + " pixels, which do not fit into " + bytesInWords(bytes.size());
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
  if (given.assigned == nullptr || given.self->hasAlpha()) return "";
  return given.self->options().storage == host::Storage::kDrawable
             ? "pictures in drawable storage have no alpha channel; possible are --storage cairo "
               "and record"
             : "the picture has no alpha channel to take the mask; --alpha gives the input one";
}

// --- What may not be expected -------------------------------------------------------------------

std::string noMaskToScroll(const Given& given) {
  if (given.arguments.empty() || !given.arguments.back().boolean() || given.self->mask(false)) {
    return "";
  }
  return "there is no separate mask to scroll; --mask FILE gives one";
}

std::string maskDiffers(const Given& given) {
  if (given.assigned == nullptr) {
    return given.self->hasAlpha() ? ""
                                  : "the picture has no alpha channel; its mask is of one colour";
  }
  const PictureRef mask = given.assigned->picture();
  if (!mask || (mask->width() == given.self->width() && mask->height() == given.self->height())) {
    return "";
  }
  return "the mask is " + sizeOf(mask) + ", the picture " + sizeOf(given.self) +
         "; what they share from the top left is set";
}

std::string largerNeedle(const Given& given) {
  const PictureRef needle = pictureAt(given, 0);
  if (!needle ||
      (needle->width() <= given.self->width() && needle->height() <= given.self->height())) {
    return "";
  }
  return "what is searched for, " + sizeOf(needle) + ", is larger than the picture, " +
         sizeOf(given.self);
}

std::string emptyRectangle(const PictureRef& picture) {
  return "no pixel of the picture, " + sizeOf(picture) + ", lies in the rectangle";
}

/// Whether columns or rows from `start`, `extent` of them, are none of a picture's.
bool isOutside(int64_t start, int64_t extent, int64_t size) {
  return std::min(start + extent, size) <= std::max(start, int64_t{0});
}

/// Of left, top, width, height; what is below `least` stands for the picture's own size.
std::string outside(const Given& given, int64_t least) {
  if (given.arguments.size() < 4) return "";
  const int64_t sizes[] = {given.self->width(), given.self->height()};
  for (size_t axis = 0; axis < 2; ++axis) {
    const int64_t extent = numberAt(given.arguments, axis + 2);
    if (isOutside(numberAt(given.arguments, axis), extent < least ? sizes[axis] : extent,
                  sizes[axis])) {
      return emptyRectangle(given.self);
    }
  }
  return "";
}
std::string outsideFromZero(const Given& given) { return outside(given, 0); }
std::string outsideFromOne(const Given& given) { return outside(given, 1); }

constexpr size_t kSampleCount = 1, kSmooth = 2, kWidth = 3, kHeight = 4;

int64_t samplesIn(const std::vector<Value>& arguments) {
  const host::BlockRef block = arguments.empty() ? host::BlockRef() : arguments[0].block();
  return block ? static_cast<int64_t>(block->bytes().size() / 2) : 0;
}

std::string fewSamples(const Given& given) {
  const int64_t count = numberAt(given.arguments, kSampleCount), most = samplesIn(given.arguments);
  if (count <= most) return "";
  return "SampleCount is " + std::to_string(count) + ", the block has " + std::to_string(most) +
         "; the columns of those that are missing stay empty";
}

// --- Arguments that are never sensible ----------------------------------------------------------

std::string wrongWave(const host::Method&, const std::vector<Value>& arguments) {
  const int64_t smooth = numberAt(arguments, kSmooth);
  if (smooth < 1) {
    return "Smooth " + std::to_string(smooth) + " gives no curve; 1 is none, more is smoother";
  }
  // As the method chooses them where they are left open.
  constexpr int64_t kUsualHeight = 500;
  int64_t count = numberAt(arguments, kSampleCount), width = numberAt(arguments, kWidth),
          height = numberAt(arguments, kHeight);
  if (count < 1) count = samplesIn(arguments);
  if (width < 1) width = count;
  if (height < 1) height = kUsualHeight;
  if (width < 1) return "";  // the block is not known yet
  return host::sizeProblem(host::Host::current(), static_cast<int>(width),
                           static_cast<int>(height));
}
std::string wrongSize(const Given& given) { return wrongWave(given.method, given.arguments); }

struct Need {
  std::string_view method;
  std::string (*failure)(const Given&) = nullptr;
  std::string (*withoutEffect)(const Given&) = nullptr;
  std::string (*remark)(const Given&) = nullptr;
  std::string (*wrong)(const host::Method&, const std::vector<Value>&) = nullptr;
};
constexpr Need kNeeds[] = {
    {.method = "CombinePicturesZVK", .failure = differentSizes},
    {.method = "MergePictureZVK", .failure = differentSizes},
    {.method = "ReplaceRedChannelZVK", .failure = smallChannel, .remark = largeChannel},
    {.method = "ReplaceGreenChannelZVK", .failure = smallChannel, .remark = largeChannel},
    {.method = "ReplaceBlueChannelZVK", .failure = smallChannel, .remark = largeChannel},
    {.method = "TransformColorsZVK", .failure = shortTable},
    {.method = "CountColorsZVK", .failure = shortHistogram},
    {.method = "BinaryStringtoPictureZVK", .failure = brokenString},
    {.method = "PicturetoBinaryStringZVK", .failure = longString},
    {.method = "ScrollZVK", .withoutEffect = cannotScroll, .remark = noMaskToScroll},
    {.method = "ScrollVerticalZVK", .withoutEffect = cannotScroll, .remark = noMaskToScroll},
    {.method = "ScrollHorizontalZVK", .withoutEffect = cannotScroll, .remark = noMaskToScroll},
    {.method = "EmbeddedMaskZVK", .withoutEffect = takesNoMask, .remark = maskDiffers},
    {.method = "FindPicture", .remark = largerNeedle},
    {.method = "InvertZVK", .remark = outsideFromOne},
    {.method = "InvertGrayZVK", .remark = outsideFromZero},
    {.method = "ExtractColorRectangleMaskZVK", .remark = outsideFromZero},
    {.method = "isWhiteZVK", .remark = outsideFromZero},
    {.method = "isBlackZVK", .remark = outsideFromZero},
    {.method = "RenderSamplesZVK", .failure = wrongSize, .remark = fewSamples, .wrong = wrongWave},
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
  const auto remark = needOf(given.method).remark;
  const std::string text = remark ? remark(given) : "";
  return text.empty() ? "" : std::string(given.method.name()) + ": " + text;
}

std::string whyFailed(const Given& given) {
  const auto reason = needOf(given.method).failure;
  std::string text = reason ? reason(given) : "";
  if (!text.empty()) return text;
  return "the plug-in gave no reason; memory may be short";
}

// --- Filter classes -----------------------------------------------------------------------------

namespace {

int64_t numberOf(const Properties& properties, const std::string& name) {
  const auto found = properties.find(name);
  return found == properties.end() ? 0 : found->second.integer();
}

}  // namespace

std::string wrongRectangle(const Properties& properties) {
  for (const std::string axis : {"X", "Y"}) {
    const int64_t least = std::max(numberOf(properties, "Min" + axis), int64_t{0}),
                  end = numberOf(properties, "Max" + axis);
    if (end == 0 || end > least) continue;
    return "Max" + axis + " " + std::to_string(end) + " must be above Min" + axis + " " +
           std::to_string(least) + "; 0 stands for the picture's edge";
  }
  return "";
}

std::string remarkOn(const Properties& properties, const PictureRef& source) {
  const bool empty = numberOf(properties, "MinX") >= source->width() ||
                     numberOf(properties, "MinY") >= source->height();
  return empty ? emptyRectangle(source) : "";
}

}  // namespace zvk
