// PNG files, through libpng: rows are decoded into and encoded from the picture's memory.
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <new>

#include "Codec.h"

namespace host {

namespace {

constexpr const char* kEndsEarly = "the file ends too early";
constexpr double kInchInMetres = 0.0254;

/// Errors leave the library by a jump.
struct Messages {
  jmp_buf jump;
  char error[256] = "";
  bool brokenProfile = false;

  static void onError(png_structp png, png_const_charp text) {
    auto& messages = *static_cast<Messages*>(png_get_error_ptr(png));
    snprintf(messages.error, sizeof messages.error, "%s", text);
    longjmp(messages.jump, 1);
  }
  static void onWarning(png_structp png, png_const_charp text) {
    if (strncmp(text, "iCCP", 4) != 0) return;
    static_cast<Messages*>(png_get_error_ptr(png))->brokenProfile = true;
  }

  /// Whether `step`, which may hold nothing that needs destruction, ran to its end.
  template <typename Step>
  bool done(Step step) {
    if (setjmp(jump) == 0) {
      step();
      return true;
    }
    if (strstr(error, "emory")) throw std::bad_alloc();
    return false;
  }
};

class PngDecoder final : public Decoder {
 public:
  PngDecoder(std::string_view bytes, const std::string& name)
      : name_(name),
        rest_(bytes),
        png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &messages_, &Messages::onError,
                                    &Messages::onWarning)),
        info_(png_ ? png_create_info_struct(png_) : nullptr) {
    if (info_ == nullptr) throw std::bad_alloc();
    const bool read = messages_.done([&] {
      png_set_read_fn(png_, this, [](png_structp png, png_bytep to, size_t count) {
        static_cast<PngDecoder*>(png_get_io_ptr(png))->take(to, count);
      });
      png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // the host has its own
      png_read_info(png_, info_);
    });
    if (!read) fail();
    header_.format = "PNG";
    header_.width = static_cast<int>(png_get_image_width(png_, info_));
    header_.height = static_cast<int>(png_get_image_height(png_, info_));
    header_.alpha = (png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) != 0 ||
                    png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
    if (bytes.substr(0, bytes.find("IDAT")).find("acTL") != std::string_view::npos) {
      noteLoss("only the first frame is taken");
    }
    if (png_get_bit_depth(png_, info_) == 16) noteLoss("16 bits per channel become 8");
    readExtras();
  }
  PngDecoder(const PngDecoder&) = delete;
  PngDecoder& operator=(const PngDecoder&) = delete;
  ~PngDecoder() override { png_destroy_read_struct(&png_, &info_, nullptr); }

  void decode(const RowPointers& rows) override {
    volatile int started = 0;
    const bool read = messages_.done([&] {
      png_set_expand(png_);
      png_set_scale_16(png_);
      png_set_gray_to_rgb(png_);
      png_set_bgr(png_);
      png_set_add_alpha(png_, 255, PNG_FILLER_AFTER);
      const int passes = png_set_interlace_handling(png_);
      png_read_update_info(png_, info_);
      for (int pass = 0; pass < passes; ++pass) {
        for (uint32_t* row : rows) {
          png_read_row(png_, reinterpret_cast<png_bytep>(row), nullptr);
          started = 1;
        }
      }
      png_read_end(png_, nullptr);
    });
    if (!read && !started) fail();
    if (!read) noteDamage(messages_.error);
  }

 private:
  [[noreturn]] void fail() {
    const std::string error = damage().empty() ? messages_.error : damage();
    png_destroy_read_struct(&png_, &info_, nullptr);
    throw FileError(name_ + ": not a whole PNG file: " + error);
  }

  void take(png_bytep to, size_t count) {
    if (rest_.empty()) png_error(png_, kEndsEarly);
    // What there is of a block is worth decoding.
    const size_t left = std::min(count, rest_.size());
    if (left < count) noteDamage(kEndsEarly);
    memcpy(to, rest_.data(), left);
    memset(to + left, 0, count - left);
    rest_.remove_prefix(left);
  }

  void readExtras() {
    png_charp profileName = nullptr;
    png_bytep data = nullptr;
    png_uint_32 length = 0;
    int compression = 0;
    if (png_get_iCCP(png_, info_, &profileName, &compression, &data, &length) != 0) {
      takeProfile({reinterpret_cast<char*>(data), length});
    } else if (messages_.brokenProfile) {
      takeProfile("");
    }
    if (png_get_eXIf_1(png_, info_, &length, &data) != 0) {
      takeExif({reinterpret_cast<char*>(data), length});
    }
    png_uint_32 x = 0, y = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    png_get_pHYs(png_, info_, &x, &y, &unit);
    if (unit != PNG_RESOLUTION_METER) return;
    header_.extras.dotsPerInchX = x * kInchInMetres;
    header_.extras.dotsPerInchY = y * kInchInMetres;
  }

  std::string name_;
  std::string_view rest_;
  Messages messages_;
  png_structp png_;
  png_infop info_;
};

void encode(png_structp png, png_infop info, FILE* file, const EncoderInput& input) {
  const auto perMetre = [](double dots) {
    return static_cast<png_uint_32>(dots / kInchInMetres + 0.5);
  };
  png_init_io(png, file);
  png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_set_compression_level(png, input.compression);
  // Trying all filters takes as long as compressing, and gains little on photographs.
  png_set_filter(png, PNG_FILTER_TYPE_BASE,
                 input.compression == 0  ? PNG_FILTER_NONE
                 : input.compression < 4 ? PNG_FILTER_SUB
                                         : PNG_ALL_FILTERS);
  png_set_IHDR(png, info, static_cast<png_uint_32>(input.width),
               static_cast<png_uint_32>(input.height), 8,
               input.alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const std::string& profile = input.extras.colorProfile;
  if (!profile.empty()) {
    png_set_benign_errors(png, 1);
    png_set_iCCP(png, info, "profile", PNG_COMPRESSION_TYPE_BASE,
                 reinterpret_cast<png_const_bytep>(profile.data()),
                 static_cast<png_uint_32>(profile.size()));
  }
  if (input.extras.dotsPerInchX > 0) {
    png_set_pHYs(png, info, perMetre(input.extras.dotsPerInchX),
                 perMetre(input.extras.dotsPerInchY), PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  png_set_bgr(png);
  if (!input.alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
  for (int y = 0; y < input.height; ++y) {
    png_write_row(png, reinterpret_cast<png_const_bytep>(input.row(y)));
  }
  png_write_end(png, nullptr);
}

}  // namespace

std::unique_ptr<Decoder> openPng(std::string_view bytes, const std::string& name) {
  return std::make_unique<PngDecoder>(bytes, name);
}

void writePng(FILE* file, const EncoderInput& input) {
  Messages messages;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &messages, &Messages::onError,
                                            [](png_structp, png_const_charp) {});
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    throw std::bad_alloc();
  }
  const bool written = messages.done([&] { encode(png, info, file, input); });
  png_destroy_write_struct(&png, &info);
  if (!written && !ferror(file)) throw EncodingError(messages.error);
}

}  // namespace host
