// The encoding transforms and their list under want of memory: a result code, and the transform
// works again afterwards.
#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <objbase.h>

#include <ios>

#include "base/MediaSample.h"
#include "platform/linux/mf/transform/AacEncoderTransform.h"
#include "platform/linux/mf/transform/EncoderList.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "tests/platform/linux/mf/MfTestKit.h"
#include "tests/support/ScarceMemory.h"

namespace Vimbrel::test {
namespace {

constexpr UINT32 width = 64;
constexpr UINT32 height = 48;

ComPtr<IMFSample> Filled(DWORD size) {
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(MakeMemorySample(size, sample, buffer), S_OK);
    EXPECT_EQ(buffer->SetCurrentLength(size), S_OK);
    sample->SetSampleTime(0);
    return sample;
}

ComPtr<IMFMediaType> VideoType(const GUID& subtype) {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(MFCreateMediaType(type.Put()), S_OK);
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    type->SetGUID(MF_MT_SUBTYPE, subtype);
    MFSetAttributeSize(type.Get(), MF_MT_FRAME_SIZE, width, height);
    MFSetAttributeRatio(type.Get(), MF_MT_FRAME_RATE, 30, 1);
    type->SetUINT32(MF_MT_AVG_BITRATE, 400'000);
    return type;
}

ComPtr<IMFMediaType> SoundType(const GUID& subtype) {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(MFCreateMediaType(type.Put()), S_OK);
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    type->SetGUID(MF_MT_SUBTYPE, subtype);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, 44100);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, 2);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 16);
    type->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 16000);
    return type;
}

// Repeats the call on a state of its own with each number of allocations that succeed before one
// fails, and expects S_OK or E_OUTOFMEMORY. `check` gets the state and the result.
template <class State, class Call, class Check>
void ExpectOutOfMemory(const char* what, Call call, Check check) {
    bool failed = true;
    for (int successes = 0; failed && successes < 200; ++successes) {
        State state;
        HRESULT hr = E_FAIL;
        ASSERT_NO_THROW({
            const ScopedAllocationFailure scarce(successes);
            hr = call(state);
            failed = scarce.HasFailed();
        }) << what
           << " after " << successes;
        EXPECT_TRUE(hr == S_OK || (failed && hr == E_OUTOFMEMORY))
            << what << " after " << successes << " returns " << std::hex << hr;
        check(state, hr);
    }
    EXPECT_FALSE(failed) << what;
}

// An encoder with its types and a block of input, set step by step.
class Steps {
public:
    // Goes on with the step that failed before.
    HRESULT Run() {
        HRESULT hr = S_OK;
        while (done < 3 && SUCCEEDED(hr)) {
            hr = Step();
            if (SUCCEEDED(hr)) ++done;
        }
        return hr;
    }
    HRESULT Output() {
        MFT_OUTPUT_DATA_BUFFER data{};
        data.pSample = output.Get();
        DWORD status = 0;
        return transform->ProcessOutput(0, 1, &data, &status);
    }

    ComPtr<IMFMediaType> first_type;
    ComPtr<IMFMediaType> second_type;
    ComPtr<IMFSample> input;
    const ComPtr<IMFSample> output = Filled(65536);
    bool output_type_first = false;

protected:
    explicit Steps(ComPtr<IMFTransform> made) : transform(std::move(made)) {}

private:
    HRESULT Step() {
        if (done == 2) return transform->ProcessInput(0, input.Get(), 0);
        IMFMediaType* const type = done == 0 ? first_type.Get() : second_type.Get();
        return (done == 0) == output_type_first ? transform->SetOutputType(0, type, 0)
                                                : transform->SetInputType(0, type, 0);
    }

    const ComPtr<IMFTransform> transform;
    int done = 0;
};

struct Video : Steps {
    Video() : Steps(MakeCom<H264EncoderTransform>(nullptr).As<IMFTransform>()) {
        output_type_first = true;
        first_type = VideoType(MFVideoFormat_H264);
        second_type = VideoType(MFVideoFormat_NV12);
        input = Filled(width * height / 2 * 3);
    }
};

struct Sound : Steps {
    Sound() : Steps(MakeCom<AacEncoderTransform>().As<IMFTransform>()) {
        first_type = SoundType(MFAudioFormat_PCM);
        second_type = SoundType(MFAudioFormat_AAC);
        input = Filled(4 * 1024 * 4);
    }
};

class TransformMemoryTest : public MediaTest {};

TEST_F(TransformMemoryTest, AVideoEncoderGoesOnWithAKeyFrame) {
    ExpectOutOfMemory<Video>(
        "video", [](Video& video) { return video.Run(); },
        [](Video& video, HRESULT) {
            EXPECT_EQ(video.Run(), S_OK);
            EXPECT_EQ(video.Output(), S_OK);
            UINT32 header = 0;
            EXPECT_EQ(video.first_type->GetBlobSize(MF_MT_MPEG_SEQUENCE_HEADER, &header), S_OK);
            EXPECT_NE(header, 0u);
            UINT32 key = 0;
            EXPECT_EQ(video.output->GetUINT32(MFSampleExtension_CleanPoint, &key), S_OK);
            EXPECT_EQ(key, 1u);
            EXPECT_EQ(video.Output(), MF_E_TRANSFORM_NEED_MORE_INPUT);
        });
}

TEST_F(TransformMemoryTest, ASoundEncoderTakesTheNextBlock) {
    ExpectOutOfMemory<Sound>(
        "sound", [](Sound& sound) { return sound.Run(); },
        [](Sound& sound, HRESULT) {
            EXPECT_EQ(sound.Run(), S_OK);
            EXPECT_EQ(sound.Output(), S_OK);
        });
}

TEST_F(TransformMemoryTest, TheListOfEncodersIsWholeOrEmpty) {
    struct Listed {
        ~Listed() {
            for (UINT32 i = 0; i < count; ++i) activates[i]->Release();
            CoTaskMemFree(activates);
        }
        IMFActivate** activates = nullptr;
        UINT32 count = 0;
    };
    const ListedEncoder encoder{L"an encoder whose name takes memory", MFT_ENUM_FLAG_HARDWARE,
                                CreateSoftwareH264Encoder};
    const ScopedHardwareEncoders replacement({encoder, encoder});
    ExpectOutOfMemory<Listed>(
        "list",
        [](Listed& list) {
            return MFTEnumEx(MFT_CATEGORY_VIDEO_ENCODER, MFT_ENUM_FLAG_HARDWARE, nullptr, nullptr,
                             &list.activates, &list.count);
        },
        [](Listed& list, HRESULT hr) {
            EXPECT_EQ(list.count, SUCCEEDED(hr) ? 2u : 0u);
            EXPECT_EQ(list.activates != nullptr, SUCCEEDED(hr));
            for (UINT32 i = 0; i < list.count; ++i) {
                UINT32 flags = 0;
                EXPECT_EQ(list.activates[i]->GetUINT32(MF_TRANSFORM_FLAGS_Attribute, &flags), S_OK);
            }
        });
}

}  // namespace
}  // namespace Vimbrel::test
