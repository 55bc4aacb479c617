#include "tests/platform/linux/mf/TestSource.h"

namespace Vimbrel::test {

ComPtr<IMFMediaType> VideoType(const Scene& scene, bool top_down) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = static_cast<LONG>(scene.width);
    header.biHeight = static_cast<LONG>(scene.height) * (top_down ? -1 : 1);
    header.biPlanes = 1;
    header.biBitCount = 32;
    ComPtr<IMFVideoMediaType> type;
    EXPECT_EQ(MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
                  &header, sizeof header, 1, 1, MFVideoInterlace_Progressive, 0, scene.fps_num,
                  scene.fps_den, 0, type.Put()),
              S_OK);
    return ComPtr<IMFMediaType>(type.Get());
}

ComPtr<IMFMediaType> AudioType(const Scene& scene) {
    WAVEFORMATEX format{};
    format.wFormatTag = scene.is_float ? WAVE_FORMAT_IEEE_FLOAT : WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(scene.channels);
    format.nSamplesPerSec = scene.sound_rate;
    format.wBitsPerSample = static_cast<WORD>(scene.bits);
    format.nBlockAlign = static_cast<WORD>(scene.channels * scene.bits / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * scene.sound_rate;
    ComPtr<IMFAudioMediaType> type;
    EXPECT_EQ(MFCreateAudioMediaType(&format, type.Put()), S_OK);
    return ComPtr<IMFMediaType>(type.Get());
}

ComPtr<IMFTranscodeProfile> Profile(const Scene& scene) {
    ComPtr<IMFTranscodeProfile> profile;
    EXPECT_EQ(MFCreateTranscodeProfile(profile.Put()), S_OK);
    ComPtr<IMFAttributes> audio;
    EXPECT_EQ(MFCreateAttributes(audio.Put(), 4), S_OK);
    audio->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_AAC);
    audio->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, scene.out_rate);
    audio->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, scene.out_channels);
    audio->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 12000);
    EXPECT_EQ(profile->SetAudioAttributes(audio.Get()), S_OK);
    ComPtr<IMFAttributes> video;
    EXPECT_EQ(MFCreateAttributes(video.Put(), 4), S_OK);
    video->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_H264);
    video->SetUINT32(MF_MT_AVG_BITRATE, scene.bit_rate);
    MFSetAttributeSize(video.Get(), MF_MT_FRAME_SIZE, scene.width, scene.height);
    MFSetAttributeRatio(video.Get(), MF_MT_FRAME_RATE, scene.fps_num, scene.fps_den);
    EXPECT_EQ(profile->SetVideoAttributes(video.Get()), S_OK);
    ComPtr<IMFAttributes> container;
    EXPECT_EQ(MFCreateAttributes(container.Put(), 2), S_OK);
    container->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4);
    container->SetUINT32(MF_TRANSCODE_TOPOLOGYMODE, MF_TRANSCODE_TOPOLOGYMODE_HARDWARE_ALLOWED);
    EXPECT_EQ(profile->SetContainerAttributes(container.Get()), S_OK);
    return profile;
}

class TestStream final : public ComObject<Implements<IMFMediaStream, IMFMediaEventGenerator>> {
public:
    TestStream(TestSource& source, bool video, DWORD identifier, IMFMediaType* type)
        : source_(source), video_(video) {
        EXPECT_EQ(MFCreateEventQueue(events.Put()), S_OK);
        EXPECT_EQ(MFCreateStreamDescriptor(identifier, 1, &type, descriptor.Put()), S_OK);
        ComPtr<IMFMediaTypeHandler> handler;
        EXPECT_EQ(descriptor->GetMediaTypeHandler(handler.Put()), S_OK);
        EXPECT_EQ(handler->SetCurrentMediaType(type), S_OK);
    }

    HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
        return events->GetEvent(flags, event);
    }
    HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
        const std::lock_guard guard(source_.lock);
        return events->BeginGetEvent(callback, state);
    }
    HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
        const std::lock_guard guard(source_.lock);
        return events->EndGetEvent(result, event);
    }
    HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended_type, HRESULT status,
                                         const PROPVARIANT* value) override {
        return events->QueueEventParamVar(type, extended_type, status, value);
    }
    HRESULT STDMETHODCALLTYPE GetMediaSource(IMFMediaSource**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetStreamDescriptor(IMFStreamDescriptor** result) override {
        return descriptor.CopyTo(result);
    }
    HRESULT STDMETHODCALLTYPE RequestSample(IUnknown*) override {
        const std::lock_guard guard(source_.lock);
        if (told_end) {
            // Some sources call this an error of theirs too.
            source_.Tell(MEError, MF_E_END_OF_STREAM);
            return MF_E_END_OF_STREAM;
        }
        ++requests;
        source_.requested.Add();
        Deliver();
        return S_OK;
    }

    void Deliver() {
        while (!samples.empty() && requests > 0) {
            --requests;
            events->QueueEventParamUnk(MEMediaSample, GUID_NULL, S_OK, samples.front().Get());
            samples.pop_front();
            source_.taken[video_ ? 1 : 0].Add();
        }
        if (samples.empty() && ended && !told_end) {
            told_end = true;
            events->QueueEventParamVar(MEEndOfStream, GUID_NULL, S_OK, nullptr);
            source_.StreamEnded();
        }
    }

    ComPtr<IMFMediaEventQueue> events;
    ComPtr<IMFStreamDescriptor> descriptor;
    std::deque<ComPtr<IMFSample>> samples;
    int requests = 0;
    bool active = false;
    bool ended = false;
    bool told_end = false;

private:
    TestSource& source_;
    const bool video_;
};

