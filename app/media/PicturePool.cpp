#include "app/media/PicturePool.h"

namespace TQ::App {

namespace {
// More than these wait only when many were let go at once, and then they are not missed.
constexpr std::size_t mostIdle = 4;
}  // namespace

PicturePointer PicturePool::Take(int width, int height, SampleDepth depth) {
    std::unique_ptr<Picture> picture;
    {
        const std::lock_guard lock(_shelf->mutex);
        while (!picture && !_shelf->idle.empty()) {
            picture = std::move(_shelf->idle.back());
            _shelf->idle.pop_back();
            if (picture->Width() != width || picture->Height() != height || picture->Depth() != depth) {
                picture.reset();
            }
        }
    }
    if (!picture) {
        picture = std::make_unique<Picture>(width, height, depth);
    }
    return PicturePointer(picture.release(),
                          [shelf = _shelf](Picture* returned) { PutBack(*shelf, returned); });
}

void PicturePool::PutBack(Shelf& shelf, Picture* picture) {
    std::unique_ptr<Picture> owned(picture);
    const std::lock_guard lock(shelf.mutex);
    if (shelf.idle.size() < mostIdle) {
        shelf.idle.push_back(std::move(owned));
    }
}

}  // namespace TQ::App
