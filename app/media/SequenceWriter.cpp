#include "app/media/SequenceWriter.h"

#include <cerrno>
#include <fstream>

#include "app/media/PendingFile.h"

namespace TQ::App {

namespace fs = std::filesystem;

SequenceWriter::SequenceWriter(const VideoOutput& output)
    : _output(output),
      _pattern(SequencePattern::Parse(output.path)),
      _packet(NewPacket()),
      _begun(output.firstFrame),
      _named(output.firstFrame) {
    if (!_pattern && output.format.frameCount > 1) {
        throw MediaError(MediaFailure::Codec,
                         Quoted(output.path) + " has no place for the frame's number; write it as " +
                             output.path.stem().string() + ".%04d" + output.path.extension().string());
    }
    const EncoderChoice choice = ChooseEncoder(output, nullptr);
    CheckOutput(FileOf(output.firstFrame), output.overwrite);
    for (std::int64_t i = 1; i < output.format.frameCount && !output.overwrite; ++i) {
        const fs::path file = FileOf(output.firstFrame + i);
        std::error_code error;
        if (fs::exists(file, error)) {
            throw MediaError(MediaFailure::OutputExists, Quoted(file) + " exists; --overwrite replaces it");
        }
    }
    // Each image is timed by its frame's index, which then tells the file that a packet belongs to.
    _output.format.timeBase = av_inv_q(output.format.frameRate);
    const Orientation turn = output.format.rotation ? OrientationOf(*output.format.rotation) : Orientation{};
    _frames = std::make_unique<FrameEncoder>(_output, choice, turn, false);
    _encoder = choice.codec->name;
    _pixelFormat = choice.pixelFormat;
    _warning = choice.warning;
}

SequenceWriter::~SequenceWriter() {
    std::error_code error;
    for (std::int64_t frame = _named; frame < _begun; ++frame) {
        fs::remove(TemporaryNameFor(FileOf(frame)), error);
    }
}

fs::path SequenceWriter::FileOf(std::int64_t frame) const {
    return _pattern ? _pattern->FileOf(_output.format.firstNumber + frame) : _output.path;
}

void SequenceWriter::Write(const Picture& picture, const FrameStamp& stamp) {
    _frames->Encode(picture, {stamp.index, stamp.index, 1});
    WritePackets();
}

void SequenceWriter::WriteUntouched(const AVFrame& samples, const FrameStamp& stamp) {
    _frames->EncodeUntouched(samples, {stamp.index, stamp.index, 1});
    WritePackets();
}

void SequenceWriter::WritePackets() {
    while (_frames->Take(*_packet)) {
        const fs::path file = FileOf(_packet->pts);
        _begun = _packet->pts + 1;
        errno = 0;
        std::ofstream stream(TemporaryNameFor(file), std::ios::binary);
        stream.write(reinterpret_cast<const char*>(_packet->data), _packet->size);
        stream.close();
        if (!stream) {
            throw WriteFailure(file, AVERROR(errno ? errno : EIO));
        }
        av_packet_unref(_packet.get());
    }
}

void SequenceWriter::Finish() {
    _frames->Flush();
    WritePackets();
    for (; _named < _begun; ++_named) {
        GiveFinalName(FileOf(_named), _output.overwrite);
    }
}

}  // namespace TQ::App
