#include "PictureFile.h"

#include <algorithm>
#include <filesystem>
#include <new>

#include "frame/DeclarationGrammar.h"

namespace host {

namespace {

/// What all storages can hold.
constexpr int kLargestSide = 32767;

std::unique_ptr<Decoder> openDecoder(std::string_view bytes, const std::string& name) {
  if (bytes.starts_with("\xFF\xD8\xFF")) return openJpeg(bytes, name);
  if (bytes.starts_with("\x89PNG\r\n\x1A\n")) return openPng(bytes, name);
  return openWithPixbuf(bytes, name);
}

std::unique_ptr<Decoder> requireDecoder(std::string_view bytes, const std::string& name) {
  if (bytes.empty()) throw FileError(name + ": the file is empty");
  try {
    return openDecoder(bytes, name);
  } catch (const FileError& error) {
    if (*error.what() != '\0') throw;
    throw FileError(name + ": not a picture; possible are " + readableFormats());
  }
}

std::string sizeInWords(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

// --- Pixels -------------------------------------------------------------------------------------

uint32_t over(uint32_t pixel, uint32_t background) {
  const uint32_t alpha = pixel >> 24;
  uint32_t result = 0xFF000000;
  for (int shift = 0; shift < 24; shift += 8) {
    const uint32_t above = pixel >> shift & 255, below = background >> shift & 255;
    result |= (above * alpha + below * (255 - alpha) + 127) / 255 << shift;
  }
  return result;
}

/// Whether the words of a row are all opaque.
bool isOpaque(const uint32_t* row, int width) {
  uint32_t all = 0xFF000000;
  for (int x = 0; x < width; ++x) all &= row[x];
  return all == 0xFF000000;
}

/// Turns a row of a file's words into those of a picture with these options, in place.
void toStorage(uint32_t* row, int width, bool opaque, const PictureOptions& options,
               uint32_t background) {
  const bool cairo = options.storage == Storage::kCairo;
  if (cairo && opaque) return;
  for (int x = 0; x < width; ++x) {
    uint32_t pixel = row[x];
    if (!options.alpha) pixel = over(pixel, background);
    if (options.alpha && cairo) pixel = premultiplied(pixel);
    row[x] = pixelWord(pixel, options);
  }
}

/// The rows of `words`, in the place that an Exif orientation gives them.
std::vector<uint32_t> upright(const std::vector<uint32_t>& words, int width, int height,
                              int orientation) {
  const bool turned = orientation >= 5;
  const bool mirrored =
      orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool flipped = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  // Of the result; a turned picture's columns are the source's rows.
  const int columns = turned ? height : width, rows = turned ? width : height;
  std::vector<uint32_t> result(words.size());
  size_t next = 0;
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      int sourceX = turned ? y : x, sourceY = turned ? x : y;
      if (mirrored) sourceX = width - 1 - sourceX;
      if (flipped) sourceY = height - 1 - sourceY;
      result[next++] = words[static_cast<size_t>(sourceY) * static_cast<size_t>(width) +
                             static_cast<size_t>(sourceX)];
    }
  }
  return result;
}

RowPointers rowsOf(std::vector<uint32_t>& words, int width, int height) {
  RowPointers rows(static_cast<size_t>(height));
  for (size_t y = 0; y < rows.size(); ++y) rows[y] = words.data() + y * static_cast<size_t>(width);
  return rows;
}

RowPointers rowsOf(PixelStorage& storage) {
  RowPointers rows(static_cast<size_t>(storage.height()));
  for (size_t y = 0; y < rows.size(); ++y) {
    rows[y] = reinterpret_cast<uint32_t*>(storage.row(static_cast<int>(y)));
  }
  return rows;
}

PictureRef newPicture(Host& host, int width, int height, const PictureOptions& layout) {
  PictureRef picture = host.newPicture(width, height, layout);
  if (!picture) throw std::bad_alloc();
  return picture;
}

/// A density that the formats here cannot hold counts as not known.
void keepSensibleDensity(PictureExtras& extras) {
  for (const double dots : {extras.dotsPerInchX, extras.dotsPerInchY}) {
    if (!(dots >= 1 && dots <= UINT16_MAX)) extras.dotsPerInchX = extras.dotsPerInchY = 0;
  }
}

/// One file on its way into a picture.
class Loading {
 public:
  Loading(Host& host, std::string_view bytes, const std::string& name, const LoadOptions& options)
      : host_(host), name_(name), options_(options), decoder_(requireDecoder(bytes, name)) {}

