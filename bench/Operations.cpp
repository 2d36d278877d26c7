#include "Operations.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "peers/Peers.h"

namespace bench {

void Job::fillTriples() {
  triples.reserve(first.count() * 3);
  for (size_t i = 0; i < first.count(); ++i) {
    for (int c = 2; c >= 0; --c) triples.push_back(first.bytes()[4 * i + c]);
  }
}

std::array<double, 3> gradedColor(double red, double green, double blue) {
  const double x = red / 255, y = green / 255, z = blue / 255;
  return {255 * std::min(1.0, std::pow(0.8 * x + 0.15 * y + 0.05 * z, 0.85)),
          255 * std::min(1.0, std::pow(0.1 * x + 0.85 * y + 0.05 * z, 1.1)),
          255 * std::min(1.0, 0.1 + 0.7 * z + 0.15 * x * y)};
}

namespace {

using host::PictureRef;
using Picture = REALpictureStruct;

// --- Shapes of calls ----------------------------------------------------------------------------

template <size_t n>
struct Name {
  char text[n];
  constexpr Name(const char (&name)[n]) { std::copy_n(name, n, text); }
};

/// A method of the source picture that gives a picture.
template <Name name, auto... arguments>
PluginCall method(Stage& stage, const PictureRef& source, Job&) {
  auto* routine = stage.routine<Picture*(Picture*, decltype(arguments)...)>(name.text);
  return {.picture = [=] { return routine(source.handle(), arguments...); }};
}

/// A method that answers with a number or a boolean; always done.
template <Name name, typename Result, auto... arguments>
PluginCall question(Stage& stage, const PictureRef& source, Job&) {
  auto* routine = stage.routine<Result(Picture*, decltype(arguments)...)>(name.text);
  return {.done = [=] { return routine(source.handle(), arguments...) >= Result{}; }};
}

/// A test of the whole picture that must hold.
template <Name name>
PluginCall test(Stage& stage, const PictureRef& source, Job&) {
  auto* routine = stage.routine<HostBoolean(Picture*)>(name.text);
  return {.done = [=] { return routine(source.handle()) != 0; }};
}

PictureRef otherPicture(Stage& stage, const PictureRef& source, uint32_t variant) {
  return stage.picture(Scene::kGradient, {source->width(), source->height(), ""}, variant);
}

PluginCall withAnother(Stage& stage, const PictureRef& source, const char* name) {
  auto* routine = stage.routine<Picture*(Picture*, Picture*)>(name);
  return {.picture = [=, other = otherPicture(stage, source, 1)] {
    return routine(source.handle(), other.handle());
  }};
}

PluginCall replaceRed(Stage& stage, const PictureRef& source, Job&) {
  return withAnother(stage, source, "ReplaceRedChannelZVK");
}

PluginCall mergePictures(Stage& stage, const PictureRef& source, Job&) {
  return withAnother(stage, source, "MergePictureZVK");
}

PluginCall combine(Stage& stage, const PictureRef& source, Job&) {
  auto* routine = stage.routine<Picture*(Picture*, Picture*, Picture*)>("CombinePicturesZVK");
  return {.picture = [=, second = otherPicture(stage, source, 1),
                      third = otherPicture(stage, source, 2)] {
    return routine(source.handle(), second.handle(), third.handle());
  }};
}

// --- Jobs ---------------------------------------------------------------------------------------

constexpr double kGrey[3] = {29, 150, 76};  // blue, green, red of 255
constexpr double kTint[3] = {0xB0, 0xE0, 0xFF};
constexpr int kSaturation = 100;

template <double scale, double offset>
void tone(Job& job) {
  job.scale = scale;
  job.offset = offset;
}

void saturation(Job& job) {
  const double factor = (kSaturation + 255) / 255.0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) job.matrix[i][j] = (1 - factor) / 3 + (i == j ? factor : 0);
  }
  job.fillTriples();
}

void tint(Job& job) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) job.matrix[i][j] = kGrey[j] / 255 * kTint[i] / 255;
  }
  job.fillTriples();
}

PluginCall tintPicture(Stage& stage, const PictureRef& source, Job&) {
  const auto color = [](const double(&c)[3]) {
    return HostLong(c[2]) << 16 | HostLong(c[1]) << 8 | HostLong(c[0]);
  };
  auto* routine = stage.routine<Picture*(Picture*, HostLong, HostLong)>("TintPictureZVK");
  return {.picture = [=, grey = color(kGrey), tint = color(kTint)] {
    return routine(source.handle(), grey, tint);
  }};
}

