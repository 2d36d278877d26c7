// All other formats, through gdk-pixbuf, which is opened when first needed.
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sstream>

#include "Codec.h"
#include "Gif.h"
#include "Library.h"

namespace host {

namespace {

struct PixbufLibrary {
  Library library{"libgdk_pixbuf-2.0.so.0"};
  ZVK_FUNCTION(gdk_pixbuf_loader_new);
  ZVK_FUNCTION(gdk_pixbuf_loader_write);
  ZVK_FUNCTION(gdk_pixbuf_loader_close);
  ZVK_FUNCTION(gdk_pixbuf_loader_get_pixbuf);
  ZVK_FUNCTION(gdk_pixbuf_loader_get_animation);
  ZVK_FUNCTION(gdk_pixbuf_animation_is_static_image);
  ZVK_FUNCTION(gdk_pixbuf_loader_get_format);
  ZVK_FUNCTION(gdk_pixbuf_loader_set_size);
  ZVK_FUNCTION(gdk_pixbuf_get_formats);
  ZVK_FUNCTION(gdk_pixbuf_format_get_name);
  ZVK_FUNCTION(gdk_pixbuf_get_option);
  ZVK_FUNCTION(gdk_pixbuf_get_width);
  ZVK_FUNCTION(gdk_pixbuf_get_height);
  ZVK_FUNCTION(gdk_pixbuf_get_n_channels);
  ZVK_FUNCTION(gdk_pixbuf_get_rowstride);
  ZVK_FUNCTION(gdk_pixbuf_read_pixels);
  ZVK_FUNCTION(gdk_pixbuf_new);
  ZVK_FUNCTION(gdk_pixbuf_get_pixels);
  ZVK_FUNCTION(gdk_pixbuf_save_to_callbackv);
  ZVK_FUNCTION(g_signal_connect_data);
  ZVK_FUNCTION(g_object_unref);
  ZVK_FUNCTION(g_error_free);
  ZVK_FUNCTION(g_file_error_quark);
  ZVK_FUNCTION(g_set_error_literal);
  ZVK_FUNCTION(g_log_set_handler);
  ZVK_FUNCTION(g_slist_free);
  ZVK_FUNCTION(g_free);
  ZVK_FUNCTION(g_base64_decode);
  ZVK_FUNCTION(g_base64_encode);
};

/// Whether a loader stumbled over what its file says of itself, which it would print.
bool stumbled = false;

const PixbufLibrary& pixbuf() {
  static const PixbufLibrary functions = [] {
    PixbufLibrary library;
    const auto note = [](const gchar*, GLogLevelFlags, const gchar*, gpointer) { stumbled = true; };
    library.g_log_set_handler("GdkPixbuf", G_LOG_LEVEL_MASK, note, nullptr);
    return library;
  }();
  return functions;
}

struct Unref {
  void operator()(void* object) const { pixbuf().g_object_unref(object); }
};
using Pixbuf = std::unique_ptr<GdkPixbuf, Unref>;

std::string takeMessage(GError* error) {
  std::string text = error ? error->message : "unknown error";
  if (error) pixbuf().g_error_free(error);
  // Some go on to guess at causes in further lines, some end with a full stop.
  text.resize(std::min(text.find('\n'), text.size()));
  while (text.ends_with('.')) text.pop_back();
  return text;
}

std::string upperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return text;
}

/// How many icons a file's directory tells of; 0 for other files.
uint16_t iconsIn(std::string_view bytes) {
  uint16_t count = 0;
  if (bytes.starts_with(std::string_view("\0\0\1\0", 4)) && bytes.size() >= 4 + sizeof count) {
    memcpy(&count, &bytes[4], sizeof count);
  }
  return count;
}

/// Whether an icon's directory tells of more than there is: its loader takes a cut mask for
/// granted.
bool isCutIcon(std::string_view bytes) {
  constexpr size_t kHeader = 6, kEntry = 16, kSize = 8;
  uint16_t count = iconsIn(bytes);
  for (size_t at = kHeader; count > 0 && at + kEntry <= bytes.size(); at += kEntry, --count) {
    uint32_t place[2];  // size and offset
    memcpy(place, &bytes[at + kSize], sizeof place);
    if (uint64_t{place[0]} + place[1] > bytes.size()) return true;
  }
  return count > 0;
}

/// Whether a PNM file has more than 255 levels: "P6", width, height and levels, comments between.
bool isDeepPnm(std::string_view bytes) {
  constexpr size_t kHeader = 1000;
  constexpr int kLevels = 4;
  std::istringstream words{std::string(bytes.substr(0, kHeader))};
  std::string word;
  for (int place = 0; words >> word;) {
    if (word.starts_with('#')) {
      std::getline(words, word);
    } else if (++place == 1 && word != "P2" && word != "P3" && word != "P5" && word != "P6") {
      return false;
    } else if (place == kLevels) {
      return atoi(word.c_str()) > 255;
    }
  }
  return false;
}

/// The bytes go to the loader in two steps: until the size is known, which comes before any memory
/// is taken for pixels, and the rest.
class PixbufDecoder final : public Decoder {
 public:
  PixbufDecoder(std::string_view bytes, const std::string& name)
      : name_(name),
        loader_(pixbuf().gdk_pixbuf_loader_new()),
        rest_(bytes),
        cutIcon_(isCutIcon(bytes)),
        cutGif_(isCutGif(bytes)),
        icons_(iconsIn(bytes)),
        deepPnm_(isDeepPnm(bytes)) {
    stumbled = false;
    connect("size-prepared", reinterpret_cast<GCallback>(&PixbufDecoder::onSize));
    connect("area-updated", reinterpret_cast<GCallback>(&PixbufDecoder::onArea));
    while (header_.width == 0 && !rest_.empty() && error_.empty()) write(kHeaderStep);
    if (header_.width == 0) close();  // some formats are only looked at when everything is there
    GdkPixbufFormat* format = pixbuf().gdk_pixbuf_loader_get_format(loader_.get());
    if (format == nullptr) throw FileError("");
    gchar* formatName = pixbuf().gdk_pixbuf_format_get_name(format);
    header_.format = upperCase(formatName);
    pixbuf().g_free(formatName);
    if (header_.width == 0) {
      if (error_.empty()) error_ = "no picture is in it";
      fail();
    }
    // What comes of it depends on the pixels in most formats.
    header_.alpha = true;
  }
  ~PixbufDecoder() override { close(); }

