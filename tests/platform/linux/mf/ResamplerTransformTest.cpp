// The results of the system's resampler on Linux. What it does to sound is tested through
// AudioResampler, on both systems.
#include <gtest/gtest.h>

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

TEST(ResamplerTransformTest, RefusesWhatItCannotDo) {
    ComPtr<IMFTransform> transform;
    void* made = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                               __uuidof(IMFTransform), &made),
              S_OK);
    transform.Attach(static_cast<IMFTransform*>(made));
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
