#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "app/picture/Picture.h"

namespace TQ::App {

/// Pictures that are used again and again. A clip's frames all have one size; memory taken from the system
/// and given back for each of them would cost time, and the gaps that the allocator leaves behind would cost
/// room. Any number of threads; pictures may outlive the pool.
class PicturePool {
  public:
    /// Pixels as the last user left them. The picture comes back by itself when its last pointer goes.
    PicturePointer Take(int width, int height, SampleDepth depth);

  private:
    struct Shelf {
        std::mutex mutex;
        std::vector<std::unique_ptr<Picture>> idle;
    };
    static void PutBack(Shelf& shelf, Picture* picture);

    std::shared_ptr<Shelf> _shelf = std::make_shared<Shelf>();
};

}  // namespace TQ::App
