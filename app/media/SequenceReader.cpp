#include "app/media/SequenceReader.h"

#include <algorithm>
#include <fstream>

#include "app/media/StreamFormat.h"

namespace TQ::App {

namespace fs = std::filesystem;

namespace {

PacketPointer ReadWhole(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    const std::streamoff size = stream ? static_cast<std::streamoff>(stream.tellg()) : -1;
    if (size < 0 || size > INT32_MAX) {
        throw MediaError(MediaFailure::Input, Quoted(file) + " cannot be read");
    }
    if (size == 0) {
        throw MediaError(MediaFailure::Input, Quoted(file) + " is empty");
    }
    PacketPointer packet = NewPacket();
    if (av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
        throw std::bad_alloc();
    }
    stream.seekg(0);
    if (!stream.read(reinterpret_cast<char*>(packet->data), size)) {
        throw MediaError(MediaFailure::Input, Quoted(file) + " cannot be read");
    }
    return packet;
}

}  // namespace

SequenceReader::SequenceReader(const SequencePattern& pattern, AVRational frameRate) : _pattern(pattern) {
    const std::vector<std::int64_t> numbers = pattern.ExistingNumbers();
    if (numbers.empty()) {
        throw MediaError(MediaFailure::Input,
                         "no file matches " + Quoted(pattern.FileOf(0)) + " and the like");
    }
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        if (numbers[i] != numbers[i - 1] + 1) {
            throw MediaError(
                MediaFailure::Input,
                "the sequence has a gap: " + Quoted(pattern.FileOf(numbers[i - 1] + 1)) + " is missing");
        }
    }
    _info.firstNumber = numbers.front();
    _info.frameCount = static_cast<std::int64_t>(numbers.size());
    DescribeFrom(*Decode(FileOf(0)), frameRate);
}

SequenceReader::SequenceReader(const fs::path& image, AVRational frameRate) : _image(image) {
    _info.frameCount = 1;
    DescribeFrom(*Decode(image), frameRate);
}

fs::path SequenceReader::FileOf(std::int64_t frame) const {
    return _pattern ? _pattern->FileOf(_info.firstNumber + frame) : _image;
}

void SequenceReader::DescribeFrom(const AVFrame& first, AVRational frameRate) {
    _info.isSequence = true;
    _info.frameRate = frameRate;
    _info.timeBase = av_inv_q(frameRate);
    DescribeSamples(first, _info);
    _info.sampleAspect = first.sample_aspect_ratio;
}

FramePointer SequenceReader::Decode(const fs::path& file) const {
    const PacketPointer packet = ReadWhole(file);
    const AVOutputFormat* images = av_guess_format("image2", nullptr, nullptr);
    const AVCodecID id =
        av_guess_codec(images, nullptr, file.filename().string().c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
    const AVCodec* codec = avcodec_find_decoder(id);
    CodecPointer decoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder || avcodec_open2(decoder.get(), codec, nullptr) < 0) {
        throw MediaError(MediaFailure::Codec, "there is no decoder for " + Quoted(file));
    }
    FramePointer frame = NewFrame();
    int result = avcodec_send_packet(decoder.get(), packet.get());
    if (result >= 0) {
        avcodec_send_packet(decoder.get(), nullptr);
        result = avcodec_receive_frame(decoder.get(), frame.get());
    }
    if (result < 0 || IsDamaged(*frame)) {
        throw MediaError(MediaFailure::Input, Quoted(file) + " is damaged or not an image of its type");
    }
    return frame;
}

std::optional<VideoFrame> SequenceReader::Next() {
    if (_next >= _info.frameCount) {
        return std::nullopt;
    }
    const fs::path file = FileOf(_next);
    VideoFrame frame{{_next, _next, 1}, nullptr};
    try {
        frame.samples = Decode(file);
    } catch (const MediaError& error) {
        throw MediaError(MediaFailure::BrokenStream, error.what(), _next);
    }
    if (const std::string change = ChangeFrom(_info, *frame.samples); !change.empty()) {
        throw MediaError(MediaFailure::BrokenStream, Quoted(file) + " " + change, _next);
    }
    ++_next;
    return frame;
}

}  // namespace TQ::App
