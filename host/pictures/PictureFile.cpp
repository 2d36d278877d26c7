#include "host/pictures/PictureFile.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>

#include "frame/DeclarationGrammar.h"

namespace host {

namespace {

struct Unref {
  void operator()(GdkPixbuf* pixbuf) const { g_object_unref(pixbuf); }
};
using Pixbuf = std::unique_ptr<GdkPixbuf, Unref>;

std::string takeMessage(GError* error) {
  std::string text = error ? error->message : "unknown error";
  if (error) g_error_free(error);
  return text;
}

// --- Pixels -------------------------------------------------------------------------------------

uint32_t overWhite(uint32_t pixel) {
  const uint32_t alpha = pixel >> 24;
  uint32_t result = 0xFF000000;
  for (int shift = 0; shift < 24; shift += 8) {
    const uint32_t value = pixel >> shift & 255;
    result |= (value * alpha + 255 * (255 - alpha) + 127) / 255 << shift;
  }
  return result;
}

std::vector<uint32_t> canonicalPixels(const GdkPixbuf* pixbuf) {
  const int width = gdk_pixbuf_get_width(pixbuf), height = gdk_pixbuf_get_height(pixbuf);
  const int channels = gdk_pixbuf_get_n_channels(pixbuf);
  const guchar* pixels = gdk_pixbuf_read_pixels(pixbuf);
  std::vector<uint32_t> result;
  result.reserve(static_cast<size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    const guchar* p = pixels + static_cast<size_t>(y) * gdk_pixbuf_get_rowstride(pixbuf);
    for (int x = 0; x < width; ++x, p += channels) {
      const uint32_t alpha = channels == 4 ? p[3] : 255;
      result.push_back(alpha << 24 | uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2]);
    }
  }
  return result;
}

Pixbuf toPixbuf(Picture& picture) {
  const bool alpha = picture.hasAlpha();
  const bool premultiplied = alpha && picture.options().storage == Storage::kCairo;
  Pixbuf pixbuf(gdk_pixbuf_new(GDK_COLORSPACE_RGB, alpha, 8, picture.width(), picture.height()));
  if (!pixbuf) return pixbuf;
  const std::vector<uint32_t> words = picture.pixels();
  size_t next = 0;
  for (int y = 0; y < picture.height(); ++y) {
    guchar* p = gdk_pixbuf_get_pixels(pixbuf.get()) +
                static_cast<size_t>(y) * gdk_pixbuf_get_rowstride(pixbuf.get());
    for (int x = 0; x < picture.width(); ++x) {
      const uint32_t pixel = premultiplied ? unpremultiplied(words[next++]) : words[next++];
      *p++ = static_cast<guchar>(pixel >> 16);
      *p++ = static_cast<guchar>(pixel >> 8);
      *p++ = static_cast<guchar>(pixel);
      if (alpha) *p++ = static_cast<guchar>(pixel >> 24);
    }
  }
  return pixbuf;
}

const char* formatFor(const std::string& path) {
  constexpr struct {
    std::string_view ending;
    const char* format;
  } kFormats[] = {{".png", "png"}, {".jpg", "jpeg"}, {".jpeg", "jpeg"},
                  {".bmp", "bmp"}, {".tif", "tiff"}, {".tiff", "tiff"}};
  const std::string ending = std::filesystem::path(path).extension();
  for (const auto& known : kFormats) {
    if (grammar::equalIgnoringCase(ending, known.ending)) return known.format;
  }
  if (ending.empty()) return "png";
  throw FileError("cannot write " + path + ": pictures are written as .png, .jpg, .bmp or .tif");
}

// --- Files --------------------------------------------------------------------------------------

[[noreturn]] void failToWrite(const std::string& path, const std::string& cause) {
  throw FileError("cannot write " + path + ": " + cause);
}

using Writing = std::function<void(FILE*)>;

void fill(FILE* file, const std::string& path, const Writing& write) {
  write(file);
  const bool flushed = fflush(file) == 0 && !ferror(file);
  if (!flushed) failToWrite(path, strerror(errno));
}

// Lets `write` fill a new file beside `path`, which then takes its place.
void replaceRegularFile(const std::string& path, const Writing& write) {
  std::string temporary = path + ".XXXXXX";
  const int descriptor = mkstemp(temporary.data());
  if (descriptor < 0) failToWrite(path, strerror(errno));
  FILE* file = fdopen(descriptor, "wb");
  try {
    fill(file, path, write);
  } catch (...) {
    fclose(file);
    unlink(temporary.c_str());
    throw;
  }
  // What mkstemp made is private; a file that is replaced passes on its own permissions.
  struct stat old;
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(descriptor, stat(path.c_str(), &old) == 0 ? old.st_mode & 07777 : 0666 & ~mask);
  fclose(file);
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    const std::string cause = strerror(errno);
    unlink(temporary.c_str());
    failToWrite(path, cause);
  }
}