TestSource::TestSource(const Scene& scene) : scene_(scene) {
    EXPECT_EQ(MFCreateEventQueue(events_.Put()), S_OK);
    IMFStreamDescriptor* descriptors[2] = {};
    DWORD count = 0;
    for (const bool video : {true, false}) {
        if ((video ? scene.width : scene.sound_rate) == 0) continue;
        const ComPtr<IMFMediaType> type = video ? VideoType(scene) : AudioType(scene);
        streams_[video ? 1 : 0] = MakeCom<TestStream>(*this, video, 10 + count, type.Get());
        descriptors[count++] = streams_[video ? 1 : 0]->descriptor.Get();
    }
    EXPECT_EQ(MFCreatePresentationDescriptor(count, descriptors, presentation_.Put()), S_OK);
    for (DWORD i = 0; i < count; ++i) presentation_->SelectStream(i);
}

TestSource::~TestSource() {
    if (gone) gone->Add();
}

void TestSource::Push(bool video, const Bytes& bytes, std::int64_t time) {
    ComPtr<IMFMediaBuffer> buffer;
    ComPtr<IMFSample> sample;
    ASSERT_EQ(MFCreateMemoryBuffer(static_cast<DWORD>(bytes.size()), buffer.Put()), S_OK);
    BYTE* data = nullptr;
    ASSERT_EQ(buffer->Lock(&data, nullptr, nullptr), S_OK);
    std::copy(bytes.begin(), bytes.end(), data);
    buffer->Unlock();
    buffer->SetCurrentLength(static_cast<DWORD>(bytes.size()));
    ASSERT_EQ(MFCreateSample(sample.Put()), S_OK);
    sample->AddBuffer(buffer.Get());
    sample->SetSampleTime(time);
    const std::lock_guard guard(lock);
    TestStream& stream = *streams_[video ? 1 : 0].Get();
    stream.samples.push_back(std::move(sample));
    if (stream.active) stream.Deliver();
}

void TestSource::PushFrame(int number) {
    Push(true, Frame(scene_, number), scene_.FrameTime(number));
}

void TestSource::PushSound(std::int64_t first, std::size_t count) {
    const auto wave = [&](std::int64_t sample) { return Sine(scene_, sample); };
    Push(false, Sound(scene_, first, count, wave), first * second / scene_.sound_rate);
}

void TestSource::End() {
    const std::lock_guard guard(lock);
    for (const ComPtr<TestStream>& stream : streams_) {
        if (!stream) continue;
        stream->ended = true;
        if (stream->active) stream->Deliver();
    }
}

void TestSource::StreamEnded() {
    if (--active_ == 0) Tell(MEEndOfPresentation, S_OK);
}

HRESULT STDMETHODCALLTYPE TestSource::BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) {
    const std::lock_guard guard(lock);
    return events_->BeginGetEvent(callback, state);
}

HRESULT STDMETHODCALLTYPE TestSource::EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) {
    const std::lock_guard guard(lock);
    return events_->EndGetEvent(result, event);
}

HRESULT STDMETHODCALLTYPE TestSource::Start(IMFPresentationDescriptor* descriptor,
                                            const GUID* time_format, const PROPVARIANT* position) {
    if (!descriptor || *time_format != GUID_NULL || position->vt != VT_EMPTY) return E_INVALIDARG;
    if (FAILED(start_result)) return start_result;
    const std::lock_guard guard(lock);
    DWORD count = 0;
    descriptor->GetStreamDescriptorCount(&count);
    for (DWORD i = 0; i < count && SUCCEEDED(started_status); ++i) {
        BOOL selected = FALSE;
        ComPtr<IMFStreamDescriptor> wanted;
        descriptor->GetStreamDescriptorByIndex(i, &selected, wanted.Put());
        for (const ComPtr<TestStream>& stream : streams_) {
            if (!selected || !stream || stream->descriptor.Get() != wanted.Get()) continue;
            stream->active = true;
            ++active_;
            events_->QueueEventParamUnk(MENewStream, GUID_NULL, S_OK, stream.Get());
            stream->events->QueueEventParamVar(MEStreamStarted, GUID_NULL, S_OK, position);
        }
    }
    return events_->QueueEventParamVar(MESourceStarted, GUID_NULL, started_status, position);
}

HRESULT STDMETHODCALLTYPE TestSource::Shutdown() {
    const std::lock_guard guard(lock);
    for (const ComPtr<TestStream>& stream : streams_) {
        if (stream) stream->events->Shutdown();
    }
    return events_->Shutdown();
}

}  // namespace Vimbrel::test
