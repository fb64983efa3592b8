#include "app/media/ContainerWriter.h"

#include <cstring>
#include <string_view>

#include "app/media/PendingFile.h"

namespace TQ::App {

namespace {

// File types whose header can say how the pictures are turned.
bool KeepsRotation(const AVOutputFormat& muxer) {
    for (const std::string_view name : {"mp4", "mov", "3gp", "ipod"}) {
        if (name == muxer.name) {
            return true;
        }
    }
    return false;
}

}  // namespace

void FreeOutput::operator()(AVFormatContext* output) const {
    if (output->pb) {
        avio_closep(&output->pb);
    }
    avformat_free_context(output);
}

ContainerWriter::ContainerWriter(const VideoOutput& output) : _output(output), _packet(NewPacket()) {
    const AVOutputFormat* type = MuxerFor(output.path);
    const EncoderChoice choice = ChooseEncoder(output, type);
    CheckOutput(output.path, output.overwrite);
    const bool keepsRotation = KeepsRotation(*type);
    const bool turns = output.format.rotation && !keepsRotation;
    const Orientation turn = turns ? OrientationOf(*output.format.rotation) : Orientation{};
    _frames = std::make_unique<FrameEncoder>(output, choice, turn, (type->flags & AVFMT_GLOBALHEADER) != 0);
    _encoder = choice.codec->name;
    _pixelFormat = choice.pixelFormat;
    _warning = choice.warning;
    AVFormatContext* muxer = nullptr;
    if (avformat_alloc_output_context2(&muxer, type, nullptr,
                                       TemporaryNameFor(output.path).string().c_str()) < 0) {
        throw std::bad_alloc();
    }
    _muxer.reset(muxer);
    AddVideoStream(keepsRotation);
    Begin();
}

ContainerWriter::~ContainerWriter() {
    if (_muxer) {
        _muxer.reset();
        std::error_code error;
        std::filesystem::remove(TemporaryNameFor(_output.path), error);
    }
}

void ContainerWriter::AddVideoStream(bool keepsRotation) {
    _stream = avformat_new_stream(_muxer.get(), nullptr);
    if (!_stream || avcodec_parameters_from_context(_stream->codecpar, &_frames->Context()) < 0) {
        throw std::bad_alloc();
    }
    _stream->time_base = _frames->Context().time_base;
    _stream->avg_frame_rate = _output.format.frameRate;
    _stream->r_frame_rate = _output.format.frameRate;
    _stream->sample_aspect_ratio = _frames->Context().sample_aspect_ratio;
    if (_output.format.rotation && keepsRotation) {
        std::uint8_t* data =
            av_stream_new_side_data(_stream, AV_PKT_DATA_DISPLAYMATRIX, sizeof(DisplayMatrix));
        if (!data) {
            throw std::bad_alloc();
        }
        std::memcpy(data, _output.format.rotation->data(), sizeof(DisplayMatrix));
    }
    if (!_output.companions.empty()) {
        _audio.emplace(_output, *_muxer, *_stream);
        _start = _audio->StartTime();
    } else if (_output.trim) {
        _start = _output.startTime;
    }
}

void ContainerWriter::Begin() {
    Check(
        avio_open(&_muxer->pb, ("file:" + TemporaryNameFor(_output.path).string()).c_str(), AVIO_FLAG_WRITE));
    AVDictionary* options = nullptr;
    av_dict_set(&options, "strict", "unofficial", 0);
    const std::string_view type = _muxer->oformat->name;
    if (type == "mp4" || type == "mov") {
        av_dict_set(&options, "movflags", "+faststart+write_colr", 0);
    }
    const int result = avformat_write_header(_muxer.get(), &options);
    av_dict_free(&options);
    if (result == AVERROR(EINVAL)) {
        throw MediaError(MediaFailure::Codec, "files of the type " + Quoted(_output.path.extension()) +
                                                  " cannot carry these streams; .mkv carries most");
    }
    Check(result);
}

void ContainerWriter::Check(int result) const {
    if (result >= 0 && _muxer->pb && _muxer->pb->error < 0) {
        result = _muxer->pb->error;
    }
    if (result < 0) {
        throw WriteFailure(_output.path, result);
    }
}

FrameStamp ContainerWriter::Shifted(FrameStamp stamp) const {
    stamp.time -= _start;
    return stamp;
}

void ContainerWriter::Write(const Picture& picture, const FrameStamp& stamp) {
    _frames->Encode(picture, Shifted(stamp));
    WritePackets();
}

void ContainerWriter::WriteUntouched(const AVFrame& samples, const FrameStamp& stamp) {
    _frames->EncodeUntouched(samples, Shifted(stamp));
    WritePackets();
}

void ContainerWriter::WritePackets() {
    while (_frames->Take(*_packet)) {
        const AVRational unit = _frames->Context().time_base;
        if (_audio) {
            Check(_audio->WriteUntil(_packet->dts, unit));
        }
        av_packet_rescale_ts(_packet.get(), unit, _stream->time_base);
        _packet->stream_index = _stream->index;
        Check(av_interleaved_write_frame(_muxer.get(), _packet.get()));
    }
}

void ContainerWriter::Finish() {
    _frames->Flush();
    WritePackets();
    if (_audio) {
        Check(_audio->WriteUntil(std::nullopt, _frames->Context().time_base));
    }
    Check(av_write_trailer(_muxer.get()));
    Check(avio_closep(&_muxer->pb));
    GiveFinalName(_output.path, _output.overwrite);
    _muxer.reset();
}

}  // namespace TQ::App