constexpr double kSepiaWeights[3] = {0.114, 0.587, 0.299};
constexpr int kSepiaOffsets[3] = {-20, 10, 40};  // blue, green, red

void sepia(Job& job) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) job.matrix[i][j] = kSepiaWeights[j];
    job.matrix[i][3] = kSepiaOffsets[i];
  }
}

void tables(Job& job) {
  for (auto& table : job.tables) table.resize(256);
  for (int i = 0; i < 256; ++i) {
    job.tables[0][i] = static_cast<uint8_t>(255 * std::pow(i / 255.0, 0.8) + 0.5);
    job.tables[1][i] = static_cast<uint8_t>(255 - i);
    job.tables[2][i] = static_cast<uint8_t>(255 * std::pow(i / 255.0, 1.3) + 0.5);
  }
}

void white(Job& job) { job.color = 0xFFFFFF; }
void black(Job& job) { job.color = 0; }
void triples(Job& job) { job.fillTriples(); }
void scrolled(Job& job) {
  job.scrollBy = std::clamp(std::min(job.first.width, job.first.height) / 3, 1, 100);
}

// --- Operations that need more than arguments ---------------------------------------------------

PluginCall mapTables(Stage& stage, const PictureRef& source, Job& job) {
  using Block = REALmemoryBlockStruct;
  std::array<host::BlockRef, 3> blocks;
  for (size_t i = 0; i < 3; ++i) blocks[i] = stage.host().newBlock(job.tables[i]);
  auto* routine = stage.routine<Picture*(Picture*, Block*, Block*, Block*)>("TransformColorsZVK");
  return {.picture = [=] {
    return routine(source.handle(), blocks[2].handle(), blocks[0].handle(), blocks[1].handle());
  }};
}

PluginCall countColors(Stage& stage, const PictureRef& source, Job&) {
  using Block = REALmemoryBlockStruct;
  std::array<host::BlockRef, 3> blocks;
  for (auto& block : blocks) block = stage.host().newBlock(256 * 4);
  auto* routine =
      stage.routine<void(Picture*, Block**, Block**, Block**, HostLong*)>("CountColorsZVK");
  return {.done = [=] {
    Block* variables[] = {blocks[0].handle(), blocks[1].handle(), blocks[2].handle()};
    HostLong count = 0;
    routine(source.handle(), &variables[0], &variables[1], &variables[2], &count);
    return count > 0;
  }};
}

// The host copies the bytes into a string of its own; that is left out of the time.
PluginCall writeBinary(Stage& stage, const PictureRef& source, Job&) {
  auto* routine = stage.routine<REALstringStruct*(Picture*)>("PicturetoBinaryStringZVK");
  return {.done = [=] { return bool(host::Host::adopt<host::String>(routine(source.handle()))); },
          .withheldService = "REALBuildString"};
}

PluginCall readBinary(Stage& stage, const PictureRef& source, Job&) {
  auto* write = stage.routine<REALstringStruct*(Picture*)>("PicturetoBinaryStringZVK");
  auto* read = stage.routine<Picture*(REALstringStruct*)>("BinaryStringtoPictureZVK");
  const auto string = host::Host::adopt<host::String>(write(source.handle()));
  return {.picture = [=] { return read(string.handle()); }};
}

// The needle's words come from the picture in memory, whatever its storage.
PluginCall findPicture(Stage& stage, const PictureRef& source, Job& job, Pixels needle, int side) {
  auto* routine =
      stage.routine<HostBoolean(Picture*, Picture*, HostLong*, HostLong*)>("FindPicture");
  const PictureRef picture = stage.picture({side, side, ""}, needle);
  auto words = std::make_shared<Pixels>(std::move(needle));
  job.needle = {words->data(), side, side};
  job.kept.push_back(words);
  return {.done = [=] {
    HostLong x = 0, y = 0;
    return routine(source.handle(), picture.handle(), &x, &y) != 0;
  }};
}

int needleSide(const PictureRef& source) {
  return std::clamp(std::min(source->width(), source->height()) / 4, 1, 64);
}

PluginCall findUsual(Stage& stage, const PictureRef& source, Job& job) {
  const int side = needleSide(source);
  const int left = (source->width() - side) * 15 / 16, top = (source->height() - side) * 15 / 16;
  const Pixels all = source->pixels();
  Pixels needle;
  for (int y = top; y < top + side; ++y) {
    const auto row = all.begin() + ptrdiff_t{y} * source->width() + left;
    needle.insert(needle.end(), row, row + side);
  }
  return findPicture(stage, source, job, std::move(needle), side);
}

