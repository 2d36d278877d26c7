// JPEG files, through libjpeg-turbo: rows are decoded into and encoded from the picture's memory.
#include <csetjmp>
#include <cstdio>
#include <cstring>

// jpeglib.h needs stdio's declarations before it.
#include <jerror.h>
#include <jpeglib.h>

#include "Codec.h"

namespace host {

namespace {

#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "words are decoded as blue, green, red, alpha in memory"
#endif

/// Errors leave the library by a jump; warnings are kept.
struct Messages {
  jpeg_error_mgr manager;
  jmp_buf jump;
  bool outOfMemory = false;
  char error[JMSG_LENGTH_MAX] = "";
  char warning[JMSG_LENGTH_MAX] = "";

  Messages() {
    jpeg_std_error(&manager);
    manager.error_exit = [](j_common_ptr common) {
      Messages& messages = of(common);
      messages.outOfMemory = common->err->msg_code == JERR_OUT_OF_MEMORY;
      common->err->format_message(common, messages.error);
      longjmp(messages.jump, 1);
    };
    manager.emit_message = [](j_common_ptr common, int level) {
      const int code = common->err->msg_code;
      const bool harmless = code == JWRN_JFIF_MAJOR || code == JWRN_ADOBE_XFORM;
      if (level >= 0 || harmless || of(common).warning[0] != '\0') return;
      common->err->format_message(common, of(common).warning);
    };
  }

  static Messages& of(j_common_ptr common) { return *reinterpret_cast<Messages*>(common->err); }

  /// Whether `step`, which may hold nothing that needs destruction, ran to its end.
  template <typename Step>
  bool done(Step step) {
    if (setjmp(jump) == 0) {
      step();
      return true;
    }
    if (outOfMemory) throw std::bad_alloc();
    return false;
  }
};
static_assert(offsetof(Messages, manager) == 0);

constexpr int kExifMarker = JPEG_APP0 + 1, kProfileMarker = JPEG_APP0 + 2;
constexpr unsigned kWholeMarker = 0xFFFF;

class JpegDecoder final : public Decoder {
 public:
  JpegDecoder(std::string_view bytes, const std::string& name) : name_(name) {
    jpeg_.err = &messages_.manager;
    const bool read = messages_.done([&] {
      jpeg_create_decompress(&jpeg_);
      jpeg_mem_src(&jpeg_, reinterpret_cast<const unsigned char*>(bytes.data()),
                   static_cast<unsigned long>(bytes.size()));
      jpeg_save_markers(&jpeg_, kExifMarker, kWholeMarker);
      jpeg_save_markers(&jpeg_, kProfileMarker, kWholeMarker);
      jpeg_read_header(&jpeg_, TRUE);
    });
    if (!read) fail();
    header_.format = "JPEG";
    header_.width = static_cast<int>(jpeg_.image_width);
    header_.height = static_cast<int>(jpeg_.image_height);
    readExtras();
  }
  JpegDecoder(const JpegDecoder&) = delete;
  JpegDecoder& operator=(const JpegDecoder&) = delete;
  ~JpegDecoder() override { jpeg_destroy_decompress(&jpeg_); }

  void decode(const RowPointers& rows) override {
    const bool inks = jpeg_.jpeg_color_space == JCS_CMYK || jpeg_.jpeg_color_space == JCS_YCCK;
    const bool read = messages_.done([&] {
      jpeg_.out_color_space = inks ? JCS_CMYK : JCS_EXT_BGRA;
      jpeg_start_decompress(&jpeg_);
      while (jpeg_.output_scanline < jpeg_.output_height) {
        uint32_t* row = rows[jpeg_.output_scanline];
        JSAMPROW samples = reinterpret_cast<JSAMPROW>(row);
        jpeg_read_scanlines(&jpeg_, &samples, 1);
        if (inks) inksToLight(row);
      }
      jpeg_finish_decompress(&jpeg_);
    });
    if (!read && jpeg_.output_scanline == 0) fail();
    if (!read) noteDamage(messages_.error);
    noteDamage(messages_.warning);
  }

