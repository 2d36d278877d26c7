#include "operations/SampleRendering.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "frame/GraphicsHelpers.h"
#include "frame/HostServices.h"
#include "frame/ValueHelpers.h"
#include "operations/Operations.h"
#include "pixels/Pixels.h"

int32_t gOutLineColorR;
int32_t gOutLineColorG;
int32_t gOutLineColorB;

// --- Anti-aliased lines -------------------------------------------------------------------------

namespace {

/// Two colours, channel by channel: (over * (255 - weight) + under * weight) / 255. Top bytes are
/// left out.
uint32_t mixed(uint32_t over, uint32_t under, uint32_t weight) noexcept {
  // Channels of 16 bits hold the sums. For s up to 255 * 255, s / 255 is (s + 1 + s / 256) / 256.
  constexpr uint32_t kChannels = 0x00FF00FF, kOnes = 0x00010001;
  const auto mix = [weight](uint32_t a, uint32_t b) {
    const uint32_t sums = (a & kChannels) * (255 - weight) + (b & kChannels) * weight;
    return (sums + kOnes + (sums >> 8 & kChannels)) >> 8 & kChannels;
  };
  return mix(over, under) | (mix(over >> 8, under >> 8) << 8 & pixels::kColorBits);
}

}  // namespace

void BlendOutlinePixel(PictureEditor& writer, int32_t x, int32_t y, int32_t weight) noexcept {
  if (x < 0 || y < 0 || x >= writer.width || y >= writer.height) return;
  uint8_t* row = rowAddress(writer, y);
  if (row == nullptr) return;
  const uint32_t outline = pixels::pack({gOutLineColorR, gOutLineColorG, gOutLineColorB});
  const auto mix = [=](uint32_t word) {
    return mixed(outline, word, static_cast<uint32_t>(weight));
  };
  if (pixels::holdsTriples(writer)) {
    uint8_t* const triple = row + static_cast<ptrdiff_t>(x) * 3;
    const pixels::Rgb color = pixels::unpack(mix(pixels::pack({triple[0], triple[1], triple[2]})));
    triple[0] = static_cast<uint8_t>(color.red);
    triple[1] = static_cast<uint8_t>(color.green);
    triple[2] = static_cast<uint8_t>(color.blue);
    return;
  }
  pixels::Word& word = reinterpret_cast<pixels::Word*>(row)[x];
  word = pixels::fourthByte(writer) | mix(word);
}

namespace {

/// Steps first..last of a line.
struct Steps {
  int32_t first, last;

  /// Those whose pixels start + i or start - i lie within 0..size - 1. Outlines of wild values run
  /// far outside the picture.
  [[nodiscard]] Steps within(int32_t start, int32_t direction, int32_t size) const noexcept {
    const int32_t enter = direction > 0 ? -start : start - (size - 1);
    return {std::max(first, enter), std::min(last, enter + size - 1)};
  }
};

}  // namespace

void DrawWuLine(PictureEditor& writer, int32_t x0, int32_t y0, int32_t x1, int32_t y1) noexcept {
  if (y0 > y1) {
    std::swap(x0, x1);
    std::swap(y0, y1);
  }
  const int32_t xdir = x1 < x0 ? -1 : 1;
  const int32_t dx = std::abs(x1 - x0);
  const int32_t dy = y1 - y0;
  const bool flat = dx > dy;
  const int32_t length = flat ? dx : dy;
  const auto visible = [&](Steps steps) {
    return flat ? steps.within(x0, xdir, writer.width) : steps.within(y0, 1, writer.height);
  };

  BlendOutlinePixel(writer, x0, y0, 0);
  if (dx == 0 || dy == 0 || dx == dy) {
    const Steps steps = visible({1, length});
    const int32_t xstep = dx == 0 ? 0 : xdir;
    const int32_t ystep = dy == 0 ? 0 : 1;
    for (int32_t i = steps.first; i <= steps.last; ++i) {
      BlendOutlinePixel(writer, x0 + i * xstep, y0 + i * ystep, 0);
    }
    return;
  }
  const auto step = static_cast<uint32_t>((static_cast<int64_t>(std::min(dx, dy)) << 16) / length);
  const Steps steps = visible({1, length - 1});
  for (int32_t i = steps.first; i <= steps.last; ++i) {
    // How far the line has moved along its shorter axis, in 1/65536 pixel.
    const uint64_t moved = static_cast<uint64_t>(step) * static_cast<uint32_t>(i);
    const auto whole = static_cast<int32_t>(moved >> 16);
    const auto weight = static_cast<int32_t>(moved >> 8 & 0xFF);
    const int32_t x = x0 + xdir * (flat ? i : whole);
    const int32_t y = y0 + (flat ? whole : i);
    BlendOutlinePixel(writer, x, y, weight);
    BlendOutlinePixel(writer, flat ? x : x + xdir, flat ? y + 1 : y, 255 - weight);
  }
  BlendOutlinePixel(writer, x1, y1, 0);
}

// --- Smoothing and columns ----------------------------------------------------------------------

