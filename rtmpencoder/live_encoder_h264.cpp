// The path of a frame. live_encoder_h264_start.cpp makes the transforms.
#include "rtmpencoder/live_encoder_h264.h"

#include <mfapi.h>
#include <mferror.h>
#include <windows.h>

#include <cstring>
#include <utility>

#include "base/MediaSample.h"
#include "rtmpencoder/start_code.h"

namespace Vimbrel {
namespace {

constexpr DWORD bytes_per_pixel = 4;

HRESULT ProcessOutput(IMFTransform* transform, IMFSample* sample, ComPtr<IMFSample>& result) {
    MFT_OUTPUT_DATA_BUFFER data{};
    data.pSample = sample;
    DWORD status = 0;
    const HRESULT hr = transform->ProcessOutput(0, 1, &data, &status);
    if (data.pEvents != nullptr) data.pEvents->Release();
    if (data.pSample != nullptr && data.pSample == sample) data.pSample->AddRef();
    result.Attach(data.pSample);
    return hr;
}

}  // namespace

bool live_encoder_h264::on_packet(packet* input) {
    if (input->type != packet::type_video) return true;
    const auto& frame = static_cast<const packet_video&>(*input);
    // Kept: a first time of 0 counts as none, and the next frame's time becomes the origin. Hosts
    // rely on it to start at any time they like.
    if (first_time == 0) first_time = frame.time;
    relative_time = frame.time - first_time;
    ComPtr<IMFSample> nv12;
    if (FAILED(convert(fit(frame), nv12))) return false;
    // A failure from here on costs the frame and not the stream.
    if (FAILED(nv12->SetSampleTime(relative_time)) ||
        FAILED(nv12->SetSampleDuration(frame_duration)))
        return true;
    encode(nv12.Get());
    return true;
}

// Returns the frame in the output's size: as it is, or scaled with black bars.
const std::uint8_t* live_encoder_h264::fit(const packet_video& frame) {
    if (frame.width != source_width || frame.height != source_height) {
        std::memset(scaled_frame.get(), 0, frame_bytes());
        source_width = frame.width;
        source_height = frame.height;
        fitting.plan(source_width, source_height, static_cast<std::uint32_t>(width),
                     static_cast<std::uint32_t>(height));
    }
    if (fitting.needs_resize()) {
        fitting.resize(frame.data.get(), scaled_frame.get());
        return scaled_frame.get();
    }
    // A frame of a size for which no resize could be planned goes out as it lies in memory, and as
    // black if it is too short for that.
    const bool enough = std::size_t{bytes_per_pixel} * frame.width * frame.height >= frame_bytes();
    return enough ? frame.data.get() : scaled_frame.get();
}

HRESULT live_encoder_h264::convert(const std::uint8_t* pixels, ComPtr<IMFSample>& nv12) {
    const auto row = static_cast<LONG>(bytes_per_pixel) * width;
    BYTE* bytes = nullptr;
    HRESULT hr = rgb_buffer->Lock(&bytes, nullptr, nullptr);
    if (FAILED(hr)) return hr;
    hr = MFCopyImage(bytes, row, pixels, row, static_cast<DWORD>(row), static_cast<DWORD>(height));
    rgb_buffer->Unlock();
    if (SUCCEEDED(hr)) hr = rgb_sample->SetSampleTime(relative_time);
    if (SUCCEEDED(hr)) hr = rgb_sample->SetSampleDuration(frame_duration);
    if (SUCCEEDED(hr)) hr = converter->ProcessInput(0, rgb_sample.Get(), 0);
    ComPtr<IMFMediaBuffer> buffer;
    const auto size = static_cast<DWORD>(nv12_size);
    if (SUCCEEDED(hr)) hr = MakeMemorySample(size, nv12, buffer);
    if (SUCCEEDED(hr)) hr = buffer->SetCurrentLength(size);
    if (SUCCEEDED(hr)) {
        ComPtr<IMFSample> same;
        hr = ProcessOutput(converter.Get(), nv12.Get(), same);
    }
    return hr;
}

void live_encoder_h264::encode(IMFSample* nv12) {
    if (is_async && FAILED(wait_for_credit())) return;
    if (FAILED(feed(nv12))) return;
    ++in_flight;
    const HRESULT hr = take_output();
    if (FAILED(hr) || output.empty()) return;
    --in_flight;
    std::deque<encoded_frame_ptr> frames;
    frames.swap(output);
    for (encoded_frame_ptr& frame : frames) {
        if (auto* const receiver = dispatcher.load()) receiver->dispatch(frame);
    }
}

// Waits until the encoder requests input; meanwhile its output is taken.
HRESULT live_encoder_h264::wait_for_credit() {
    const auto is_fatal = [](HRESULT hr) {
        return FAILED(hr) && hr != MF_E_TRANSFORM_NEED_MORE_INPUT;
    };
    HRESULT hr = S_OK;
    while (hr == S_OK) hr = poll_event();
    if (FAILED(hr) && hr != MF_E_NO_EVENTS_AVAILABLE) return hr;
    while (have_output != 0) {
        hr = take_output();
        if (is_fatal(hr)) return hr;
        if (hr != S_OK) break;
    }
    while (need_input == 0) {
        hr = poll_event();
        if (hr == MF_E_NO_EVENTS_AVAILABLE) {
            Sleep(1);
            continue;
        }
        if (FAILED(hr)) return hr;
        if (have_output == 0) continue;
        hr = take_output();
        if (is_fatal(hr)) return hr;
    }
    return S_OK;
}

HRESULT live_encoder_h264::feed(IMFSample* nv12) {
    if (!is_async) return encoder->ProcessInput(0, nv12, 0);
    if (need_input == 1 && pending_input.empty()) {
        --need_input;
        return encoder->ProcessInput(0, nv12, 0);
    }
    pending_input.emplace_back(nv12);
    while (need_input != 0 && !pending_input.empty()) {
        const ComPtr<IMFSample> next = std::move(pending_input.front());
        pending_input.pop_front();
        --need_input;
        const HRESULT hr = encoder->ProcessInput(0, next.Get(), 0);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

// Takes one event. MF_E_NO_EVENTS_AVAILABLE if there is none.
HRESULT live_encoder_h264::poll_event() {
    ComPtr<IMFMediaEvent> event;
    HRESULT hr = event_generator->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.Put());
    if (FAILED(hr)) return hr;
    HRESULT status = S_OK;
    MediaEventType type = MEUnknown;
    hr = event->GetStatus(&status);
    if (SUCCEEDED(hr)) hr = event->GetType(&type);
    if (FAILED(hr)) return hr;
    if (SUCCEEDED(status) && type == METransformNeedInput) ++need_input;
    if (SUCCEEDED(status) && type == METransformHaveOutput) ++have_output;
    return S_OK;
}

HRESULT live_encoder_h264::take_output() {
    if (is_async) {
        HRESULT hr = S_OK;
        while (hr == S_OK) hr = poll_event();
        if (FAILED(hr) && hr != MF_E_NO_EVENTS_AVAILABLE) return hr;
        if (have_output == 0) return S_OK;
        --have_output;
    }
    ComPtr<IMFSample> ours;
    if (allocates_output) {
        encoder->GetOutputStreamInfo(0, &output_info);
        ComPtr<IMFMediaBuffer> buffer;
        const HRESULT hr = MakeMemorySample(output_info.cbSize, ours, buffer);
        if (FAILED(hr)) return hr;
    }
    for (;;) {
        ComPtr<IMFSample> sample;
        HRESULT hr = ProcessOutput(encoder.Get(), ours.Get(), sample);
        if (SUCCEEDED(hr)) return sample ? keep_output(sample.Get()) : E_UNEXPECTED;
        if (hr != MF_E_TRANSFORM_STREAM_CHANGE) return hr;
        hr = change_output_type();
        if (FAILED(hr)) return hr;
        if (!is_async || have_output == 0) return MF_E_TRANSFORM_NEED_MORE_INPUT;
        --have_output;
    }
}

HRESULT live_encoder_h264::change_output_type() {
    ComPtr<IMFMediaType> type;
    const HRESULT hr = encoder->GetOutputAvailableType(0, 0, type.Put());
    return SUCCEEDED(hr) ? encoder->SetOutputType(0, type.Get(), 0) : hr;
}

HRESULT live_encoder_h264::keep_output(IMFSample* sample) {
    ComPtr<IMFMediaBuffer> buffer;
    HRESULT hr = sample->ConvertToContiguousBuffer(buffer.Put());
    if (FAILED(hr)) return hr;
    UINT32 clean_point = 0;
    const bool key = SUCCEEDED(sample->GetUINT32(MFSampleExtension_CleanPoint, &clean_point)) &&
                     clean_point != 0;
    if (key && sequence_header.empty()) {
        hr = extract_parameter_sets();
        if (FAILED(hr)) return hr;
    }
    BYTE* bytes = nullptr;
    DWORD length = 0;
    hr = buffer->Lock(&bytes, nullptr, &length);
    if (FAILED(hr)) return hr;
    encoded_frame_ptr frame =
        make_encoded_frame(encoded_frame::type_h264, bytes, static_cast<std::int32_t>(length));
    buffer->Unlock();
    if (!frame) return E_OUTOFMEMORY;
    LONGLONG time = 0;
    if (SUCCEEDED(sample->GetSampleTime(&time))) frame->time = time;
    UINT64 decode_time = 0;
    if (SUCCEEDED(sample->GetUINT64(MFSampleExtension_DecodeTimestamp, &decode_time)))
        frame->decode_time = static_cast<std::int64_t>(decode_time);
    frame->key = key ? 1 : 0;
    output.push_back(std::move(frame));
    return S_OK;
}

// Runs once: a header that cannot be split is kept, and is not tried again.
HRESULT live_encoder_h264::extract_parameter_sets() {
    ComPtr<IMFMediaType> type;
    HRESULT hr = encoder->GetOutputCurrentType(0, type.Put());
    UINT32 size = 0;
    if (SUCCEEDED(hr)) hr = type->GetBlobSize(MF_MT_MPEG_SEQUENCE_HEADER, &size);
    if (FAILED(hr)) return hr;
    sequence_header.resize(size);
    hr = type->GetBlob(MF_MT_MPEG_SEQUENCE_HEADER, sequence_header.data(), size, nullptr);
    if (FAILED(hr)) return hr;
    constexpr std::size_t start_code_size = 4;
    if (sequence_header.size() <= start_code_size) return S_OK;
    const start_code second = find_start_code(sequence_header, start_code_size + 1);
    if (!second) return S_OK;
    const auto split = sequence_header.begin() + static_cast<std::ptrdiff_t>(second.place);
    sps.assign(sequence_header.begin(), split);
    pps.assign(split, sequence_header.end());
    return S_OK;
}

void live_encoder_h264::on_stop() {
    if (encoder) {
        encoder->ProcessMessage(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0);
        encoder->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0);
    }
    rgb_type.Reset();
    nv12_type.Reset();
    h264_type.Reset();
    event_generator.Reset();
    rgb_buffer.Reset();
    rgb_sample.Reset();
    codec_api.Reset();
    converter.Reset();
    encoder.Reset();
    pending_input.clear();
    fitting.release();
}

}  // namespace Vimbrel
