// The C and C++ standard libraries.
#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <span>

#include "Peers.h"

namespace bench {

namespace {

constexpr uint32_t kOpaque = 0xFF000000;

// No job at all: what looks at every pixel cannot be faster.
__attribute__((target_clones("default", "avx2", "arch=x86-64-v4"))) uint32_t combined(
    const uint32_t* words, size_t count) {
  constexpr size_t kStretch = 128, kLine = 16, kAhead = 1024;
  uint32_t bits = 0;
  size_t i = 0;
  for (; i + kStretch <= count; i += kStretch) {
    for (size_t k = 0; k < kStretch; k += kLine) __builtin_prefetch(words + i + k + kAhead);
    for (size_t k = 0; k < kStretch; ++k) bits |= words[i + k];
  }
  for (; i < count; ++i) bits |= words[i];
  return bits;
}

template <int sources>
PeerCall readAlone(const Job& job) {
  return {[images = std::array{job.first, job.second, job.third}] {
    for (const Image& image : std::span(images.begin(), sources)) {
      keep(combined(image.words, image.count()));
    }
  }};
}

// Streamed where no cache holds it, which is the fastest way.
void fill(const Image& image) {
  constexpr uint32_t kWhite = 0xFFFFFFFF;
  constexpr size_t kVectorWords = 4, kStreamed = 1 << 22;
  if (image.count() < kStreamed) {
    memset(image.words, 0xFF, image.byteCount());
    return;
  }
  const size_t past = reinterpret_cast<uintptr_t>(image.words) / 4 % kVectorWords;
  size_t i = (kVectorWords - past) % kVectorWords;
  std::fill_n(image.words, i, kWhite);
  for (; i + kVectorWords <= image.count(); i += kVectorWords) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(image.words + i), _mm_set1_epi8(-1));
  }
  std::fill_n(image.words + i, image.count() - i, kWhite);
  _mm_sfence();
}

// One pass over the picture, and another one over the result.
PeerCall readThenFill(const Job& job) {
  return {[first = job.first, target = job.target] {
    keep(combined(first.words, first.count()));
    fill(target);
    keep(target.words);
  }};
}

// Two moving averages, in which every value waits for the one before it.
PeerCall average(const Job& job) {
  return {[&samples = job.samples] {
    constexpr double kFactor = 2.0 / 9, kComplement = 1 - kFactor;
    double a = 0, b = 0;
    for (size_t i = 0; i + 1 < samples.size(); i += 2) {
      a = a * kComplement + samples[i] * kFactor;
      b = b * kComplement + samples[i + 1] * kFactor;
    }
    keep(a + b);
  }};
}

PeerCall count(const Job& job) {
  return {[first = job.first, color = kOpaque | job.color] {
    keep(std::count(first.words, first.words + first.count(), color));
  }};
}

PeerCall compareShifted(const Job& job) {
  return {[first = job.first, color = kOpaque | job.color] {
    const bool same = memcmp(first.words, first.words + 1, first.byteCount() - 4) == 0;
    keep(same && first.words[0] == color);
  }};
}

PeerCall replaceCopy(const Job& job) {
  return {[first = job.first, target = job.target] {
            std::replace_copy(first.words, first.words + first.count(), target.words,
                              kOpaque | kKeyColor, kOpaque | kNewColor);
          },
          job.target.words};
}

PeerCall extract(const Job& job) {
  return {[first = job.first, target = job.target] {
            std::transform(first.words, first.words + first.count(), target.words, [](uint32_t p) {
              return p == (kOpaque | kKeyColor) ? kOpaque | kNewColor : 0xFFFFFFFF;
            });
          },
          job.target.words};
}

// Where the needle's other rows stand too.
bool othersMatch(const Image& hay, const Image& needle, int x, int y) {
  for (int row = 1; row < needle.height; ++row) {
    if (memcmp(hay.row(y + row) + x, needle.row(row), size_t(needle.rowBytes())) != 0) return false;
  }
  return true;
}

