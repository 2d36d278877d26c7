// What reads and writes the formats of picture files. Pixels are words 0xAARRGGBB, not
// premultiplied, 255 in the alpha byte where a file has no alpha channel.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Files.h"

namespace host {

/// What a file says of a picture besides its pixels.
struct PictureExtras {
  std::string colorProfile;                   ///< ICC, of RGB pictures; empty when there is none
  double dotsPerInchX = 0, dotsPerInchY = 0;  ///< 0 when not known
};

struct PictureHeader {
  std::string format;  ///< "JPEG"
  int width = 0, height = 0;
  bool alpha = false;
  int orientation = 1;  ///< as in Exif: 1 upright, to 8
  PictureExtras extras;
};

inline constexpr double kInchInCentimetres = 2.54;

using RowPointers = std::vector<uint32_t*>;

/// A file whose header was read.
class Decoder {
 public:
  virtual ~Decoder() = default;
  const PictureHeader& header() const { return header_; }
  /// What is wrong with the file, known when it was decoded; empty when nothing is.
  const std::string& damage() const { return damage_; }
  /// What the file has and the picture will not have, known when it was decoded.
  const std::vector<std::string>& losses() const { return losses_; }
  /// Decodes the pixels. Rows of which nothing is there stay as they are. Throws FileError when
  /// nothing at all can be read.
  virtual void decode(const RowPointers& rows) = 0;

 protected:
  void noteDamage(const std::string& what) {
    if (damage_.empty()) damage_ = what;
  }
  /// What Exif data tells; what the format itself tells of dots per inch goes before.
  void takeExif(std::string_view exif);
  void noteLoss(const std::string& what) { losses_.push_back(what); }
  /// Keeps an ICC profile where it is one for RGB pictures.
  void takeProfile(std::string_view profile);

  PictureHeader header_;

 private:
  std::string damage_;
  std::vector<std::string> losses_;
};

/// `bytes` must outlive the decoder. `name` is for messages. The first two are for bytes that begin
/// as such files do; all throw FileError.
std::unique_ptr<Decoder> openJpeg(std::string_view bytes, const std::string& name);
std::unique_ptr<Decoder> openPng(std::string_view bytes, const std::string& name);
std::unique_ptr<Decoder> openWithPixbuf(std::string_view bytes, const std::string& name);
/// Names of the formats that the last one reads, such as "GIF".
std::vector<std::string> pixbufFormats();

/// A picture to be written.
struct EncoderInput {
  int width, height;
  bool alpha;
  std::function<const uint32_t*(int y)> row;  ///< valid until the next call
  PictureExtras extras;
  int quality;      ///< JPEG, 1 to 100
  int compression;  ///< PNG, 0 to 9
};
/// What a codec says when it cannot write; it knows no file's name.
class EncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
/// They throw EncodingError, or leave the cause in `errno` and the file's error state.
void writeJpeg(FILE* file, const EncoderInput& input);
void writePng(FILE* file, const EncoderInput& input);
void writeWithPixbuf(FILE* file, const EncoderInput& input, const char* format);

/// The orientation that Exif data tells, "Exif\0\0" before it or not; 1 when it tells none.
int exifOrientation(std::string_view exif);

}  // namespace host
