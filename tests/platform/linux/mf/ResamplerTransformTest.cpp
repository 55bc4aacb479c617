// The system's resampler on Linux, as a transform beyond what the audio engine calls.
#include <gtest/gtest.h>

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "com/ComPtr.h"
#include "tests/support/Tone.h"

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

ComPtr<IMFMediaType> Floats(UINT32 channels, UINT32 rate) {
    return Type(MFAudioFormat_Float, channels, rate, 32, channels * 4);
}

class ResamplerTransformTest : public ::testing::Test {
protected:
    ResamplerTransformTest() {
        void* made = nullptr;
        EXPECT_EQ(CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                                   __uuidof(IMFTransform), &made),
                  S_OK);
        transform.Attach(static_cast<IMFTransform*>(made));
    }

    void SetTypes(UINT32 in_channels, UINT32 in_rate, UINT32 out_channels, UINT32 out_rate) {
        // The order does not matter.
        ASSERT_EQ(transform->SetOutputType(0, Floats(out_channels, out_rate).Get(), 0), S_OK);
        ASSERT_EQ(transform->SetInputType(0, Floats(in_channels, in_rate).Get(), 0), S_OK);
    }
    HRESULT Put(const std::vector<float>& sound) {
        ComPtr<IMFMediaBuffer> buffer;
        const auto size = static_cast<DWORD>(sound.size() * sizeof(float));
        const ComPtr<IMFSample> sample = SampleOf(size, buffer);
        BYTE* data = nullptr;
        buffer->Lock(&data, nullptr, nullptr);
        if (size > 0) std::memcpy(data, sound.data(), size);
        buffer->Unlock();
        buffer->SetCurrentLength(size);
        return transform->ProcessInput(0, sample.Get(), 0);
    }
    HRESULT Get(std::vector<float>& sound, DWORD capacity = 1 << 20) {
        ComPtr<IMFMediaBuffer> buffer;
        const ComPtr<IMFSample> sample = SampleOf(capacity, buffer);
        MFT_OUTPUT_DATA_BUFFER output{0, sample.Get(), 0, nullptr};
        DWORD status = 0;
        const HRESULT hr = transform->ProcessOutput(0, 1, &output, &status);
        if (FAILED(hr)) return hr;
        BYTE* data = nullptr;
        DWORD length = 0;
        buffer->Lock(&data, nullptr, &length);
        const std::size_t end = sound.size();
        sound.resize(end + length / sizeof(float));
        std::memcpy(sound.data() + end, data, length);
        buffer->Unlock();
        return hr;
    }
    static ComPtr<IMFSample> SampleOf(DWORD size, ComPtr<IMFMediaBuffer>& buffer) {
        ComPtr<IMFSample> sample;
        EXPECT_EQ(MFCreateSample(sample.Put()), S_OK);
        EXPECT_EQ(MFCreateMemoryBuffer(size, buffer.Put()), S_OK);
        EXPECT_EQ(sample->AddBuffer(buffer.Get()), S_OK);
        return sample;
    }
    static std::vector<float> Tone(double frequency, double rate, int frames) {
        std::vector<float> sound;
        for (int i = 0; i < frames; ++i)
            sound.push_back(static_cast<float>(Sine(frequency, rate, i)));
        return sound;
    }

    ComPtr<IMFTransform> transform;
};

TEST_F(ResamplerTransformTest, RefusesTypesThatItCannotConvert) {
    const ComPtr<IMFMediaType> refused[] = {
        Type(MFAudioFormat_PCM, 2, 48000, 24, 6),   Type(MFAudioFormat_Float, 2, 48000, 64, 16),
        Type(MFAudioFormat_Float, 2, 48000, 16, 4), Type(MFAudioFormat_AAC, 2, 48000, 16, 4),
        Type(MFAudioFormat_PCM, 0, 48000, 16, 0),   Type(MFAudioFormat_PCM, 9, 48000, 16, 18),
        Type(MFAudioFormat_PCM, 2, 0, 16, 4),       Type(MFAudioFormat_PCM, 2, 1'000'000, 16, 4),
        Type(MFAudioFormat_PCM, 2, 48000, 16, 6)};
    for (const auto& type : refused) {
        SetTypes(2, 48000, 2, 44100);
        EXPECT_EQ(transform->SetInputType(0, type.Get(), 0), MF_E_INVALIDMEDIATYPE);
        ComPtr<IMFMediaType> current;
        EXPECT_EQ(transform->GetInputCurrentType(0, current.Put()), MF_E_TRANSFORM_TYPE_NOT_SET);
        EXPECT_EQ(Put({0, 0}), MF_E_TRANSFORM_TYPE_NOT_SET);
        EXPECT_EQ(transform->SetOutputType(0, type.Get(), 0), MF_E_INVALIDMEDIATYPE);
    }
    EXPECT_EQ(transform->SetInputType(1, Floats(2, 48000).Get(), 0), MF_E_INVALIDSTREAMNUMBER);
}

