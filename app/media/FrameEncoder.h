#pragma once

#include <functional>
#include <map>
#include <memory>

#include "app/media/EncoderChoice.h"
#include "app/media/PictureTransform.h"
#include "app/media/PixelConversion.h"

namespace TQ::App {

/// An open encoder: pictures and samples in, packets out.
class FrameEncoder {
  public:
    /// `turn` is done to every picture first; then `output.format` is the format before it. `globalHeader`:
    /// the file type wants the codec's set-up in its header. Throws MediaError(Codec).
    FrameEncoder(const VideoOutput& output, const EncoderChoice& choice, Orientation turn, bool globalHeader);

    const AVCodecContext& Context() const { return *_context; }
    bool Accepts(const AVFrame& samples) const;
    void Encode(const Picture& picture, const FrameStamp& stamp);
    void EncodeUntouched(const AVFrame& samples, const FrameStamp& stamp);
    /// After the last frame.
    void Flush();
    /// The next finished packet, with time stamps in Context().time_base and the duration of its frame; false
    /// when the encoder wants more frames.
    bool Take(AVPacket& packet);

  private:
    void Configure(const VideoOutput& output, const EncoderChoice& choice);
    void Send(AVFrame* frame);

    Orientation _turn;
    CodecPointer _context;
    FramePointer _frame;  // the samples of pictures, used again and again
    std::unique_ptr<PixelConverter> _converter;
    std::map<std::int64_t, std::int64_t> _durations;  // of frames inside the encoder, by time
};

}  // namespace TQ::App