PluginCall findAdversarial(Stage& stage, const PictureRef& source, Job& job) {
  const int side = needleSide(source);
  Pixels needle(size_t(side) * side, 0xFF000000 | kFlatColor);
  needle.back() = 0xFF000000 | kOddColor;
  return findPicture(stage, source, job, std::move(needle), side);
}

// In place, so on a picture of its own. `Deltas` are as many as the method takes.
template <Name name, typename... Deltas>
PluginCall scroll(Stage& stage, const PictureRef& source, Job& job) {
  auto* routine =
      stage.routine<HostBoolean(Picture*, Deltas..., HostBoolean, HostBoolean)>(name.text);
  const Size size{source->width(), source->height(), ""};
  const PictureRef picture = stage.picture(size, source->pixels());
  return {.done =
              [=, by = job.scrollBy] {
                return routine(picture.handle(), static_cast<Deltas>(by)..., true, false) != 0;
              },
          .result = [=] { return picture; }};
}

// A filter object keeps its result.
PluginCall runFilter(const host::InstanceRef& filter, HostBoolean (*run)(REALobjectStruct*),
                     const PictureRef& source) {
  filter->setProperty("SourcePicture", source);
  return {.done = [=] { return run(filter.handle()) != 0; },
          .result = [=] { return filter->property("DestinationPicture").picture(); }};
}

PluginCall runSepia(Stage& stage, const PictureRef& source, Job&) {
  const host::InstanceRef filter = stage.plugin().newInstance("PictureSepiaZVK");
  filter->setProperty("SepiaBlue", kSepiaOffsets[0]);
  filter->setProperty("SepiaGreen", kSepiaOffsets[1]);
  filter->setProperty("SepiaRed", kSepiaOffsets[2]);
  auto* run = stage.routine<HostBoolean(REALobjectStruct*)>("PictureSepiaZVK.Run");
  return runFilter(filter, run, source);
}

PluginCall runTable(Stage& stage, const PictureRef& source, Job&) {
  const host::InstanceRef filter = stage.plugin().newInstance("PictureLut3DZVK");
  auto* store =
      stage.setter<void(REALobjectStruct*, HostLong, HostLong, HostLong, HostLong, double)>(
          "PictureLut3DZVK.Table");
  for (int r = 0; r < kGridPoints; ++r) {
    for (int g = 0; g < kGridPoints; ++g) {
      for (int b = 0; b < kGridPoints; ++b) {
        const std::array<double, 3> color = gradedColor(17 * r, 17 * g, 17 * b);
        for (int x = 0; x < 3; ++x) store(filter.handle(), r, g, b, x, color[x]);
      }
    }
  }
  auto* run = stage.routine<HostBoolean(REALobjectStruct*)>("PictureLut3DZVK.Run");
  return runFilter(filter, run, source);
}

// --- Sample pairs -------------------------------------------------------------------------------

constexpr int kWaveWidth = 1000, kWaveHeight = 500;

void samplePairs(Job& job) {
  std::minstd_rand random(3);
  job.samples.reserve(2 * job.pairs);
  for (int i = 0; i < 2 * job.pairs; ++i) {
    const int loudness = 20 + i / 80'000 % 90;
    const int value = static_cast<int>(random() % 256) - 128;
    job.samples.push_back(static_cast<int8_t>(value * loudness / 128));
  }
}

PluginCall drawSamples(Stage& stage, const PictureRef&, Job& job) {
  const std::span bytes(reinterpret_cast<const uint8_t*>(job.samples.data()), job.samples.size());
  using Routine = Picture*(REALmemoryBlockStruct*, HostLong, HostLong, HostLong, HostLong, HostLong,
                           HostLong, HostLong, HostLong);
  constexpr int kSmooth = 8, kOutline = 1;
  auto* routine = stage.routine<Routine>("RenderSamplesZVK");
  return {.picture = [=, block = stage.host().newBlock(bytes), count = job.pairs] {
    return routine(block.handle(), count, kSmooth, kWaveWidth, kWaveHeight, kOutline, 0x88B5C4,
                   0x274C5A, 0x203F4E);
  }};
}

// --- The table of operations --------------------------------------------------------------------