  void decode(const RowPointers& rows) override {
    while (!rest_.empty() && error_.empty()) write(kStep);
    close();
    GdkPixbuf* pixels = pixbuf().gdk_pixbuf_loader_get_pixbuf(loader_.get());
    const bool fits = pixels && pixbuf().gdk_pixbuf_get_width(pixels) == header_.width &&
                      pixbuf().gdk_pixbuf_get_height(pixels) == header_.height;
    if (!fits) fail();
    if (!error_.empty()) noteDamage(error_);
    const auto missing = std::count(seen_.begin(), seen_.end(), false);
    if (missing > 0) {
      noteDamage("the file ends too early: " + std::to_string(missing) +
                 (missing == 1 ? " row is missing" : " rows are missing"));
    }
    if (cutIcon_) noteDamage("the file ends too early");
    if (cutGif_) noteDamage("the picture is not whole");
    if (stumbled) noteDamage("the file contradicts itself");
    copy(pixels, rows);
    readExtras(pixels);
  }

 private:
  static constexpr size_t kHeaderStep = 256, kStep = size_t{1} << 16;
  static constexpr int64_t kMostPixels = int64_t{1} << 28;

  void connect(const char* signal, GCallback callback) {
    pixbuf().g_signal_connect_data(loader_.get(), signal, callback, this, nullptr,
                                   GConnectFlags(0));
  }

