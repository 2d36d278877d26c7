#include "Pictures.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "host/files/PictureFile.h"

namespace bench {

std::string photoFile;

namespace {

constexpr uint32_t kOpaque = 0xFF000000;

uint32_t opaque(int red, int green, int blue) {
  const auto byte = [](int value) { return static_cast<uint32_t>(std::clamp(value, 0, 255)); };
  return kOpaque | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  int below(int limit) { return static_cast<int>(engine_() % static_cast<uint32_t>(limit)); }
  /// -range..range, the middle most often.
  int noise(int range) { return below(range + 1) + below(range + 1) - range; }

 private:
  std::minstd_rand engine_;
};

Pixels makeGradient(Size size, uint32_t variant) {
  Random random(variant + 1);
  Pixels pixels;
  pixels.reserve(size_t(size.width) * size.height);
  for (int y = 0; y < size.height; ++y) {
    const int down = y * 255 / size.height;
    for (int x = 0; x < size.width; ++x) {
      const int across = x * 255 / size.width;
      const int noise = random.noise(6);
      pixels.push_back(
          opaque(across + noise, down - noise, (across + down) / 2 + 40 * int(variant) + noise));
    }
  }
  return pixels;
}

struct Shape {
  int x, y, radiusX, radiusY;
  bool box;
  uint32_t color;

  /// Calls visit(pixel, shade) with shade -256..256 inside the shape.
  template <typename Visit>
  void each(Pixels& pixels, Size size, Visit visit) const {
    for (int row = std::max(0, y - radiusY); row < std::min(size.height, y + radiusY); ++row) {
      for (int column = std::max(0, x - radiusX); column < std::min(size.width, x + radiusX);
           ++column) {
        const double dx = double(column - x) / radiusX, dy = double(row - y) / radiusY;
        if (!box && dx * dx + dy * dy > 1) continue;
        visit(pixels[size_t(row) * size.width + column], int(128 * (dx + dy)));
      }
    }
  }
};

Shape randomShape(Random& random, Size size, int radius) {
  return {
      random.below(size.width), random.below(size.height),
      3 + random.below(radius), 3 + random.below(radius),
      random.below(2) == 0,     opaque(random.below(200), random.below(200), random.below(256))};
}

int channel(uint32_t pixel, int shift) { return static_cast<int>(pixel >> shift & 0xFF); }

// Half of the shape's colour, darker towards its lower right, over half of what is there.
void shade(uint32_t& pixel, uint32_t color, int amount) {
  const auto mix = [=](int shift) {
    return (channel(pixel, shift) + channel(color, shift) * (512 - amount) / 512) / 2;
  };
  pixel = opaque(mix(16), mix(8), mix(0));
}

Pixels drawPhoto(Size size, uint32_t variant) {
  Random random(variant + 101);
  Pixels pixels(size_t(size.width) * size.height);
  const double phase = 0.7 * variant, stepX = 5.0 / size.width, stepY = 4.0 / size.height;
  std::vector<int> across[3];
  for (int c = 0; c < 3; ++c) {
    for (int x = 0; x < size.width; ++x) {
      across[c].push_back(static_cast<int>(60 * std::sin(stepX * x * (c + 1) + phase + c)));
    }
  }
  for (int y = 0; y < size.height; ++y) {
    const int down = static_cast<int>(50 * std::cos(stepY * y + phase));
    for (int x = 0; x < size.width; ++x) {
      pixels[size_t(y) * size.width + x] =
          opaque(120 + across[0][x] + down, 110 + across[1][x] - down, 130 + across[2][x] + down);
    }
  }
  for (int i = 0; i < 500; ++i) {
    const Shape shape = randomShape(random, size, std::max(1, size.width / 20));
    shape.each(pixels, size, [&](uint32_t& p, int amount) { shade(p, shape.color, amount); });
  }
  for (uint32_t& pixel : pixels) {
    pixel = opaque(channel(pixel, 16) + random.noise(5), channel(pixel, 8) + random.noise(5),
                   channel(pixel, 0) + random.noise(5));
  }
  return pixels;
}

Pixels makePhoto(Size size, uint32_t variant) {
  if (photoFile.empty()) return drawPhoto(size, variant);
  host::Host host;
  const host::PictureRef file = host::loadPicture(host, photoFile, {});
  const Pixels source = file->pixels();
  Pixels pixels;
  pixels.reserve(size_t(size.width) * size.height);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int column = (x + 37 * int(variant)) % file->width(), row = y % file->height();
      pixels.push_back(source[size_t(row) * file->width() + column]);
    }
  }
  return pixels;
}

Pixels makeKeyed(Size size, uint32_t variant) {
  Pixels pixels = makePhoto(size, variant);
  Random random(7);
  constexpr int kLongestRun = 40;
  for (size_t left = pixels.size() / 20; left > kLongestRun;) {
    const int length = 1 + random.below(kLongestRun);
    const auto at = pixels.begin() + random.below(static_cast<int>(pixels.size()) - length);
    std::fill(at, at + length, kOpaque | kKeyColor);
    left -= length;
  }
  return pixels;
}

Pixels makeSparse(Size size) {
  Pixels pixels(size_t(size.width) * size.height, 0xFFFFFFFF);
  Random random(11);
  const int count = std::max(1, int(pixels.size() / 30000));
  for (int i = 0; i < count; ++i) {
    const Shape shape = randomShape(random, size, std::min(57, size.width));
    shape.each(pixels, size, [&](uint32_t& pixel, int) { pixel = shape.color; });
  }
  return pixels;
}

Pixels makeFlat(Size size) {
  Pixels pixels(size_t(size.width) * size.height, kOpaque | kFlatColor);
  const int x = std::max(size.width / 2, size.width - kOddDistance);
  const int y = std::max(size.height / 2, size.height - kOddDistance);
  pixels[size_t(y) * size.width + x] = kOpaque | kOddColor;
  return pixels;
}

}  // namespace

Pixels makePixels(Scene scene, Size size, uint32_t variant) {
  switch (scene) {
    case Scene::kGradient:
      return makeGradient(size, variant);
    case Scene::kPhoto:
      return makePhoto(size, variant);
    case Scene::kKeyed:
      return makeKeyed(size, variant);
    case Scene::kWhite:
      return Pixels(size_t(size.width) * size.height, 0xFFFFFFFF);
    case Scene::kBlack:
      return Pixels(size_t(size.width) * size.height, kOpaque);
    case Scene::kSparse:
      return makeSparse(size);
    case Scene::kFlat:
      return makeFlat(size);
  }
  return {};
}

}  // namespace bench