// Both look for the needle's first row in each row. `find` gives a column or -1.
template <typename Find>
int64_t searchRows(const Image& hay, const Image& needle, Find find) {
  for (int y = 0; y + needle.height <= hay.height; ++y) {
    for (int x = 0; x + needle.width <= hay.width; ++x) {
      x = find(hay.row(y), x);
      if (x < 0) break;
      if (othersMatch(hay, needle, x, y)) return int64_t{y} * hay.width + x;
    }
  }
  return -1;
}

int64_t searchStandard(const Image& hay, const Image& needle) {
  return searchRows(hay, needle, [&](const uint32_t* row, int from) {
    const uint32_t* end = row + hay.width;
    const uint32_t* found = std::search(row + from, end, needle.words, needle.words + needle.width);
    return found == end ? -1 : static_cast<int>(found - row);
  });
}

int64_t searchMemmem(const Image& hay, const Image& needle) {
  return searchRows(hay, needle, [&](const uint32_t* row, int from) {
    const auto* bytes = reinterpret_cast<const char*>(row);
    ptrdiff_t at = ptrdiff_t{from} * 4;
    const void* found;
    do {
      found = memmem(bytes + at, static_cast<size_t>(hay.rowBytes() - at), needle.words,
                     static_cast<size_t>(needle.rowBytes()));
      if (found == nullptr) return -1;
      at = static_cast<const char*>(found) - bytes;
    } while (at++ % 4 != 0);
    return static_cast<int>((at - 1) / 4);
  });
}

template <auto search>
PeerCall searchFor(const Job& job) {
  return {[hay = job.first, needle = job.needle] { keep(search(hay, needle)); }};
}

// Its time grows with the square of the size here, so it gets a part of the picture.
PeerCall searchPart(const Job& job) {
  const Size part{500, 375, ""};
  auto pixels = std::make_shared<Pixels>(makePixels(Scene::kFlat, part, 0));
  return {.run =
              [=, needle = job.needle] {
                keep(searchStandard({pixels->data(), part.width, part.height}, needle));
              },
          .units = double(part.width) * part.height};
}

std::function<void()> startWithFirst(const Job& job) {
  return [=, first = job.first, target = job.target] {
    memcpy(target.words, first.words, first.byteCount());
  };
}

PeerCall scrollRows(const Job& job) {
  auto saved = std::make_shared<Pixels>(size_t(job.scrollBy) * job.target.width);
  return {[=, image = job.target, by = job.scrollBy] {
            const size_t moved = size_t(by) * image.rowBytes(), rest = image.byteCount() - moved;
            memcpy(saved->data(), image.bytes() + rest, moved);
            memmove(image.bytes() + moved, image.words, rest);
            memcpy(image.words, saved->data(), moved);
          },
          job.target.words, startWithFirst(job)};
}

PeerCall scrollColumns(const Job& job) {
  auto saved = std::make_shared<Pixels>(job.scrollBy);
  return {[=, image = job.target, by = job.scrollBy] {
            const size_t moved = size_t(by) * 4, rest = image.rowBytes() - moved;
            for (int y = 0; y < image.height; ++y) {
              auto* row = reinterpret_cast<uint8_t*>(image.row(y));
              memcpy(saved->data(), row + rest, moved);
              memmove(row + moved, row, rest);
              memcpy(row, saved->data(), moved);
            }
          },
          job.target.words, startWithFirst(job)};
}

PeerCall scrollBoth(const Job& job) {
  return {[rows = scrollRows(job).run, columns = scrollColumns(job).run] {
            columns();
            rows();
          },
          job.target.words, startWithFirst(job)};
}

constexpr Peer kPeers[] = {
    {kReadingAlone, readAlone<1>},
    {kReadingTwo, readAlone<2>},
    {kReadingThree, readAlone<3>},
    {kReadingFilling, readThenFill},
    {kAveraging, average},
    {"std::count", count},
    {"memcmp with itself shifted by one pixel", compareShifted},
    {"std::replace_copy", replaceCopy},
    {"std::transform", extract},
    {"std::search", searchFor<searchStandard>},
    {"memmem", searchFor<searchMemmem>},
    {"std::search in 500 x 375", searchPart},
    {"memmove, saved rows", scrollRows},
    {"memmove per row", scrollColumns},
    {"memmove per row, saved rows", scrollBoth},
};

}  // namespace

std::span<const Peer> standardPeers() { return kPeers; }

}  // namespace bench