void replaceFile(const std::string& path, const Writing& write) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) failToWrite(path, "it is a directory");
  if (!fs::exists(status)) return replaceRegularFile(path, write);
  // A link stays a link, to a file that is replaced.
  if (fs::is_regular_file(status)) return replaceRegularFile(fs::canonical(path), write);
  // A device or a pipe is no file to replace.
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "wb"), fclose);
  if (!file) failToWrite(path, strerror(errno));
  fill(file.get(), path, write);
}

gboolean appendToFile(const gchar* bytes, gsize count, GError** error, gpointer file) {
  if (fwrite(bytes, 1, count, static_cast<FILE*>(file)) == count) return TRUE;
  g_set_error_literal(error, G_FILE_ERROR, g_file_error_from_errno(errno), strerror(errno));
  return FALSE;
}

void requireReadable(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw FileError("cannot read " + path + ": it is a directory");
  }
  if (access(path.c_str(), R_OK) != 0) {
    throw FileError("cannot read " + path + ": " + strerror(errno));
  }
}

Pixbuf openPixbuf(const std::string& path) {
  if (!isPictureFile(path)) {
    throw FileError(path + " is not a picture in a format that can be read");
  }
  GError* error = nullptr;
  Pixbuf pixbuf(gdk_pixbuf_new_from_file(path.c_str(), &error));
  if (!pixbuf) throw FileError("cannot read " + path + ": " + takeMessage(error));
  return Pixbuf(gdk_pixbuf_apply_embedded_orientation(pixbuf.get()));
}

}  // namespace

bool isPictureFile(const std::string& path) {
  requireReadable(path);
  return gdk_pixbuf_get_file_info(path.c_str(), nullptr, nullptr) != nullptr;
}

PictureRef loadPicture(Host& host, const std::string& path, PictureOptions options) {
  const Pixbuf pixbuf = openPixbuf(path);
  options.alpha = options.alpha && gdk_pixbuf_get_has_alpha(pixbuf.get());
  std::vector<uint32_t> pixels = canonicalPixels(pixbuf.get());
  const bool premultiply = options.alpha && options.storage == Storage::kCairo;
  for (uint32_t& pixel : pixels) {
    if (premultiply) pixel = premultiplied(pixel);
    if (!options.alpha) pixel = overWhite(pixel);
  }
  PictureRef picture = host.newPicture(gdk_pixbuf_get_width(pixbuf.get()),
                                       gdk_pixbuf_get_height(pixbuf.get()), pixels, options);
  if (!picture) {
    throw FileError("cannot keep " + path + " in " +
                    std::string(kStorageNames[static_cast<size_t>(options.storage)]) + " storage");
  }
  return picture;
}

void savePicture(Picture& picture, const std::string& path) {
  const char* format = formatFor(path);
  const Pixbuf pixbuf = toPixbuf(picture);
  if (!pixbuf) throw FileError("cannot write " + path + ": not enough memory");
  replaceFile(path, [&](FILE* file) {
    GError* error = nullptr;
    if (!gdk_pixbuf_save_to_callback(pixbuf.get(), appendToFile, file, format, &error, nullptr)) {
      throw FileError("cannot write " + path + ": " + takeMessage(error));
    }
  });
}

std::string readFile(const std::string& path) {
  requireReadable(path);
  const auto fail = [&] { throw FileError("cannot read " + path + ": " + strerror(errno)); };
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) fail();
  std::string bytes;
  char block[65536];
  for (size_t count; (count = fread(block, 1, sizeof block, file)) > 0;) bytes.append(block, count);
  const bool failed = ferror(file) != 0;
  const int cause = errno;
  fclose(file);
  errno = cause;
  if (failed) fail();
  return bytes;
}

void writeFile(const std::string& path, std::string_view bytes) {
  replaceFile(path, [&](FILE* file) { fwrite(bytes.data(), 1, bytes.size(), file); });
}

}  // namespace host
