// libyuv. Its "ARGB" is bytes blue, green, red, alpha, its "RAW" bytes red, green, blue.
#include <libyuv.h>

#include <array>
#include <cmath>
#include <cstring>

#include "Peers.h"

namespace bench {

namespace {

PeerCall subtractFromWhite(const Job& job) {
  return {[a = job.first, d = job.target, white = Pixels(job.first.width, 0xFFFFFFFF)] {
            libyuv::ARGBSubtract(reinterpret_cast<const uint8_t*>(white.data()), 0, a.bytes(),
                                 a.rowBytes(), d.bytes(), d.rowBytes(), a.width, a.height);
          },
          job.target.words};
}

PeerCall polynomial(const Job& job) {
  std::array<float, 16> terms{};
  for (int c = 0; c < 3; ++c) {
    terms[c] = static_cast<float>(job.offset);
    terms[4 + c] = static_cast<float>(job.scale);
  }
  terms[7] = 1;
  return {[=, a = job.first, d = job.target] {
            libyuv::ARGBPolynomial(a.bytes(), a.rowBytes(), d.bytes(), d.rowBytes(), terms.data(),
                                   a.width, a.height);
          },
          job.target.words};
}

// Coefficients have 6 bits behind the point; what is added comes through alpha, which is 255.
PeerCall colorMatrix(const Job& job) {
  std::array<int8_t, 16> matrix{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) {
      const double value = j == 3 ? job.matrix[i][j] / 255 : job.matrix[i][j];
      matrix[4 * i + j] = static_cast<int8_t>(std::lround(value * 64));
    }
  }
  matrix[15] = 64;
  return {[=, a = job.first, d = job.target] {
            libyuv::ARGBColorMatrix(a.bytes(), a.rowBytes(), d.bytes(), d.rowBytes(), matrix.data(),
                                    a.width, a.height);
          },
          job.target.words};
}

PeerCall sepia(const Job& job) {
  return {
      [d = job.target] { libyuv::ARGBSepia(d.bytes(), d.rowBytes(), 0, 0, d.width, d.height); }};
}

PeerCall grey(const Job& job) {
  return {[a = job.first, d = job.target] {
    libyuv::ARGBGrayTo(a.bytes(), a.rowBytes(), d.bytes(), d.rowBytes(), a.width, a.height);
  }};
}

PeerCall colorTable(const Job& job) {
  std::array<uint8_t, 1024> table{};
  for (int i = 0; i < 256; ++i) {
    for (int c = 0; c < 3; ++c) table[4 * i + c] = job.tables[c][i];
    table[4 * i + 3] = static_cast<uint8_t>(i);
  }
  return {[=, d = job.target] {
            libyuv::RGBColorTable(d.bytes(), d.rowBytes(), table.data(), 0, 0, d.width, d.height);
          },
          job.target.words,
          [a = job.first, d = job.target] { memcpy(d.words, a.words, a.byteCount()); }};
}

PeerCall toTriples(const Job& job) {
  auto target = std::make_shared<std::vector<uint8_t>>(job.first.count() * 3);
  return {[=, a = job.first] {
    libyuv::ARGBToRAW(a.bytes(), a.rowBytes(), target->data(), 3 * a.width, a.width, a.height);
  }};
}

PeerCall fromTriples(const Job& job) {
  auto source = std::make_shared<std::vector<uint8_t>>(job.triples);
  return {[=, d = job.target] {
            libyuv::RAWToARGB(source->data(), 3 * d.width, d.bytes(), d.rowBytes(), d.width,
                              d.height);
          },
          job.target.words};
}

PeerCall mergePlanes(const Job& job) {
  auto planes = std::make_shared<std::vector<uint8_t>>(job.first.count() * 3, uint8_t{128});
  return {[=, d = job.target] {
    const uint8_t *red = planes->data(), *green = red + d.count(), *blue = green + d.count();
    libyuv::MergeARGBPlane(red, d.width, green, d.width, blue, d.width, nullptr, 0, d.bytes(),
                           d.rowBytes(), d.width, d.height);
  }};
}

constexpr Peer kPeers[] = {
    {"libyuv ARGBSubtract", subtractFromWhite},
    {"libyuv ARGBPolynomial", polynomial},
    {"libyuv ARGBColorMatrix", colorMatrix},
    {"libyuv ARGBSepia, in place", sepia},
    {"libyuv ARGBGrayTo", grey},
    {"libyuv RGBColorTable, in place", colorTable},
    {"libyuv ARGBToRAW", toTriples},
    {"libyuv RAWToARGB", fromTriples},
    {"libyuv MergeARGBPlane, from planes", mergePlanes},
};

}  // namespace

std::span<const Peer> libyuvPeers() { return kPeers; }

}  // namespace bench
