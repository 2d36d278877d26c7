#include "Peers.h"

namespace bench {

const Peer* findPeer(std::string_view name) {
  const std::span<const Peer> libraries[] = {
    standardPeers(),
#if ZVK_BENCH_OPENCV
    openCvPeers(),
#endif
#if ZVK_BENCH_LIBYUV
    libyuvPeers(),
#endif
#if ZVK_BENCH_FFMPEG
    ffmpegPeers(),
#endif
#if ZVK_BENCH_PILLOW
    pillowPeers(),
#endif
  };
  for (const std::span<const Peer> library : libraries) {
    for (const Peer& peer : library) {
      if (peer.name == name) return &peer;
    }
  }
  return nullptr;
}

}  // namespace bench
