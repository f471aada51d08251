#include "Peers.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#ifdef HAVE_SNDFILE
#include <sndfile.h>
#endif

#ifdef HAVE_FFMPEG
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#endif

#ifdef HAVE_DR_WAV
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#define DR_WAV_IMPLEMENTATION
#include "dr_wav.h"
#pragma GCC diagnostic pop
#endif

namespace peers {

namespace {

[[maybe_unused]] void Require(bool inHolds, const char* inWhat) {
    if (!inHolds) {
        std::fprintf(stderr, "benchmark peer failed: %s\n", inWhat);
        std::exit(1);
    }
}

[[maybe_unused]] void Spread(const float* inFrames, std::int64_t inCount, Planes& outPlanes) {
    const std::size_t channels = outPlanes.size();
    for (std::size_t channel = 0; channel < channels; ++channel) {
        float* const plane = outPlanes[channel].data();
        for (std::int64_t frame = 0; frame < inCount; ++frame)
            plane[frame] = inFrames[static_cast<std::size_t>(frame) * channels + channel];
    }
}

#ifdef HAVE_SNDFILE
struct CloseSndfile {
    void operator()(SNDFILE* inFile) const { sf_close(inFile); }
};

std::unique_ptr<SNDFILE, CloseSndfile> OpenSndfile(const std::string& inPath) {
    SF_INFO info{};
    std::unique_ptr<SNDFILE, CloseSndfile> file(sf_open(inPath.c_str(), SFM_READ, &info));
    Require(file != nullptr, "sf_open");
    return file;
}

void DecodeSndfile(const std::string& inPath, std::int64_t inBlockFrames, Planes& outPlanes,
                   const BlockDone& inDone) {
    const auto file = OpenSndfile(inPath);
    std::vector<float> frames(static_cast<std::size_t>(inBlockFrames) * outPlanes.size());
    while (const sf_count_t count = sf_readf_float(file.get(), frames.data(), inBlockFrames)) {
        Spread(frames.data(), count, outPlanes);
        if (inDone)
            inDone(count);
    }
}
#endif

#ifdef HAVE_FFMPEG
struct FreeFormat {
    void operator()(AVFormatContext* inContext) const { avformat_close_input(&inContext); }
};
struct FreeCodec {
    void operator()(AVCodecContext* inContext) const { avcodec_free_context(&inContext); }
};
struct FreePacket {
    void operator()(AVPacket* inPacket) const { av_packet_free(&inPacket); }
};
struct FreeFrame {
    void operator()(AVFrame* inFrame) const { av_frame_free(&inFrame); }
};

std::unique_ptr<AVFormatContext, FreeFormat> OpenFfmpeg(const std::string& inPath) {
    AVFormatContext* context = nullptr;
    Require(avformat_open_input(&context, inPath.c_str(), nullptr, nullptr) == 0, "avformat_open_input");
    return std::unique_ptr<AVFormatContext, FreeFormat>(context);
}

template <typename Sample>
void SpreadIntegers(const Sample* inFrames, std::int64_t inCount, float inScale, Planes& outPlanes) {
    const std::size_t channels = outPlanes.size();
    for (std::size_t channel = 0; channel < channels; ++channel) {
        float* const plane = outPlanes[channel].data();
        for (std::int64_t frame = 0; frame < inCount; ++frame)
            plane[frame] =
                static_cast<float>(inFrames[static_cast<std::size_t>(frame) * channels + channel]) * inScale;
    }
}

void DecodeFfmpeg(const std::string& inPath, std::int64_t, Planes& outPlanes, const BlockDone& inDone) {
    const auto format = OpenFfmpeg(inPath);
    const AVCodecParameters* const parameters = format->streams[0]->codecpar;
    const AVCodec* const codec = avcodec_find_decoder(parameters->codec_id);
    const std::unique_ptr<AVCodecContext, FreeCodec> decoder(avcodec_alloc_context3(codec));
    Require(avcodec_parameters_to_context(decoder.get(), parameters) >= 0, "avcodec_parameters_to_context");
    Require(avcodec_open2(decoder.get(), codec, nullptr) == 0, "avcodec_open2");
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, FreeFrame> frame(av_frame_alloc());
    while (av_read_frame(format.get(), packet.get()) == 0) {
        Require(avcodec_send_packet(decoder.get(), packet.get()) == 0, "avcodec_send_packet");
        while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
            switch (frame->format) {
            case AV_SAMPLE_FMT_S16:
                SpreadIntegers(reinterpret_cast<const std::int16_t*>(frame->data[0]), frame->nb_samples,
                               0x1p-15f, outPlanes);
                break;
            case AV_SAMPLE_FMT_S32:
                SpreadIntegers(reinterpret_cast<const std::int32_t*>(frame->data[0]), frame->nb_samples,
                               0x1p-31f, outPlanes);
                break;
            default:
                Require(frame->format == AV_SAMPLE_FMT_FLT, "sample format");
                Spread(reinterpret_cast<const float*>(frame->data[0]), frame->nb_samples, outPlanes);
            }
            if (inDone)
                inDone(frame->nb_samples);
        }
        av_packet_unref(packet.get());
    }
}
#endif

#ifdef HAVE_DR_WAV
void DecodeDrWav(const std::string& inPath, std::int64_t inBlockFrames, Planes& outPlanes,
                 const BlockDone& inDone) {
    drwav file;
    Require(drwav_init_file(&file, inPath.c_str(), nullptr), "drwav_init_file");
    std::vector<float> frames(static_cast<std::size_t>(inBlockFrames) * outPlanes.size());
    while (const auto count = static_cast<std::int64_t>(
               drwav_read_pcm_frames_f32(&file, static_cast<drwav_uint64>(inBlockFrames), frames.data()))) {
        Spread(frames.data(), count, outPlanes);
        if (inDone)
            inDone(count);
    }
    drwav_uninit(&file);
}

void OpenDrWav(const std::string& inPath) {
    drwav file;
    Require(drwav_init_file(&file, inPath.c_str(), nullptr), "drwav_init_file");
    drwav_uninit(&file);
}
#endif

} // namespace

std::vector<Peer> FindPeers() {
    return {
#ifdef HAVE_SNDFILE
        {"libsndfile", DecodeSndfile, [](const std::string& inPath) { OpenSndfile(inPath); }},
#endif
#ifdef HAVE_FFMPEG
        {"FFmpeg's libraries", DecodeFfmpeg, [](const std::string& inPath) { OpenFfmpeg(inPath); }},
#endif
#ifdef HAVE_DR_WAV
        {"dr_wav", DecodeDrWav, OpenDrWav},
#endif
    };
}

} // namespace peers