namespace {

using namespace pixels;

/// A pair of signed bytes for every sample.
struct Samples {
  const int8_t* bytes;
  int64_t records;  ///< that may be read
  int32_t count;    ///< that the picture shows
};

/// One value per column, zero at first.
class ColumnBuffer {
 public:
  static constexpr int64_t bytesFor(int64_t width) noexcept { return width * 8 + 20; }

  explicit ColumnBuffer(int32_t width) noexcept
      : values_(static_cast<double*>(calloc(1, static_cast<size_t>(bytesFor(width))))) {}
  ~ColumnBuffer() { free(values_); }
  ColumnBuffer(const ColumnBuffer&) = delete;
  ColumnBuffer& operator=(const ColumnBuffer&) = delete;

  explicit operator bool() const noexcept { return values_ != nullptr; }
  double& operator[](int32_t column) noexcept { return values_[column]; }
  double operator[](int32_t column) const noexcept { return values_[column]; }

 private:
  double* values_;
};

/// Both series of a picture `width` columns wide: smoothed values at first, rows in the end.
struct Columns {
  ColumnBuffer a, b;
  int32_t width;

  explicit Columns(int32_t columns) noexcept : a(columns), b(columns), width(columns) {}
  explicit operator bool() const noexcept { return a && b; }
};

/// Two exponential moving averages, and the largest value above 100 that the second one reached.
class Smoother {
 public:
  explicit Smoother(HostLong smooth) noexcept
      : factor_(2.0 / (static_cast<double>(smooth) + 1)), complement_(1.0 - factor_) {}

  void seed(double a, double b) noexcept { a_ = a, b_ = b; }

  void follow(const int8_t* record, int64_t count) noexcept {
    // In long silence the averages would fade into denormal numbers and stay there, which some
    // processors take twenty times as long to multiply. So small a value is as good as zero: next
    // to any sample and on any row it disappears.
    constexpr int64_t kRun = 256;
    for (; count > kRun; count -= kRun, record += 2 * kRun) {
      followRun(record, kRun);
      if (complement_ >= 0 && complement_ < 1) {
        if (std::abs(a_) < 1e-200) a_ = 0;
        if (std::abs(b_) < 1e-200) b_ = 0;
      }
    }
    followRun(record, count);
  }

  [[nodiscard]] double a() const noexcept { return a_; }
  [[nodiscard]] double b() const noexcept { return b_; }
  [[nodiscard]] double peak() const noexcept { return peak_; }

 private:
  /// Both averages side by side: one multiplication and one addition update them.
  using Pair = double __attribute__((vector_size(2 * sizeof(double))));

  void followRun(const int8_t* record, int64_t count) noexcept {
    Pair averages{a_, b_};
    double peak = peak_;
    for (const int8_t* end = record + 2 * count; record != end; record += 2) {
      averages = averages * complement_ + Pair{record[0] * factor_, record[1] * factor_};
      peak = averages[1] > peak ? averages[1] : peak;
    }
    a_ = averages[0], b_ = averages[1], peak_ = peak;
  }

  double factor_, complement_;
  double a_ = 0, b_ = 0;
  double peak_ = 100.0;
};

/// Smooths the samples into the columns; the reference that their values are scaled by. Update k
/// (1..count) takes record k and leaves its result in column (k - 1) * width / count.
double smoothInto(Columns& columns, const Samples& samples, HostLong smooth) noexcept {
  Smoother smoother(smooth);
  // The averages start crosswise: the first series from the second byte and the reverse.
  if (samples.records > 0) smoother.seed(samples.bytes[1], samples.bytes[0]);
  const auto store = [&](int32_t column) {
    columns.a[column] = smoother.a();
    columns.b[column] = smoother.b();
  };
  store(0);

  const int64_t available = std::max<int64_t>(samples.records, 1) - 1;
  const int64_t updates = std::min<int64_t>(samples.count, available);
  int64_t done = 0;
  for (int32_t column = 0; done < updates; ++column) {
    const int64_t shown = (int64_t{column} + 1) * samples.count;
    const int64_t end = std::min(updates, (shown + columns.width - 1) / columns.width);
    if (end == done) continue;
    smoother.follow(samples.bytes + 2 * (done + 1), end - done);
    store(column);
    done = end;
  }
  // The first update for which there is no record keeps the averages, and the columns after its own
  // stay empty.
  if (updates < samples.count) {
    store(static_cast<int32_t>(updates * columns.width / samples.count));
  }
  return smoother.peak();
}

// --- Drawing ------------------------------------------------------------------------------------

/// The row of a value that lies `value` below the centre line, as far away as 16 bits reach.
/// Averages that overflowed stand on the centre line.
double rowOf(int32_t centre, double value) noexcept {
  if (!std::isfinite(value)) return centre;
  return std::clamp(std::trunc(centre + value), -32768.0, 32767.0);
}

void scaleToRows(Columns& columns, double peak, int32_t height) noexcept {
  const auto row = [=](double value) { return rowOf(height / 2, value * 0.5 / peak * height); };
  for (int32_t x = 0; x < columns.width; ++x) {
    columns.a[x] = row(columns.a[x]);
    columns.b[x] = row(columns.b[x]);
  }
}

/// One row of bands that reach from `top` to `bottom`, both included.
struct BandRow {
  int32_t y;
  uint32_t fore, back;

