#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "frame/ValueHelpers.h"
#include "operations/Operations.h"
#include "pixels/Pixels.h"

namespace {

using namespace pixels;

// The binary string: a header of big-endian 32-bit words, then red, green and blue of every pixel
// in reading order without padding.
constexpr char kMagic[4] = {'P', 'P', 'I', 'C'};
constexpr uint32_t kDepth = 32;
constexpr int32_t kHeaderBytes = 40;
enum HeaderOffset : int32_t {
  kLengthAt = 4,
  kWidthAt = 8,
  kHeightAt = 12,
  kDepthAt = 16,
  kPixelsAt = 20,
  kLastWordEnd = 24,
};

/// Opaque in a host pixel record, where alpha has 7 bits.
constexpr uint32_t kOpaqueHostBuffer = 0x7F000000;
constexpr uint32_t kOpaque = 0xFF000000;

void putWord(uint8_t* bytes, uint32_t value) noexcept {
  for (int shift = 24; shift >= 0; shift -= 8) *bytes++ = static_cast<uint8_t>(value >> shift);
}

uint32_t getWord(const uint8_t* bytes) noexcept {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

/// The most pixels whose string a host can hold.
constexpr int64_t kMaxPixels = (std::numeric_limits<int32_t>::max() - kHeaderBytes) / 3;

void writeHeader(uint8_t* header, uint32_t length, const PictureEditor& e) noexcept {
  memset(header, 0, kHeaderBytes);
  memcpy(header, kMagic, sizeof kMagic);
  putWord(header + kLengthAt, length);
  putWord(header + kWidthAt, static_cast<uint32_t>(e.width));
  putWord(header + kHeightAt, static_cast<uint32_t>(e.height));
  putWord(header + kDepthAt, kDepth);
  putWord(header + kPixelsAt, kHeaderBytes);
}

void readTriples(PictureEditor reader, uint8_t* triples) noexcept {
  const ptrdiff_t rowLength = ptrdiff_t{reader.width} * 3;
  for (int32_t y = 0; y < reader.height; ++y, triples += rowLength, NextRow(reader)) {
    if (reader.row == nullptr) {
      memset(triples, 0, static_cast<size_t>(rowLength));
    } else if (holdsTriples(reader)) {
      memcpy(triples, reader.row, static_cast<size_t>(rowLength));
    } else {
      triplesFromWords(reinterpret_cast<const Word*>(reader.row), triples, reader.width);
    }
  }
}

void writeTriples(PictureEditor writer, const uint8_t* triples) noexcept {
  const ptrdiff_t rowLength = ptrdiff_t{writer.width} * 3;
  const uint32_t opaque =
      writer.pixelFormat == kPixelFormatHostBuffer ? kOpaqueHostBuffer : kOpaque;
  const bool streamed = isStreamed(writer, wholeOf(writer));
  const auto fill = [&](Word* out, int32_t x, int32_t count) {
    wordsFromTriples(triples + ptrdiff_t{x} * 3, out, count, opaque);
  };
  for (int32_t y = 0; y < writer.height; ++y, triples += rowLength, NextRow(writer)) {
    if (writer.row == nullptr) continue;
    if (holdsTriples(writer)) {
      memcpy(writer.row, triples, static_cast<size_t>(rowLength));
    } else if (streamed) {
      streamBlocks(reinterpret_cast<Word*>(writer.row), writer.width, fill);
    } else {
      fill(reinterpret_cast<Word*>(writer.row), 0, writer.width);
    }
  }
  if (streamed) finishStreaming();
}

/// What the header of a binary string says, once the string is known to hold all of it.
struct Content {
  int32_t width, height;
  const uint8_t* triples;  ///< null when the string is not a whole picture
};

Content parse(std::string_view text) noexcept {
  constexpr Content kNone{0, 0, nullptr};
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  if (text.size() < kLastWordEnd || memcmp(bytes, kMagic, sizeof kMagic) != 0) return kNone;
  if (getWord(bytes + kLengthAt) != text.size()) return kNone;
  const auto width = static_cast<int32_t>(getWord(bytes + kWidthAt));
  const auto height = static_cast<int32_t>(getWord(bytes + kHeightAt));
  const auto pixels = static_cast<int32_t>(getWord(bytes + kPixelsAt));
  if (width < 1 || height < 1 || pixels < 0) return kNone;
  // In 64 bits the sum cannot overflow: a picture's sides are 31 bits wide at most.
  const int64_t room = static_cast<int64_t>(text.size()) - pixels;
  if (room < 0 || int64_t{width} * height > room / 3) return kNone;
  return {width, height, bytes + pixels};
}

}  // namespace

REALstringStruct* PicturetoBinaryString(REALpictureStruct* p) noexcept {
  ScopedReader reader(p);
  if (!reader) return nullptr;
  const PictureEditor& e = reader.editor();
  if (e.width < 0 || e.height < 0 || int64_t{e.width} * e.height > kMaxPixels) return nullptr;
  const auto length = kHeaderBytes + e.width * e.height * 3;
  // Not zero-filled: every byte is written, and large buffers cost most where they are first
  // touched.
  const std::unique_ptr<uint8_t, decltype(&free)> buffer(
      static_cast<uint8_t*>(malloc(static_cast<size_t>(length))), &free);
  if (buffer == nullptr) return nullptr;
  writeHeader(buffer.get(), static_cast<uint32_t>(length), e);
  readTriples(joinRows(reader.editor()), buffer.get() + kHeaderBytes);
  return REALBuildUnicodeString(buffer.get(), length, kEncodingNone);
}

REALpictureStruct* BinaryStringtoPicture(REALstringStruct* data) noexcept {
  const Content content = parse(stringText(data));
  if (content.triples == nullptr) return nullptr;
  ScopedWriter writer(content.width, content.height);
  // The rows that are filled are those of the header, so the host's picture must have its size.
  if (!writer || writer.editor().width != content.width ||
      writer.editor().height != content.height) {
    return nullptr;
  }
  writeTriples(joinRows(writer.editor()), content.triples);
  return writer.render();
}