  static void onSize(GdkPixbufLoader* loader, gint width, gint height, PixbufDecoder* self) {
    // Of animations and icons the first picture counts.
    if (self->header_.width != 0) return;
    // Nobody takes so large a picture; some loaders would take the memory for it first.
    if (int64_t{width} * height > kMostPixels) pixbuf().gdk_pixbuf_loader_set_size(loader, 0, 0);
    self->header_.width = width;
    self->header_.height = height;
    self->seen_.assign(static_cast<size_t>(std::max(height, 0)), false);
  }

  static void onArea(GdkPixbufLoader*, gint, gint y, gint, gint height, PixbufDecoder* self) {
    for (gint row = std::max(y, 0); row < y + height; ++row) {
      if (static_cast<size_t>(row) < self->seen_.size())
        self->seen_[static_cast<size_t>(row)] = true;
    }
  }

  void write(size_t most) {
    const size_t count = std::min(most, rest_.size());
    GError* error = nullptr;
    if (!pixbuf().gdk_pixbuf_loader_write(
            loader_.get(), reinterpret_cast<const guchar*>(rest_.data()), count, &error)) {
      error_ = takeMessage(error);
    }
    rest_.remove_prefix(count);
  }

  void close() {
    if (closed_) return;
    closed_ = true;
    GError* error = nullptr;
    const bool whole = pixbuf().gdk_pixbuf_loader_close(loader_.get(), &error);
    if (!whole && error_.empty()) {
      error_ = takeMessage(error);
    } else if (error) {
      pixbuf().g_error_free(error);
    }
  }

  [[noreturn]] void fail() const {
    throw FileError(name_ + ": not a whole " + header_.format + " file: " + error_);
  }

  void copy(const GdkPixbuf* pixels, const RowPointers& rows) const {
    const int channels = pixbuf().gdk_pixbuf_get_n_channels(pixels);
    const int stride = pixbuf().gdk_pixbuf_get_rowstride(pixels);
    const guchar* first = pixbuf().gdk_pixbuf_read_pixels(pixels);
    for (size_t y = 0; y < rows.size(); ++y) {
      const guchar* p = first + y * static_cast<size_t>(stride);
      for (int x = 0; x < header_.width; ++x, p += channels) {
        const uint32_t alpha = channels == 4 ? p[3] : 255;
        rows[y][x] = alpha << 24 | uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
      }
    }
  }

  void readExtras(GdkPixbuf* pixels) {
    const auto option = [&](const char* key) {
      const char* text = pixbuf().gdk_pixbuf_get_option(pixels, key);
      return std::string(text ? text : "");
    };
    header_.alpha = pixbuf().gdk_pixbuf_get_n_channels(pixels) == 4;
    const int orientation = atoi(option("orientation").c_str());
    if (orientation >= 1 && orientation <= 8) header_.orientation = orientation;
    header_.extras.dotsPerInchX = atof(option("x-dpi").c_str());
    header_.extras.dotsPerInchY = atof(option("y-dpi").c_str());
    GdkPixbufAnimation* frames = pixbuf().gdk_pixbuf_loader_get_animation(loader_.get());
    if (frames != nullptr && !pixbuf().gdk_pixbuf_animation_is_static_image(frames)) {
      noteLoss("only the first frame is taken");
    }
    if (!option("multipage").empty()) noteLoss("only the first page is taken");
    if (icons_ > 1) {
      noteLoss("only one of its " + std::to_string(icons_) + " icons is taken");
    }
    if (deepPnm_ || atoi(option("bits-per-sample").c_str()) > 8) {
      noteLoss("16 bits per channel become 8");
    }
    const std::string profile = option("icc-profile");
    if (profile.empty()) return;
    gsize length = 0;
    guchar* data = pixbuf().g_base64_decode(profile.c_str(), &length);
    takeProfile({reinterpret_cast<char*>(data), length});
    pixbuf().g_free(data);
  }