  LoadedPicture run() {
    const PictureHeader& header = decoder_->header();
    const std::string problem = sizeProblem(host_, header.width, header.height);
    if (!problem.empty()) throw FileError(name_ + ": " + problem);
    // Only formats whose header tells everything are decoded into the picture itself.
    const bool known = header.format == "JPEG" || header.format == "PNG";
    const bool direct =
        known && header.orientation == 1 && options_.layout.storage != Storage::kDrawable;
    LoadedPicture loaded = direct ? decodeInPlace() : decodeAside();
    loaded.header = header;
    keepSensibleDensity(loaded.header.extras);
    loaded.damage = decoder_->damage();
    loaded.losses = decoder_->losses();
    return loaded;
  }

 private:
  PictureOptions layout() const {
    PictureOptions layout = options_.layout;
    layout.alpha = layout.alpha && (decoder_->header().alpha || options_.addAlpha);
    return layout;
  }

  void decode(const RowPointers& rows) {
    decoder_->decode(rows);
    const std::string& damage = decoder_->damage();
    if (damage.empty() || options_.damaged) return;
    throw FileError(name_ + ": damaged: " + damage + "; --damaged takes what is there");
  }

  LoadedPicture decodeInPlace() {
    const PictureHeader& header = decoder_->header();
    const PictureOptions options = layout();
    LoadedPicture loaded{newPicture(host_, header.width, header.height, options), {}, false, {}};
    PixelStorage& storage = loaded.picture->storage();
    const RowPointers rows = rowsOf(storage);
    storage.pixelsWillBeAccessed();
    decode(rows);
    for (uint32_t* row : rows) {
      const bool opaque = !header.alpha || isOpaque(row, header.width);
      loaded.transparent |= !opaque;
      toStorage(row, header.width, opaque && decoder_->damage().empty(), options,
                options_.background);
    }
    storage.pixelsChanged();
    return loaded;
  }

  LoadedPicture decodeAside() {
    const PictureHeader& header = decoder_->header();
    const auto count = static_cast<size_t>(header.width) * static_cast<size_t>(header.height);
    std::vector<uint32_t> words(count, 0xFF000000);
    decode(rowsOf(words, header.width, header.height));
    int width = header.width, height = header.height;
    if (header.orientation != 1) {
      words = upright(words, width, height, header.orientation);
      if (header.orientation >= 5) std::swap(width, height);
    }
    const PictureOptions options = layout();
    LoadedPicture loaded{newPicture(host_, width, height, options), {}, false, {}};
    for (uint32_t* row : rowsOf(words, width, height)) {
      const bool opaque = isOpaque(row, width);
      loaded.transparent |= !opaque;
      toStorage(row, width, opaque, options, options_.background);
    }
    loaded.picture->storage().write(words.data());
    return loaded;
  }

  Host& host_;
  const std::string& name_;
  const LoadOptions& options_;
  std::unique_ptr<Decoder> decoder_;
};

/// A picture's rows as words of a file: canonical colours, not premultiplied; laid over a
/// background where the file keeps no alpha.
class SavedRows {
 public:
  SavedRows(Picture& picture, bool keepAlpha, uint32_t background)
      : picture_(picture),
        mask_(picture.mask(false)),
        hasAlpha_(picture.hasAlpha() || mask_ != nullptr),
        keepAlpha_(keepAlpha),
        background_(background),
        row_(static_cast<size_t>(picture.width())) {
    // Drawables hand out all of their pixels at once.
    if (picture.storage().row(0) == nullptr) words_ = picture.words();
    if (mask_ && mask_->storage().row(0) == nullptr) maskWords_ = mask_->words();
    picture.storage().pixelsWillBeAccessed();
  }

  const uint32_t* row(int y) {
    const uint32_t* words = rowOf(picture_, words_, y);
    if (!hasAlpha_) return words;
    const uint32_t* masks = mask_ ? rowOf(*mask_, maskWords_, y) : nullptr;
    const bool premultiply = picture_.hasAlpha() && picture_.options().storage == Storage::kCairo;
    for (size_t x = 0; x < row_.size(); ++x) {
      uint32_t pixel = canonicalPixel(words[x], picture_.options());
      if (premultiply) pixel = unpremultiplied(pixel);
      // Black in a mask is opaque.
      if (masks) pixel = withAlpha(pixel, (pixel >> 24) * (255 - (masks[x] & 255)) / 255);
      row_[x] = keepAlpha_ ? pixel : over(pixel, background_);
    }
    return row_.data();
  }

  bool hasAlpha() const { return hasAlpha_; }

 private:
  static uint32_t withAlpha(uint32_t pixel, uint32_t alpha) {
    return (pixel & 0xFFFFFF) | alpha << 24;
  }

  static const uint32_t* rowOf(Picture& picture, const std::vector<uint32_t>& words, int y) {
    if (words.empty()) return reinterpret_cast<const uint32_t*>(picture.storage().row(y));
    return words.data() + static_cast<size_t>(y) * static_cast<size_t>(picture.width());
  }