 private:
  [[noreturn]] void fail() {
    const std::string error = messages_.error;
    jpeg_destroy_decompress(&jpeg_);
    throw FileError(name_ + ": not a whole JPEG file: " + error);
  }

  void readExtras() {
    for (auto* marker = jpeg_.marker_list; marker != nullptr; marker = marker->next) {
      if (marker->marker != kExifMarker) continue;
      takeExif({reinterpret_cast<char*>(marker->data), marker->data_length});
    }
    JOCTET* profile = nullptr;
    unsigned length = 0;
    messages_.warning[0] = '\0';
    messages_.done([&] { jpeg_read_icc_profile(&jpeg_, &profile, &length); });
    // A profile that is not whole leaves the pixels whole.
    const bool broken = messages_.warning[0] != '\0';
    if (profile != nullptr || broken) takeProfile({reinterpret_cast<char*>(profile), length});
    free(profile);
    messages_.warning[0] = '\0';
    if (jpeg_.density_unit == 0) return;
    const double unit = jpeg_.density_unit == 2 ? kInchInCentimetres : 1;
    header_.extras.dotsPerInchX = unit * jpeg_.X_density;
    header_.extras.dotsPerInchY = unit * jpeg_.Y_density;
  }

  // Of files that Adobe's marker says so of, the inks are inverted, so that they are light already.
  void inksToLight(uint32_t* row) const {
    const uint32_t flip = jpeg_.saw_Adobe_marker ? 0 : 0xFFFFFFFF;
    for (JDIMENSION x = 0; x < jpeg_.output_width; ++x) {
      const uint32_t inks = row[x] ^ flip;
      const uint32_t black = inks >> 24;
      uint32_t word = 0xFF000000;
      for (int channel = 0; channel < 3; ++channel) {
        word |= ((inks >> 8 * channel & 255) * black + 127) / 255 << (16 - 8 * channel);
      }
      row[x] = word;
    }
  }

  std::string name_;
  Messages messages_;
  jpeg_decompress_struct jpeg_{};
};

void encode(jpeg_compress_struct& jpeg, FILE* file, const EncoderInput& input) {
  jpeg_create_compress(&jpeg);
  jpeg_stdio_dest(&jpeg, file);
  jpeg.image_width = static_cast<JDIMENSION>(input.width);
  jpeg.image_height = static_cast<JDIMENSION>(input.height);
  jpeg.input_components = 4;
  jpeg.in_color_space = JCS_EXT_BGRX;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, input.quality, TRUE);
  // From here on nobody wants edges between colours to blur.
  constexpr int kFullColorFrom = 90;
  if (input.quality >= kFullColorFrom) {
    jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = 1;
  }
  if (input.extras.dotsPerInchX > 0) {
    jpeg.density_unit = 1;
    jpeg.X_density = static_cast<UINT16>(input.extras.dotsPerInchX + 0.5);
    jpeg.Y_density = static_cast<UINT16>(input.extras.dotsPerInchY + 0.5);
  }
  jpeg_start_compress(&jpeg, TRUE);
  const std::string& profile = input.extras.colorProfile;
  if (!profile.empty()) {
    jpeg_write_icc_profile(&jpeg, reinterpret_cast<const JOCTET*>(profile.data()),
                           static_cast<unsigned>(profile.size()));
  }
  for (int y = 0; y < input.height; ++y) {
    auto* row = reinterpret_cast<JSAMPROW>(const_cast<uint32_t*>(input.row(y)));
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
}

}  // namespace

std::unique_ptr<Decoder> openJpeg(std::string_view bytes, const std::string& name) {
  return std::make_unique<JpegDecoder>(bytes, name);
}

void writeJpeg(FILE* file, const EncoderInput& input) {
  Messages messages;
  jpeg_compress_struct jpeg{};
  jpeg.err = &messages.manager;
  const bool written = messages.done([&] { encode(jpeg, file, input); });
  jpeg_destroy_compress(&jpeg);
  if (!written && !ferror(file)) throw EncodingError(messages.error);
}

}  // namespace host
