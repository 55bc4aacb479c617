// The results of the system's resampler on Linux. What it does to sound is tested through
// AudioResampler, on both systems.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include "com/ComPtr.h"

namespace Vimbrel::test {
namespace {

ComPtr<IMFMediaType> Type(const GUID& subtype, UINT32 channels, UINT32 rate, UINT32 bits,
                          UINT32 align) {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(MFCreateMediaType(type.Put()), S_OK);
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    type->SetGUID(MF_MT_SUBTYPE, subtype);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, channels);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, bits);
    type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, align);
    return type;
}

ComPtr<IMFSample> Silence(DWORD size) {
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(MFCreateSample(sample.Put()), S_OK);
    EXPECT_EQ(MFCreateMemoryBuffer(size, buffer.Put()), S_OK);
    EXPECT_EQ(buffer->SetCurrentLength(size), S_OK);
    EXPECT_EQ(sample->AddBuffer(buffer.Get()), S_OK);
    return sample;
}

ComPtr<IMFTransform> MakeResampler() {
    ComPtr<IMFTransform> transform;
    void* made = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                               __uuidof(IMFTransform), &made),
              S_OK);
    transform.Attach(static_cast<IMFTransform*>(made));
    return transform;
}

// On which sides a channel of so many is heard.
std::string SidesOf(UINT32 channel, UINT32 channels) {
    constexpr DWORD frames = 4096;
    const ComPtr<IMFTransform> transform = MakeResampler();
    EXPECT_EQ(transform->SetInputType(
                  0, Type(MFAudioFormat_PCM, channels, 48000, 16, channels * 2).Get(), 0),
              S_OK);
    EXPECT_EQ(transform->SetOutputType(0, Type(MFAudioFormat_PCM, 2, 48000, 16, 4).Get(), 0), S_OK);
    const ComPtr<IMFSample> input = Silence(frames * channels * 2);
    const ComPtr<IMFSample> output = Silence(frames * 4);
    const auto samples = [](IMFSample& sample) {
        ComPtr<IMFMediaBuffer> buffer;
        BYTE* data = nullptr;
        EXPECT_EQ(sample.GetBufferByIndex(0, buffer.Put()), S_OK);
        EXPECT_EQ(buffer->Lock(&data, nullptr, nullptr), S_OK);
        buffer->Unlock();
        return reinterpret_cast<std::int16_t*>(data);
    };
    std::int16_t* const first = samples(*input.Get());
    for (DWORD i = 0; i < frames; ++i) {
        for (UINT32 each = 0; each < channels; ++each)
            first[i * channels + each] = each == channel ? 10'000 : 0;
    }
    EXPECT_EQ(transform->ProcessInput(0, input.Get(), 0), S_OK);
    MFT_OUTPUT_DATA_BUFFER result{0, output.Get(), 0, nullptr};
    DWORD status = 0;
    EXPECT_EQ(transform->ProcessOutput(0, 1, &result, &status), S_OK);
    const std::int16_t* const heard = samples(*output.Get()) + frames;
    return std::string(heard[0] ? "L" : "") + (heard[1] ? "R" : "");
}

// In the order of WAVE files: front, centre, the low one (which is left out), back, sides.
TEST(ResamplerTransformTest, TheChannelsOfEveryCountHaveTheirSides) {
    const std::vector<std::vector<std::string>> sides = {
        {"L", "R", "LR"},
        {"L", "R", "L", "R"},
        {"L", "R", "LR", "L", "R"},
        {"L", "R", "LR", "", "L", "R"},
        {"L", "R", "LR", "", "L", "R", "LR"},
        {"L", "R", "LR", "", "L", "R", "L", "R"},
    };
    for (const auto& each : sides) {
        const auto channels = static_cast<UINT32>(each.size());
        for (UINT32 i = 0; i < channels; ++i)
            EXPECT_EQ(SidesOf(i, channels), each[i]) << "channel " << i << " of " << channels;
    }
}

TEST(ResamplerTransformTest, RefusesWhatItCannotDo) {
    const ComPtr<IMFTransform> transform = MakeResampler();
    const auto put = [&](DWORD size) { return transform->ProcessInput(0, Silence(size).Get(), 0); };
    const auto get = [&](DWORD capacity) {
        const ComPtr<IMFSample> sample = Silence(capacity);
        MFT_OUTPUT_DATA_BUFFER output{0, sample.Get(), 0, nullptr};
        DWORD status = 0;
        return transform->ProcessOutput(0, 1, &output, &status);
    };
    // Set in either order.
    const auto good = Type(MFAudioFormat_PCM, 2, 48000, 16, 4);
    EXPECT_EQ(transform->SetOutputType(0, good.Get(), 0), S_OK);
    EXPECT_EQ(put(4), MF_E_TRANSFORM_TYPE_NOT_SET);
    EXPECT_EQ(transform->SetInputType(1, good.Get(), 0), MF_E_INVALIDSTREAMNUMBER);
    EXPECT_EQ(transform->SetInputType(0, good.Get(), 0), S_OK);

    EXPECT_EQ(get(4), MF_E_TRANSFORM_NEED_MORE_INPUT);
    EXPECT_EQ(put(8), S_OK);
    EXPECT_EQ(put(8), MF_E_NOTACCEPTING);
    EXPECT_EQ(get(3), MF_E_BUFFERTOOSMALL);
    EXPECT_EQ(get(4), S_OK);
    EXPECT_EQ(put(8), S_OK);
    EXPECT_EQ(transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0), S_OK);
    EXPECT_EQ(get(4), MF_E_TRANSFORM_NEED_MORE_INPUT) << "neither input nor the rest";
    EXPECT_EQ(put(3), S_OK);
    EXPECT_EQ(get(4), MF_E_TRANSFORM_NEED_MORE_INPUT) << "less than a frame";

    for (const auto& bad :
         {Type(MFAudioFormat_PCM, 2, 48000, 24, 6), Type(MFAudioFormat_Float, 2, 48000, 64, 16),
          Type(MFAudioFormat_AAC, 2, 48000, 16, 4), Type(MFAudioFormat_PCM, 0, 48000, 16, 0),
          Type(MFAudioFormat_PCM, 9, 48000, 16, 18), Type(MFAudioFormat_PCM, 2, 0, 16, 4),
          Type(MFAudioFormat_PCM, 2, 1'000'000, 16, 4), Type(MFAudioFormat_PCM, 2, 48000, 16, 6)}) {
        EXPECT_EQ(transform->SetOutputType(0, good.Get(), 0), S_OK);
        EXPECT_EQ(transform->SetInputType(0, good.Get(), 0), S_OK);
        EXPECT_EQ(transform->SetInputType(0, bad.Get(), 0), MF_E_INVALIDMEDIATYPE);
        EXPECT_EQ(put(4), MF_E_TRANSFORM_TYPE_NOT_SET);
        EXPECT_EQ(transform->SetOutputType(0, bad.Get(), 0), MF_E_INVALIDMEDIATYPE);
    }
}

}  // namespace
}  // namespace Vimbrel::test
