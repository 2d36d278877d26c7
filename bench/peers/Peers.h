// Other libraries' ways to do an operation.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "../Job.h"

namespace bench {

/// What a peer makes of a job: the call that is timed, and where its picture then lies.
struct PeerCall {
  std::function<void()> run;
  const uint32_t* result = nullptr;   ///< for comparison; null when the result is no such picture
  std::function<void()> before = {};  ///< runs once, before the call whose result is compared
  double units = 0;                   ///< see Contestant
};

struct Peer {
  std::string_view name;
  PeerCall (*make)(const Job& job);
};

/// The peer of this name; null when its library is not part of this build.
const Peer* findPeer(std::string_view name);

/// No peers, but bounds: they do the part of a job that nothing can leave out. The names end in
/// "alone".
inline constexpr std::string_view kReadingAlone = "reading alone",
                                  kReadingTwo = "reading two alone",
                                  kReadingThree = "reading three alone",
                                  kReadingFilling = "reading, then filling alone",
                                  kAveraging = "averaging alone";

// One per library; those that are built in are listed in Peers.cpp.
std::span<const Peer> standardPeers();
std::span<const Peer> openCvPeers();
std::span<const Peer> libyuvPeers();
std::span<const Peer> ffmpegPeers();
std::span<const Peer> pillowPeers();

/// What keeps the compiler from leaving out work whose result nobody looks at.
template <typename T>
inline void keep(T value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench
