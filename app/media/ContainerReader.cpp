#include "app/media/ContainerReader.h"

#include <algorithm>

#include "app/media/StreamFormat.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace {

// So many frames may be lost at the end of a file that was cut off before it counts as broken.
constexpr std::int64_t tolerableLoss = 10;
// So many frames from the start are compared with the scan before its times are trusted.
constexpr int framesCompared = 4;
constexpr int decoderThreads = 4;

int AskInterrupted(void* asked) {
    return (*static_cast<std::function<bool()>*>(asked))() ? 1 : 0;
}

std::int64_t TimeStamp(const AVFrame& samples) {
    return samples.pts != AV_NOPTS_VALUE ? samples.pts : samples.best_effort_timestamp;
}

}  // namespace

ContainerReader::ContainerReader(const std::filesystem::path& path, std::function<bool()> interrupted)
    : _path(path), _interrupted(std::move(interrupted)), _packet(NewPacket()) {
    Open();
    ScanPackets();
    ReadFirstFrames();
    Start(0);
}

std::string ContainerReader::Name() const {
    return Quoted(_path);
}

void ContainerReader::Open() {
    _decoder.reset();
    AVFormatContext* context = avformat_alloc_context();
    if (!context) {
        throw std::bad_alloc();
    }
    if (_interrupted) {
        context->interrupt_callback = {AskInterrupted, &_interrupted};
    }
    // The protocol keeps names with a colon from being taken for one.
    int result = avformat_open_input(&context, ("file:" + _path.string()).c_str(), nullptr, nullptr);
    _input.reset(result >= 0 ? context : nullptr);
    if (result >= 0) {
        result = avformat_find_stream_info(_input.get(), nullptr);
    }
    if (result == AVERROR_EXIT) {
        throw MediaError(MediaFailure::Interrupt, "interrupted");
    }
    if (result < 0) {
        throw MediaError(MediaFailure::Input, Name() + " cannot be read as video: " + ErrorText(result));
    }
    const int best = av_find_best_stream(_input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best < 0 || (_input->streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
        throw MediaError(MediaFailure::Input, Name() + " has no video stream");
    }
    _stream = _input->streams[best];
    for (unsigned i = 0; i < _input->nb_streams; ++i) {
        _input->streams[i]->discard = static_cast<int>(i) == best ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

void ContainerReader::OpenDecoder() {
    const AVCodec* codec = avcodec_find_decoder(_stream->codecpar->codec_id);
    _decoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!_decoder) {
        throw MediaError(MediaFailure::Codec, "there is no decoder for the codec " +
                                                  std::string(avcodec_get_name(_stream->codecpar->codec_id)) +
                                                  " of " + Name());
    }
    avcodec_parameters_to_context(_decoder.get(), _stream->codecpar);
    _decoder->pkt_timebase = _stream->time_base;
    _decoder->thread_count = std::min(decoderThreads, Platform::HardwareThreadCount());
    const int result = avcodec_open2(_decoder.get(), codec, nullptr);
    if (result < 0) {
        throw MediaError(MediaFailure::Codec,
                         "the video of " + Name() + " cannot be decoded: " + ErrorText(result));
    }
    _draining = false;
    _sawDamage = false;
    _counted = 0;
}

void ContainerReader::ScanPackets() {
    std::int64_t packets = 0;
    int result = 0;
    while ((result = av_read_frame(_input.get(), _packet.get())) >= 0) {
        if (_packet->stream_index == _stream->index) {
            ++packets;
            if (!(_packet->flags & AV_PKT_FLAG_DISCARD)) {
                const bool isKey = (_packet->flags & AV_PKT_FLAG_KEY) != 0;
                _table.Add({_packet->pts, _packet->dts, _packet->duration, isKey});
            }
        }
        av_packet_unref(_packet.get());
    }
    if (result == AVERROR_EXIT) {
        throw MediaError(MediaFailure::Interrupt, "interrupted");
    }
    if (_table.Count() == 0) {
        throw MediaError(MediaFailure::Input,
                         "the video stream of " + Name() + " is empty or cannot be read");
    }
    _missing = std::max<std::int64_t>(0, _stream->nb_frames - packets);
    _hasTimes = _table.Sort();
    _info.frameCount = _table.Count();
}

void ContainerReader::ReadFirstFrames() {
    Open();
    OpenDecoder();
    for (int i = 0; i < framesCompared; ++i) {
        const FramePointer frame = Decode();
        if (i == 0) {
            if (!frame || _sawDamage) {
                throw MediaError(MediaFailure::Input, "the first frame of " + Name() + " cannot be decoded");
            }
            DescribeStream(*frame);
            _table.DropBefore(TimeStamp(*frame));
        }
        if (!frame || _sawDamage) {
            break;
        }
        if (_hasTimes && _table.FrameAt(TimeStamp(*frame)) != i) {
            // Packets are not frames here (fields that come one by one, for example).
            _hasTimes = false;
            return CountByDecoding();
        }
    }
    if (_hasTimes) {
        _info.frameCount = _table.Count();
    } else {
        _info.timeBase = av_inv_q(_info.frameRate);
    }
}

void ContainerReader::CountByDecoding() {
    Open();
    OpenDecoder();
    _info.frameCount = 0;
    while (Decode()) {
        if (_interrupted && _interrupted()) {
            throw MediaError(MediaFailure::Interrupt, "interrupted");
        }
        ++_info.frameCount;
    }
    _info.timeBase = av_inv_q(_info.frameRate);
}

void ContainerReader::DescribeStream(const AVFrame& first) {
    DescribeSamples(first, _info);
    _info.rotation = RotationOf(*_stream);
    _info.frameRate = av_guess_frame_rate(_input.get(), _stream, nullptr);
    if (_info.frameRate.num <= 0 || _info.frameRate.den <= 0) {
        _info.frameRate = {25, 1};
    }
    _info.timeBase = _stream->time_base;
    _info.sampleAspect = av_guess_sample_aspect_ratio(_input.get(), _stream, const_cast<AVFrame*>(&first));
    _info.fieldOrder = _stream->codecpar->field_order;
    _info.codec = avcodec_get_name(_stream->codecpar->codec_id);
}

std::int64_t ContainerReader::TimeOf(std::int64_t frame) const {
    if (!_hasTimes) {
        return frame;
    }
    const std::int64_t usual = av_rescale_q(1, av_inv_q(_info.frameRate), _info.timeBase);
    return frame < _table.Count() ? _table.TimeOf(frame) : _table.EndTime(usual);
}

void ContainerReader::Start(std::int64_t frame) {
    Open();
    const auto seekTime = _hasTimes ? _table.SeekTimeFor(frame) : std::nullopt;
    _afterSeek =
        seekTime && av_seek_frame(_input.get(), _stream->index, *seekTime, AVSEEK_FLAG_BACKWARD) >= 0;
    if (seekTime && !_afterSeek) {
        Open();
    }
    OpenDecoder();
    _next = frame;
}

bool ContainerReader::FeedDecoder() {
    for (;;) {
        const int result = av_read_frame(_input.get(), _packet.get());
        if (result == AVERROR_EXIT) {
            throw MediaError(MediaFailure::Interrupt, "interrupted");
        }
        if (result < 0) {
            avcodec_send_packet(_decoder.get(), nullptr);
            return false;
        }
        const bool wanted = _packet->stream_index == _stream->index;
        const int sent = wanted ? avcodec_send_packet(_decoder.get(), _packet.get()) : 0;
        av_packet_unref(_packet.get());
        if (sent < 0) {
            _sawDamage = true;
        } else if (wanted) {
            return true;
        }
    }
}

FramePointer ContainerReader::Decode() {
    FramePointer frame = NewFrame();
    for (;;) {
        const int result = avcodec_receive_frame(_decoder.get(), frame.get());
        if (result >= 0 && !IsDamaged(*frame)) {
            return frame;
        }
        if (result == AVERROR_EOF) {
            return nullptr;
        }
        if (result == AVERROR(EAGAIN)) {
            if (!_draining) {
                _draining = !FeedDecoder();
            }
        } else {
            _sawDamage = true;
            av_frame_unref(frame.get());
        }
    }
}

std::optional<std::int64_t> ContainerReader::PlaceOf(const AVFrame& samples) {
    if (!_hasTimes) {
        if (_sawDamage) {
            ThrowBroken("is damaged");
        }
        const std::int64_t place = _counted++;
        return place < _next ? std::nullopt : std::optional(place);
    }
    const auto place = _table.FrameAt(TimeStamp(samples));
    if (place && *place < _next) {
        return std::nullopt;
    }
    if (place != _next) {
        ThrowBroken("is damaged");
    }
    return place;
}

std::optional<VideoFrame> ContainerReader::Next() {
    if (_next >= _info.frameCount) {
        return AtEnd();
    }
    for (;;) {
        const FramePointer frame = Decode();
        if (_afterSeek && (!frame || _table.FrameAt(TimeStamp(*frame)).value_or(_next + 1) > _next)) {
            // The seek led past the wanted frame: the way from the beginning always works.
            Open();
            OpenDecoder();
            _afterSeek = false;
            continue;
        }
        if (!frame) {
            return AtEnd();
        }
        const auto place = PlaceOf(*frame);
        if (!place) {
            continue;
        }
        _afterSeek = false;
        if (const std::string change = ChangeFrom(_info, *frame); !change.empty()) {
            ThrowBroken(change);
        }
        _next = *place + 1;
        return VideoFrame{{*place, TimeOf(*place), TimeOf(_next) - TimeOf(*place)}, frame};
    }
}

std::optional<VideoFrame> ContainerReader::AtEnd() {
    if (_info.frameCount - _next + _missing > tolerableLoss) {
        ThrowBroken("and all after it are missing");
    }
    return std::nullopt;
}

void ContainerReader::ThrowBroken(const std::string& how) const {
    throw MediaError(MediaFailure::BrokenStream,
                     "frame " + std::to_string(_next) + " of " + Name() + " " + how, _next);
}

}  // namespace TQ::App