  Picture& picture_;
  Picture* mask_;
  bool hasAlpha_, keepAlpha_;
  uint32_t background_;
  std::vector<uint32_t> words_, maskWords_, row_;
};

constexpr FileFormat kFormats[] = {{.name = "png", .alpha = true, .extras = true},
                                   {.name = "jpeg", .alpha = false, .extras = true},
                                   {.name = "bmp", .alpha = false, .extras = false},
                                   {.name = "tiff", .alpha = true, .extras = true}};

constexpr struct {
  std::string_view ending, format;
} kEndings[] = {{"png", "png"}, {"jpg", "jpeg"}, {"jpeg", "jpeg"},
                {"bmp", "bmp"}, {"tif", "tiff"}, {"tiff", "tiff"}};

}  // namespace

bool isPicture(std::string_view bytes) {
  if (bytes.empty()) return false;
  try {
    openDecoder(bytes, "");
    return true;
  } catch (const FileError& error) {
    return *error.what() != '\0';  // a picture, if a damaged one
  }
}

std::string readableFormats() {
  std::string text = "JPEG, PNG";
  for (const std::string& name : pixbufFormats()) {
    if (name != "JPEG" && name != "PNG") text += ", " + name;
  }
  return text;
}

PictureHeader pictureHeader(std::string_view bytes, const std::string& name) {
  return requireDecoder(bytes, name)->header();
}

LoadedPicture loadPicture(Host& host, std::string_view bytes, const std::string& name,
                          const LoadOptions& options) {
  return Loading(host, bytes, name, options).run();
}

PictureRef loadPicture(Host& host, const std::string& path, const PictureOptions& layout) {
  return loadPicture(host, readFile(path), inputName(path), {.layout = layout}).picture;
}

std::string sizeProblem(const Host& host, int width, int height) {
  const uint64_t most = host.settings.pictureByteLimit / 4;
  const bool few = width < 1 || height < 1;
  const bool many = width > kLargestSide || height > kLargestSide;
  if (!few && !many && static_cast<uint64_t>(width) * static_cast<uint64_t>(height) <= most) {
    return "";
  }
  return sizeInWords(width, height) + " pixels are too " + (few ? "few" : "many") +
         "; possible are sides of 1 to 32767 and " + std::to_string(most / 1000000) +
         " million pixels in all";
}

const FileFormat* formatOfEnding(std::string_view ending) {
  for (const auto& known : kEndings) {
    if (!grammar::equalIgnoringCase(ending, known.ending)) continue;
    for (const FileFormat& format : kFormats) {
      if (format.name == known.format) return &format;
    }
  }
  return nullptr;
}

std::vector<std::string> writableEndings() {
  std::vector<std::string> endings;
  for (const auto& known : kEndings) endings.emplace_back(known.ending);
  return endings;
}

const FileFormat& formatFor(const std::string& path, const std::string& format) {
  std::string wanted = format;
  if (wanted.empty()) {
    wanted = std::filesystem::path(path).extension();
    wanted = wanted.empty() ? "png" : wanted.substr(1);
  }
  if (const FileFormat* found = formatOfEnding(wanted)) return *found;
  throw FileError(outputName(path) + ": pictures are not written as ." + wanted +
                  "; possible are .png, .jpg, .bmp and .tif, or --format with one of them");
}

void savePicture(Picture& picture, const std::string& path, const SaveOptions& options) {
  const FileFormat& format = formatFor(path, options.format);
  SavedRows rows(picture, format.alpha, options.background);
  const EncoderInput input{picture.width(),
                           picture.height(),
                           format.alpha && rows.hasAlpha(),
                           [&rows](int y) { return rows.row(y); },
                           options.extras,
                           options.quality,
                           options.compression};
  const std::string_view name = format.name;
  try {
    replaceFile(path, [&](FILE* file) {
      if (name == "png") return writePng(file, input);
      if (name == "jpeg") return writeJpeg(file, input);
      writeWithPixbuf(file, input, format.name);
    });
  } catch (const EncodingError& error) {
    throw FileError(outputName(path) + ": cannot be written: " + error.what());
  }
}

std::vector<uint32_t> visiblePixels(Picture& picture) {
  SavedRows rows(picture, true, 0);
  const auto width = static_cast<size_t>(picture.width());
  std::vector<uint32_t> pixels;
  pixels.reserve(width * static_cast<size_t>(picture.height()));
  for (int y = 0; y < picture.height(); ++y) {
    const uint32_t* row = rows.row(y);
    for (size_t x = 0; x < width; ++x) {
      pixels.push_back(rows.hasAlpha() ? row[x] : row[x] | 0xFF000000);
    }
  }
  return pixels;
}

bool isTransparent(Picture& picture) {
  SavedRows rows(picture, true, 0);
  if (!rows.hasAlpha()) return false;
  for (int y = 0; y < picture.height(); ++y) {
    if (!isOpaque(rows.row(y), picture.width())) return true;
  }
  return false;
}

}  // namespace host
