// 32-bit frames of any size in, H.264 access units (Annex B) out.
#pragma once

#include <mftransform.h>
#include <strmif.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "com/ComPtr.h"
#include "rtmpencoder/frame_fitting.h"
#include "rtmpencoder/live_encoder.h"

namespace Vimbrel {

class live_encoder_h264 final : public live_encoder {
public:
    struct packet_video final : packet {
        packet_video() : packet(type_video) {}

        std::unique_ptr<std::uint8_t[]>
            data;                 // height rows of width * 4 bytes, the bottom row first
        std::uint32_t width = 0;  // pixels
        std::uint32_t height = 0;
        std::int64_t time = 0;  // the application's, in units of 100 ns
    };

    live_encoder_h264() = default;
    ~live_encoder_h264() override = default;

    bool on_packet(packet* packet) override;
    bool on_start() override;
    void on_stop() override;

    // Set before start.
    std::int32_t width = 640;
    std::int32_t height = 480;
    std::uint32_t frame_rate_num = 30;
    std::uint32_t frame_rate_den = 1;

    // Each with its start code. Empty until the first key frame is dispatched, and unchanged
    // afterwards.
    std::vector<std::uint8_t> sps;
    std::vector<std::uint8_t> pps;

private:
    HRESULT create_transforms();
    HRESULT create_converter();
    HRESULT create_encoder();
    HRESULT create_software_encoder();
    void activate_encoder(std::uint32_t flags);
    HRESULT configure_encoder();
    HRESULT create_h264_type();
    void set_quality();
    HRESULT create_rgb_sample();
    std::size_t frame_bytes() const {
        return std::size_t{4} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }

    const std::uint8_t* fit(const packet_video& frame);
    HRESULT convert(const std::uint8_t* pixels, ComPtr<IMFSample>& nv12);
    void encode(IMFSample* nv12);
    HRESULT wait_for_credit();
    HRESULT feed(IMFSample* nv12);
    HRESULT poll_event();
    HRESULT take_output();
    HRESULT change_output_type();
    HRESULT keep_output(IMFSample* sample);
    HRESULT extract_parameter_sets();

    std::uint32_t source_width = 0;  // of the last frame
    std::uint32_t source_height = 0;
    std::unique_ptr<std::uint8_t[]> scaled_frame;  // width * height * 4 bytes
    std::uint32_t bit_rate = 0;                    // bits a second
    std::vector<std::uint8_t> sequence_header;
    frame_fitting fitting;

    bool is_hardware = false;
    bool allocates_output = true;  // output samples are made here and not by the encoder
    bool is_async = false;
    MFT_OUTPUT_STREAM_INFO output_info{};
    ComPtr<IMFMediaType> rgb_type;
    ComPtr<IMFMediaType> nv12_type;
    ComPtr<IMFMediaType> h264_type;
    ComPtr<IMFTransform> encoder;
    ComPtr<IMFTransform> converter;
    ComPtr<ICodecAPI> codec_api;
    ComPtr<IMFSample> rgb_sample;
    ComPtr<IMFMediaBuffer> rgb_buffer;
    ComPtr<IMFMediaEventGenerator> event_generator;

    std::uint64_t nv12_size = 0;      // bytes
    std::int64_t frame_duration = 0;  // in units of 100 ns
    std::int64_t first_time = 0;      // of the first frame, in the same
    std::int64_t relative_time = 0;   // of the frame at work
    // Frames that the encoder has taken and not yet returned, and its events not yet used.
    std::atomic<std::int32_t> in_flight = 0;
    std::atomic<std::int32_t> have_output = 0;
    std::atomic<std::int32_t> need_input = 0;
    std::deque<ComPtr<IMFSample>> pending_input;  // waits for need_input, oldest first
    std::deque<encoded_frame_ptr> output;         // oldest first
};

}  // namespace Vimbrel