const std::vector<std::string_view> kTonePeers = {"OpenCV convertTo", "libyuv ARGBPolynomial"};
const std::vector<std::string_view> kMatrixPeers = {"libyuv ARGBColorMatrix", "OpenCV transform"};
const std::vector<std::string_view> kPackedMatrix = {"OpenCV transform, 3 channels"};
const std::vector<std::string_view> kBound = {kReadingAlone};
const std::vector<std::string_view> kCountPeers = {"OpenCV compare, countNonZero", "std::count"};

// Contrast is 127 + (v - 127) * (Contrast + 1), linear brightness v * (255 - B) / 255 + B.
const Operation kOperations[] = {
    {.name = "invert",
     .goal = {.small = 1.6, .large = 1},
     .make = method<"InvertZVK">,
     .peers = {"OpenCV bitwise_not", "libyuv ARGBSubtract"}},
    {.name = "invert grey",
     .goal = {.small = 1.6, .large = 1},
     .make = method<"InvertGrayZVK">,
     .asides = {"OpenCV bitwise_not"}},
    {.name = "contrast",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.3, -38.1>,
     .make = method<"ChangeContrastZVK", 0.3>,
     .peers = kTonePeers},
    {.name = "contrast per channel",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.3, -38.1>,
     .make = method<"ChangeContrastZVK", 0.3, 0.3, 0.3>,
     .peers = kTonePeers},
    {.name = "linear brightness",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<204.0 / 255, 51.0>,
     .make = method<"ChangeBrightnessLinearZVK", 51.0>,
     .peers = kTonePeers},
    {.name = "absolute brightness",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.0, 25.0>,
     .make = method<"ChangeBrightnessAbsoluteZVK", 25.0>,
     .peers = kTonePeers},
    {.name = "contrast, linear brightness",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.3 * 204.0 / 255, -38.1 * 204.0 / 255 + 51.0>,
     .make = method<"ChangeContrastBrightnessLinearZVK", 0.3, 51.0>,
     .peers = kTonePeers},
    {.name = "contrast, absolute brightness per channel",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.3, -13.1>,
     .make = method<"ChangeContrastBrightnessAbsoluteZVK", 0.3, 0.3, 0.3, 25.0, 25.0, 25.0>,
     .peers = kTonePeers},
    {.name = "custom curve",
     .goal = {.small = 4.5, .large = 1.1},
     .describe = tone<1.3, -20.0>,
     .make = method<"ChangeCustomZVK", 1.3, -20.0>,
     .peers = kTonePeers},
    {.name = "saturation",
     .goal = {.small = 8, .large = 1.6},
     .describe = saturation,
     .make = method<"ChangeSaturationZVK", kSaturation>,
     .peers = kMatrixPeers,
     .asides = kPackedMatrix},
    {.name = "tint",
     .goal = {.small = 8, .large = 1.6},
     .describe = tint,
     .make = tintPicture,
     .peers = kMatrixPeers,
     .asides = kPackedMatrix},
    {.name = "sepia filter",
     .goal = {.large = 1.5},
     .describe = sepia,
     .make = runSepia,
     .peers = kMatrixPeers,
     .asides = {"libyuv ARGBSepia, in place", "libyuv ARGBGrayTo"}},
    {.name = "three tables",
     .goal = {.small = 8, .large = 1.7},
     .describe = tables,
     .make = mapTables,
     .peers = {"libyuv RGBColorTable, in place", "Pillow point", "OpenCV LUT"}},
    {.name = "histograms",
     .goal = {.large = 4.8},
     .make = countColors,
     .peers = {"Pillow histogram", "OpenCV calcHist"}},
    {.name = "count one colour",
     .subject = Subject::kOwnScene,
     .scene = Scene::kKeyed,
     .goal = {.small = 0.8, .large = 0.6},
     .make = question<"CountColorZVK", HostLong, HostLong(kKeyColor)>,
     .peers = kCountPeers,
     .asides = kBound},
    {.name = "all white",
     .subject = Subject::kOwnScene,
     .scene = Scene::kWhite,
     .goal = {.small = 0.8, .large = 0.6},
     .describe = white,
     .make = test<"isWhiteZVK">,
     .peers = {"memcmp with itself shifted by one pixel", "OpenCV compare, countNonZero"},
     .asides = kBound},
    {.name = "all black",
     .subject = Subject::kOwnScene,
     .scene = Scene::kBlack,
     .goal = {.small = 0.8, .large = 0.6},
     .describe = black,
     .make = test<"isBlackZVK">,
     .peers = {"memcmp with itself shifted by one pixel", "OpenCV compare, countNonZero"},
     .asides = kBound},
    {.name = "colourness",
     .goal = {.small = 2.5, .large = 0.6},
     .make = question<"ColornessZVK", double, HostLong(10)>,
     .asides = {kReadingAlone, "OpenCV compare, countNonZero"}},
    {.name = "replace one colour",
     .subject = Subject::kOwnScene,
     .scene = Scene::kKeyed,
     .goal = {.small = 1.6, .large = 1},
     .make = method<"ReplaceColorZVK", HostLong(kKeyColor), HostLong(kNewColor)>,
     .peers = {"std::replace_copy"}},
    {.name = "extract one colour",
     .subject = Subject::kOwnScene,
     .scene = Scene::kKeyed,
     .goal = {.small = 1.6, .large = 1},
     .make = method<"ExtractColorZVK", HostLong(kKeyColor), HostLong(kNewColor), 0xFFFFFF>,
     .peers = {"std::transform"}},
    {.name = "combine three",
     .goal = {.small = 2.8, .large = 1.7},
     .make = combine,
     .peers = {"OpenCV mixChannels"},
     .asides = {kReadingThree, "libyuv MergeARGBPlane, from planes"}},
    {.name = "replace channel",
     .goal = {.small = 2.6, .large = 1.2},
     .make = replaceRed,
     .peers = {"OpenCV copyTo, mixChannels"},
     .asides = {kReadingTwo}},
    {.name = "maximum of two",
     .goal = {.small = 2.6, .large = 1.2},
     .make = mergePictures,
     .peers = {"OpenCV max"},
     .asides = {kReadingTwo}},
    {.name = "binary string, write",
     .goal = {.large = 1.1},
     .make = writeBinary,
     .peers = {"libyuv ARGBToRAW"}},
    {.name = "binary string, read",
     .goal = {.large = 1.1},
     .describe = triples,
     .make = readBinary,
     .peers = {"libyuv RAWToARGB"}},
    {.name = "search, usual",
     .goal = {.large = 0.7},
     .make = findUsual,
     .peers = {"std::search", "memmem"},
     .asides = {kReadingAlone, "OpenCV matchTemplate"}},
    {.name = "search, adversarial",
     .subject = Subject::kOwnScene,
     .scene = Scene::kFlat,
     .goal = {.large = 1.5},
     .make = findAdversarial,
     .peers = {"std::search in 500 x 375"},
     .asides = {"OpenCV matchTemplate"}},
    {.name = "scroll vertically",
     .goal = {.large = 1.25},
     .describe = scrolled,
     .make = scroll<"ScrollVerticalZVK", HostLong>,
     .peers = {"memmove, saved rows"},
     .asides = {"OpenCV copyTo of two row ranges", "FFmpeg scroll, vertically, planes"},
     .inPlace = true},
    {.name = "scroll horizontally",
     .goal = {.large = 1.25},
     .describe = scrolled,
     .make = scroll<"ScrollHorizontalZVK", HostLong>,
     .peers = {"memmove per row"},
     .asides = {"OpenCV copyTo of two column ranges", "FFmpeg scroll, horizontally, planes"},
     .inPlace = true},
    {.name = "scroll both ways",
     .goal = {.small = 3, .large = 1.4},
     .describe = scrolled,
     .make = scroll<"ScrollZVK", HostLong, HostLong>,
     .peers = {"memmove per row, saved rows"},
     .inPlace = true},
    {.name = "colour rectangles",
     .subject = Subject::kOwnScene,
     .scene = Scene::kSparse,
     .goal = {.small = 4, .large = 1.6},
     .make = method<"ExtractColorRectangleMaskZVK">,
     .peers = {"OpenCV compare, findContours"},
     .asides = {kReadingFilling}},
    {.name = "3D table",
     .goal = {.small = 36, .large = 12},
     .make = runTable,
     .peers = {"FFmpeg lut3d, from BGRA and back"},
     .asides = {"FFmpeg lut3d, planes of floats", "FFmpeg lut3d, planes of 16 bits"}},
    {.name = "waveform",
     .subject = Subject::kSamples,
     .goalTime = 2.5,
     .describe = samplePairs,
     .make = drawSamples,
     .peers = {"FFmpeg showwavespic"},
     .asides = {kAveraging}},
};

}  // namespace

std::span<const Operation> operations() { return kOperations; }

}  // namespace bench
