#include "app/media/AudioCopier.h"

namespace TQ::App {

namespace {

// Side data of the video stream that stays true for the new one.
constexpr AVPacketSideDataType keptSideData[] = {AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                                 AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_PKT_DATA_STEREO3D,
                                                 AV_PKT_DATA_SPHERICAL};

void CopyVideoProperties(const AVStream& source, AVStream& target) {
    av_dict_copy(&target.metadata, source.metadata, 0);
    av_dict_set(&target.metadata, "encoder", nullptr, 0);
    target.disposition = source.disposition;
    for (const AVPacketSideDataType type : keptSideData) {
        std::size_t size = 0;
        const std::uint8_t* data = av_stream_get_side_data(&source, type, &size);
        std::uint8_t* copy = data ? av_stream_new_side_data(&target, type, size) : nullptr;
        if (copy) {
            std::copy(data, data + size, copy);
        }
    }
}

}  // namespace

AudioCopier::AudioCopier(const VideoOutput& output, AVFormatContext& target, AVStream& video)
    : _target(target), _packet(NewPacket()), _unit(output.format.timeBase), _trim(output.trim) {
    AVFormatContext* source = nullptr;
    int result =
        avformat_open_input(&source, ("file:" + output.companions.string()).c_str(), nullptr, nullptr);
    _source.reset(result >= 0 ? source : nullptr);
    if (result < 0 || (result = avformat_find_stream_info(source, nullptr)) < 0) {
        throw MediaError(MediaFailure::Input, "the audio of " + Quoted(output.companions) +
                                                  " cannot be read: " + ErrorText(result));
    }
    av_dict_copy(&target.metadata, source->metadata, 0);
    const int videoIndex = av_find_best_stream(source, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (videoIndex >= 0) {
        CopyVideoProperties(*source->streams[videoIndex], video);
    }
    for (unsigned i = 0; i < source->nb_streams; ++i) {
        AVStream* stream = source->streams[i];
        const bool isAudio = stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        stream->discard = isAudio ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        _targetIndices.push_back(-1);
        if (!isAudio) {
            continue;
        }
        if (avformat_query_codec(target.oformat, stream->codecpar->codec_id, FF_COMPLIANCE_UNOFFICIAL) == 0) {
            throw MediaError(MediaFailure::Codec, "files of the type " + Quoted(output.path.extension()) +
                                                      " cannot carry the source's audio (" +
                                                      avcodec_get_name(stream->codecpar->codec_id) +
                                                      "); .mkv and .mov carry most");
        }
        AVStream* copy = avformat_new_stream(&target, nullptr);
        if (!copy || avcodec_parameters_copy(copy->codecpar, stream->codecpar) < 0) {
            throw std::bad_alloc();
        }
        copy->codecpar->codec_tag = 0;
        copy->time_base = stream->time_base;
        copy->disposition = stream->disposition;
        av_dict_copy(&copy->metadata, stream->metadata, 0);
        _targetIndices.back() = copy->index;
    }
    if (_trim) {
        _start = output.startTime;
        _end = output.endTime;
    } else if (source->start_time != AV_NOPTS_VALUE && source->start_time > 0) {
        _start = av_rescale_q(source->start_time, AV_TIME_BASE_Q, _unit);
    }
    _hasPacket = ReadNext();
}

bool AudioCopier::ReadNext() {
    for (;;) {
        av_packet_unref(_packet.get());
        if (av_read_frame(_source.get(), _packet.get()) < 0) {
            return false;
        }
        const std::size_t index = static_cast<std::size_t>(_packet->stream_index);
        if (index >= _targetIndices.size() || _targetIndices[index] < 0) {
            continue;
        }
        const AVRational unit = _source->streams[index]->time_base;
        const std::int64_t time = _packet->pts != AV_NOPTS_VALUE ? _packet->pts : _packet->dts;
        if (_trim &&
            (av_compare_ts(time, unit, _start, _unit) < 0 || av_compare_ts(time, unit, *_end, _unit) >= 0)) {
            continue;
        }
        const std::int64_t shift = av_rescale_q(_start, _unit, unit);
        if (_packet->pts != AV_NOPTS_VALUE) {
            _packet->pts -= shift;
        }
        if (_packet->dts != AV_NOPTS_VALUE) {
            _packet->dts -= shift;
        }
        return true;
    }
}

int AudioCopier::WriteUntil(std::optional<std::int64_t> time, AVRational unit) {
    while (_hasPacket) {
        const AVRational ownUnit = _source->streams[_packet->stream_index]->time_base;
        const std::int64_t begin = _packet->dts != AV_NOPTS_VALUE ? _packet->dts : _packet->pts;
        if (time && av_compare_ts(begin, ownUnit, *time, unit) >= 0) {
            break;
        }
        const int index = _targetIndices[static_cast<std::size_t>(_packet->stream_index)];
        av_packet_rescale_ts(_packet.get(), ownUnit, _target.streams[index]->time_base);
        _packet->stream_index = index;
        _packet->pos = -1;
        const int result = av_interleaved_write_frame(&_target, _packet.get());
        if (result < 0) {
            return result;
        }
        _hasPacket = ReadNext();
    }
    return 0;
}

}  // namespace TQ::App
