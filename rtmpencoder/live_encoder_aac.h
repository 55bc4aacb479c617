// 16-bit sound in, AAC LC without ADTS headers out.
#pragma once

#include <mftransform.h>
#include <mmreg.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "com/ComPtr.h"
#include "rtmpencoder/live_encoder.h"

namespace Vimbrel {

class live_encoder_aac final : public live_encoder {
public:
    struct packet_audio final : packet {
        static constexpr std::uint32_t flag_silence = 2;

        packet_audio() : packet(type_audio) {}

        std::unique_ptr<std::uint8_t[]> data;
        std::int32_t size = 0;  // bytes
        // The caller's times. Not read: sound is stamped by the sender's clock.
        std::int64_t time = 0;
        std::int64_t duration = 0;
        std::uint32_t flags = 0;
    };

    // The format that the sound had before the caller converted it. It is only remembered: the
    // caller goes on sending `format`.
    struct packet_audio_changing final : packet {
        packet_audio_changing() : packet(type_audio_changing) {}

        WAVEFORMATEX format{};                  // with its cbSize
        std::unique_ptr<std::uint8_t[]> extra;  // format.cbSize bytes, null if that is 0
    };

    live_encoder_aac();
    ~live_encoder_aac() override;

    bool on_packet(packet* packet) override;
    bool on_start() override;
    void on_stop() override;

    bool format_differs = false;
    // Set before start.
    std::uint32_t bytes_per_second = 16000;  // of AAC
    WAVEFORMATEX format{};                   // of the sound that is posted

    // Filled by on_start, empty if the encoder gave none.
    std::vector<std::uint8_t> audio_specific_config;

private:
    HRESULT create_encoder();
    HRESULT create_buffers();
    HRESULT fill_input(const packet_audio& block);
    bool encode(const packet_audio& block);
    bool collect_output(std::uint32_t& total, std::vector<std::int32_t>& sizes);
    void change_format(packet_audio_changing& change);

    const std::uint32_t profile_level = 41;
    WAVEFORMATEX input_format{};
    std::unique_ptr<std::uint8_t[]> input_extra;  // input_format.cbSize bytes
    std::unique_ptr<std::uint8_t[]> scratch;      // output of one block
    std::uint32_t scratch_size = 0;
    ComPtr<IMFTransform> encoder;
    ComPtr<IMFSample> output_sample;
    ComPtr<IMFSample> input_sample;
    ComPtr<IMFMediaBuffer> input_buffer;
    std::uint64_t block_counter = 0;
};

}  // namespace Vimbrel
