// The base of everything that delivers pictures or sound.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "vimbrel/Export.h"

namespace Vimbrel {

class MediaSourceDSImpl;
class MediaSourceImpl;

// A stream of sound or of subtitles that can be selected.
struct StreamInfo {
    std::wstring name;          // display name
    std::int32_t index = 0;     // what SetAudioStream and SetSubtitleStream take
    std::int32_t language = 0;  // locale identifier, 0 when unknown
};

// An application makes a source, gives it a dispatcher, and drives it: Open, Play, Pause, Stop,
// Close. The source reports through the dispatcher. Units: positions and durations of operations
// are in seconds, MEDIA_INFO::duration is in milliseconds, sample times are in 100 nanoseconds.
//
// No operation checks the state it is called in. A failing operation returns false (or 0), leaves
// the state as it was and logs the cause. Control operations are for one thread at a time.
class VIMBREL_API MediaSource {
public:
    enum class State : std::int32_t {
        Closed = 0,
        Opened = 1,
        Playing = 2,
        Paused = 3,
        Stopped = 4,
        Ended = 5,
    };

    // No source has the number 5.
    enum class SourceType : std::int32_t {
        Media = 0,
        Picture = 1,
        Camera = 2,
        Screen = 3,
        Game = 4,
        Text = 6,
        Audio = 7,
    };

    // Filled in while a source opens. The two bit rates change while it plays, on the thread that
    // makes the samples.
    struct MEDIA_INFO {
        bool seekable = false;
        double duration = -1.0;  // milliseconds, -1 when unknown
        std::int32_t width = 0;  // pixels
        std::int32_t height = 0;
        std::int32_t videoBitrate = 0;  // bits per second, as last reported
        std::int32_t audioBitrate = 0;
        double frameRate = 0.0;  // frames per second
        bool hasVideo = true;
        bool hasAudio = false;
        std::vector<StreamInfo> audioStreams;
        std::int32_t audioStreamTag = 0;  // for the application; the library never writes it
        std::vector<StreamInfo> subtitleStreams;
        std::int32_t subtitleStreamTag = 0;  // for the application; the library never writes it
    };

    // Implemented by the application. Calls come on the thread that caused the change or made the
    // sample, with no lock held; that thread waits until the call returns. One dispatcher can serve
    // many sources.
    class Dispatcher {
    public:
        // GetState already returns `newState`.
        virtual void OnStateChanged(MediaSource* source, State oldState, State newState) = 0;
        // One frame: 4 bytes per pixel in the order blue, green, red, alpha; `stride` bytes per
        // row, top row first unless the source documents otherwise. `time` and `duration` are in
        // 100 nanoseconds. The source owns the buffer, which is valid only during the call. An
        // animated GIF calls with a null buffer and zero sizes (see MediaSourcePicture).
        virtual void OnVideoSample(MediaSource* source, unsigned char* pixels, int width,
                                   int height, int stride, std::int64_t time,
                                   std::int64_t duration) = 0;
        // `size` bytes of sound, valid only during the call.
        virtual void OnAudioSample(MediaSource* source, unsigned char* data, int size,
                                   std::int64_t time, std::int64_t duration) = 0;

    protected:
        ~Dispatcher() = default;
    };

    MediaSource();
    MediaSource(const MediaSource&) = delete;
    MediaSource& operator=(const MediaSource&) = delete;

    // The dispatcher is not owned and must outlive its use. Null stops all calls; the source then
    // drops its samples.
    void SetDispatcher(Dispatcher* newDispatcher) { dispatcher = newDispatcher; }
    Dispatcher* GetDispatcher() { return dispatcher; }
    State GetState() const { return state.load(std::memory_order_relaxed); }
    // A reference to the source's own record, valid as long as the source.
    MEDIA_INFO& GetMediaInfo() { return mediaInfo; }
    // Name of the sound output for this source, read at the next Open; empty means none.
    void SetAudioRenderDevice(const std::wstring& name);
    const std::wstring& GetAudioRenderDevice() const { return audioRenderDevice; }

    // Does not call the dispatcher.
    virtual ~MediaSource();

    virtual SourceType GetSourceType() = 0;
    virtual void Close();
    virtual bool Open();
    virtual bool Play();
    virtual bool Pause();
    virtual void Stop();
    virtual bool Seek(double seconds);
    virtual bool SetStopTime(double seconds);
    virtual double GetCurrentPosition();  // seconds
    virtual double GetDuration();         // seconds
    // Requests the picture of a source without a thread of its own. OnVideoSample is called before
    // this returns.
    virtual void RequestSample();
    virtual long GetVolume();  // percent
    virtual bool SetVolume(int percent);
    virtual long GetPitch();  // percent
    virtual bool SetPitch(int percent);
    virtual long GetAudioStream();  // StreamInfo::index
    virtual bool SetAudioStream(int index);
    virtual float GetAudioMeter(unsigned short channel);
    virtual void StopAudioMeter();
    virtual long GetSubtitleStream();  // StreamInfo::index
    virtual bool SetSubtitleStream(int index);
    virtual void SetAutoloadSubtitle(bool on);
    // Percent, 100 being normal speed; 0 and less set 100.
    virtual void SetRate(int percent);
    virtual int GetRate() const;

protected:
    // Calls OnStateChanged, unless the source is in that state already.
    void SetState(State newState);
    void SetVideoSample(unsigned char* pixels, int width, int height, int stride, std::int64_t time,
                        std::int64_t duration);
    void SetAudioSample(unsigned char* data, int size, std::int64_t time, std::int64_t duration);

    MediaSourceImpl* impl = nullptr;  // owned
    Dispatcher* dispatcher = nullptr;
    std::int32_t rate = 100;
    std::wstring audioRenderDevice;
    std::atomic<State> state{State::Closed};
    MEDIA_INFO mediaInfo;

private:
    // The worker of sources on a filter graph reports for them.
    friend class MediaSourceDSImpl;
};

}  // namespace Vimbrel
