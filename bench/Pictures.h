#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "bench/PooledHost.h"
#include "ip/Layer.h"

namespace TQ::Bench {

/// What a picture holds.
enum class Content {
    Frame,        ///< a textured scene under a slow pan and flickering light, opaque
    MovedFrame,   ///< the frame after that
    Mask,         ///< between 0 and white, the same in all channels
    Accumulator,  ///< a weighted sum of frames, always float
    Flow,         ///< displacements of a few pixels that vary smoothly, always float
    Output,       ///< undefined, for what is written
};

/// The host with that many threads; made at its first use.
PooledHost& HostWith(int threads);

/// Frame `time` of the scene; `bits` 8 or 32 a channel.
std::shared_ptr<IP::Layer> MakePicture(IP::Host& host, const IP::Bounds& bounds, int bits, Content content,
                                       int time);

/// Pictures of one kind, to be used in turn. Together they are larger than the caches, so that each is read
/// from memory when its turn comes, as the frames of a clip are.
class PictureRing {
  public:
    PictureRing(const IP::Bounds& bounds, int bits, Content content);
    IP::Layer& Next();
    IP::Layer& First() { return *_pictures.front(); }

  private:
    std::vector<std::shared_ptr<IP::Layer>> _pictures;
    std::size_t _next = 0;
};

/// The ring of that kind; made at its first use.
PictureRing& RingOf(const IP::Bounds& bounds, int bits, Content content);

}  // namespace TQ::Bench