TEST_F(ResamplerTransformTest, OneOutputPerInput) {
    SetTypes(1, 48000, 1, 48000);
    std::vector<float> sound;
    EXPECT_EQ(Get(sound), MF_E_TRANSFORM_NEED_MORE_INPUT);
    EXPECT_EQ(Put({1, 2}), S_OK);
    EXPECT_EQ(Put({3}), MF_E_NOTACCEPTING);
    EXPECT_EQ(transform->ProcessOutput(0, 1, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(Get(sound, 3), MF_E_BUFFERTOOSMALL);
    EXPECT_EQ(Get(sound), S_OK);
    EXPECT_EQ(Put({}), S_OK);
    EXPECT_EQ(Get(sound), MF_E_TRANSFORM_NEED_MORE_INPUT);
    EXPECT_EQ(sound, (std::vector<float>{1, 2}));
}

// Blocks that always fill the buffer must not make the transform refuse the next one.
TEST_F(ResamplerTransformTest, WhatDoesNotFitComesNext) {
    SetTypes(1, 48000, 1, 48000);
    std::vector<float> sound;
    for (float block = 0; block < 6; block += 2) {
        EXPECT_EQ(Put({block, block + 1}), S_OK);
        EXPECT_EQ(Get(sound, block < 2 ? 4 : 8), S_OK);
    }
    while (SUCCEEDED(Get(sound, 4))) continue;
    EXPECT_EQ(sound, (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TEST_F(ResamplerTransformTest, ADrainYieldsTheTailAndAFlushNothing) {
    SetTypes(1, 48000, 1, 44100);
    for (int round = 0; round < 2; ++round) {
        std::vector<float> sound;
        EXPECT_EQ(Put(Tone(997, 48000, 4800)), S_OK);
        EXPECT_EQ(Get(sound), S_OK);
        EXPECT_LT(sound.size(), 4410U);
        EXPECT_EQ(transform->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0), S_OK);
        EXPECT_EQ(Put({0}), MF_E_NOTACCEPTING);
        while (SUCCEEDED(Get(sound, 64))) continue;
        EXPECT_NEAR(static_cast<double>(sound.size()), 4410, 1);

        EXPECT_EQ(Put(Tone(997, 48000, 4800)), S_OK);
        EXPECT_EQ(Get(sound), S_OK);
        EXPECT_EQ(Put(Tone(997, 48000, 4800)), S_OK);
        EXPECT_EQ(transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0), S_OK);
        EXPECT_EQ(Get(sound), MF_E_TRANSFORM_NEED_MORE_INPUT);
        // A fresh stream: silence is not followed by the rest of the tone.
        sound.clear();
        EXPECT_EQ(Put(std::vector<float>(4800)), S_OK);
        EXPECT_EQ(Get(sound), S_OK);
        EXPECT_EQ(sound, std::vector<float>(sound.size()));
        EXPECT_EQ(transform->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0), S_OK);
    }
}

TEST_F(ResamplerTransformTest, ChannelsAreInTheOrderOfTheSpeakers) {
    // Quad: left, right, back left, back right.
    SetTypes(4, 48000, 2, 48000);
    std::vector<float> sound;
    EXPECT_EQ(Put({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}), S_OK);
    EXPECT_EQ(Get(sound), S_OK);
    ASSERT_EQ(sound.size(), 8U);
    const float expected[] = {0.5858F, 0, 0, 0.5858F, 0.4142F, 0, 0, 0.4142F};
    for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(sound[i], expected[i], 1e-3) << i;
}

TEST_F(ResamplerTransformTest, WhatIsAboveTheLowerRateFoldsBackQuietly) {
    SetTypes(1, 48000, 1, 44100);
    std::vector<float> sound;
    EXPECT_EQ(Put(Tone(23000, 48000, 48000)), S_OK);
    EXPECT_EQ(Get(sound), S_OK);
    const std::vector<double> settled(sound.begin() + 500, sound.end());
    EXPECT_LT(FitTone(settled, 44100 - 23000, 44100).amplitude, 0.0115);  // -38.8 dB
    sound.clear();
}

}  // namespace
}  // namespace Vimbrel::test