  uint32_t operator()(uint32_t top, uint32_t bottom) const noexcept {
    const bool inside = y >= static_cast<int32_t>(top) && y <= static_cast<int32_t>(bottom);
    return inside ? fore : back;
  }
};

/// Both series' bands from the centre line, on the background.
void drawBands(PictureEditor& writer, const Columns& columns, int32_t centre, uint32_t back,
               uint32_t fore) noexcept {
  const int32_t width = std::min(writer.width, columns.width);
  for (int32_t left = 0; left < width; left += kBlock) {
    const int32_t count = std::min(kBlock, width - left);
    Word tops[kBlock], bottoms[kBlock];
    for (int32_t i = 0; i < count; ++i) {
      // Both bands hold the centre line, so they make up one.
      const auto a = static_cast<int32_t>(columns.a[left + i]);
      const auto b = static_cast<int32_t>(columns.b[left + i]);
      tops[i] = static_cast<uint32_t>(std::min({a, b, centre}));
      bottoms[i] = static_cast<uint32_t>(std::max({a, b, centre}));
    }
    seekRow(writer, 0);
    for (int32_t y = 0; y < writer.height; ++y, NextRow(writer)) {
      if (writer.row == nullptr) continue;
      writePixels(writer, left, count, false, BandRow{y, fore, back}, Source{tops},
                  Source{bottoms});
    }
  }
}

/// Calls line(x0, y0, x1, y1) from column to column, for the first and the second series in turn.
template <typename Line>
void trace(const Columns& columns, int32_t centre, Line line) noexcept {
  int32_t fromX = 0, fromA = centre, fromB = centre;
  for (int32_t x = 0; x < columns.width; ++x) {
    const auto a = static_cast<int32_t>(columns.a[x]);
    const auto b = static_cast<int32_t>(columns.b[x]);
    line(fromX, fromA, x, a);
    line(fromX, fromB, x, b);
    fromX = x, fromA = a, fromB = b;
  }
}

/// An outline by the host's own pen, which hangs below and to the right of its position.
void drawThickOutline(REALpictureStruct* picture, const Columns& columns, int32_t centre,
                      HostLong penSize, HostLong color) noexcept {
  REALgraphicsStruct* graphics = REALGetPictureGraphics(picture);
  if (graphics == nullptr) return;
  SetGraphicsForeColor(graphics, color);
  SetGraphicsPenHeight(graphics, penSize);
  SetGraphicsPenWidth(graphics, penSize);
  const auto half = static_cast<int32_t>(penSize / 2);
  trace(columns, centre, [=](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    GraphicsDrawLine(graphics, x0 - half, y0 - half, x1 - half, y1 - half);
  });
  REALUnlockObject(asObject(graphics));
}

}  // namespace

REALpictureStruct* RenderSamples(REALmemoryBlockStruct* samples, HostLong sampleCount,
                                 HostLong smooth, HostLong width, HostLong height,
                                 HostLong outlineWidth, HostLong backColor, HostLong foreColor,
                                 HostLong outLineColor) noexcept {
  if (samples == nullptr) {
    RaiseException("NilObjectException", "memoryblock is nil");
    return nullptr;
  }
  const Rgb outline = unpack(static_cast<uint32_t>(outLineColor));
  gOutLineColorR = outline.red;
  gOutLineColorG = outline.green;
  gOutLineColorB = outline.blue;

  const HostLong size = memoryBlockSize(samples);
  if (sampleCount < 1) sampleCount = std::max<HostLong>(size, 0) / 2;
  if (height < 1) height = 500;
  if (width < 1) width = sampleCount;
  // A program that names a count for a block of unknown size is trusted.
  const Samples source{static_cast<const int8_t*>(REALMemoryBlockGetPtr(samples)),
                       size < 0 ? sampleCount : size / 2, static_cast<int32_t>(sampleCount)};
  if (source.bytes == nullptr) return nullptr;
  if (ColumnBuffer::bytesFor(width) > INT32_MAX) return nullptr;
  Columns columns(static_cast<int32_t>(width));
  if (!columns) return nullptr;
  // Before the host makes a picture, which could move the bytes.
  const double peak = smoothInto(columns, source, smooth);
  ScopedWriter writer(static_cast<int32_t>(width), static_cast<int32_t>(height));
  if (!writer) return nullptr;

  const auto centre = static_cast<int32_t>(height / 2);
  scaleToRows(columns, peak, static_cast<int32_t>(height));
  drawBands(writer.editor(), columns, centre, static_cast<uint32_t>(backColor) & kColorBits,
            static_cast<uint32_t>(foreColor) & kColorBits);
  if (outlineWidth == 1) {
    trace(columns, centre, [&](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
      DrawWuLine(writer.editor(), x0, y0, x1, y1);
    });
  }
  REALpictureStruct* picture = writer.render();
  if (picture != nullptr && outlineWidth > 1) {
    drawThickOutline(picture, columns, centre, outlineWidth, outLineColor);
  }
  return picture;
}