  std::string name_;
  std::unique_ptr<GdkPixbufLoader, Unref> loader_;
  std::string_view rest_;
  std::vector<bool> seen_;  ///< rows of which the loader told
  std::string error_;
  bool cutIcon_, cutGif_;
  int icons_;
  bool deepPnm_, closed_ = false;
};

gboolean appendToFile(const gchar* bytes, gsize count, GError** error, gpointer file) {
  if (fwrite(bytes, 1, count, static_cast<FILE*>(file)) == count) return TRUE;
  const int cause = errno;
  pixbuf().g_set_error_literal(error, pixbuf().g_file_error_quark(), cause, strerror(cause));
  return FALSE;
}

Pixbuf toPixbuf(const EncoderInput& input) {
  Pixbuf result(
      pixbuf().gdk_pixbuf_new(GDK_COLORSPACE_RGB, input.alpha, 8, input.width, input.height));
  if (!result) throw std::bad_alloc();
  guchar* first = pixbuf().gdk_pixbuf_get_pixels(result.get());
  const auto stride = static_cast<size_t>(pixbuf().gdk_pixbuf_get_rowstride(result.get()));
  for (int y = 0; y < input.height; ++y) {
    guchar* p = first + static_cast<size_t>(y) * stride;
    const uint32_t* row = input.row(y);
    for (int x = 0; x < input.width; ++x) {
      *p++ = static_cast<guchar>(row[x] >> 16);
      *p++ = static_cast<guchar>(row[x] >> 8);
      *p++ = static_cast<guchar>(row[x]);
      if (input.alpha) *p++ = static_cast<guchar>(row[x] >> 24);
    }
  }
  return result;
}

}  // namespace

std::unique_ptr<Decoder> openWithPixbuf(std::string_view bytes, const std::string& name) {
  return std::make_unique<PixbufDecoder>(bytes, name);
}

std::vector<std::string> pixbufFormats() {
  std::vector<std::string> names;
  GSList* formats = pixbuf().gdk_pixbuf_get_formats();
  for (const GSList* entry = formats; entry != nullptr; entry = entry->next) {
    gchar* name = pixbuf().gdk_pixbuf_format_get_name(static_cast<GdkPixbufFormat*>(entry->data));
    // X bitmaps are not recognized by their content.
    if (strcmp(name, "xbm") != 0) names.push_back(upperCase(name));
    pixbuf().g_free(name);
  }
  pixbuf().g_slist_free(formats);
  std::sort(names.begin(), names.end());
  return names;
}

void writeWithPixbuf(FILE* file, const EncoderInput& input, const char* format) {
  const Pixbuf picture = toPixbuf(input);
  std::vector<std::pair<const char*, std::string>> options;
  if (strcmp(format, "tiff") == 0) {
    const std::string& profile = input.extras.colorProfile;
    if (!profile.empty()) {
      gchar* text =
          pixbuf().g_base64_encode(reinterpret_cast<const guchar*>(profile.data()), profile.size());
      options.emplace_back("icc-profile", text);
      pixbuf().g_free(text);
    }
    if (input.extras.dotsPerInchX > 0) {
      options.emplace_back("x-dpi", std::to_string(std::lround(input.extras.dotsPerInchX)));
      options.emplace_back("y-dpi", std::to_string(std::lround(input.extras.dotsPerInchY)));
    }
  }
  std::vector<char*> keys, values;
  for (auto& [key, value] : options) {
    keys.push_back(const_cast<char*>(key));
    values.push_back(value.data());
  }
  keys.push_back(nullptr);
  values.push_back(nullptr);
  GError* error = nullptr;
  const bool written = pixbuf().gdk_pixbuf_save_to_callbackv(
      picture.get(), appendToFile, file, format, keys.data(), values.data(), &error);
  if (!written) throw EncodingError(takeMessage(error));
}

}  // namespace host
