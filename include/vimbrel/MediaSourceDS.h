// A media file or network stream as a source.
#pragma once

#include <cstdint>
#include <string>

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

// Pictures come from Play on, on a streaming thread and by the graph's clock; sound goes to the
// output that SetAudioRenderDevice names before Open, and to none without a name. OnVideoSample
// must not call Play, Pause, Stop, Seek, SetRate, a change of streams or Close, nor wait for a
// thread that does: these wait for it. It may read position and duration.
//
// Control operations run on one thread, which dispatches its messages (winuser.h): it gets the
// changes of state that the graph causes. At its end a source becomes Ended; the graph neither
// stops nor rewinds.
class VIMBREL_API MediaSourceDS : public MediaSource {
public:
    MediaSourceDS();
    // Closes, without telling the dispatcher.
    ~MediaSourceDS() override;

    // Read by the next Open. A null name empties the name and leaves the flag. Without pictures a
    // source is one of sound, which needs an output.
    void SetFileName(const wchar_t* name, bool withVideo);
    const std::wstring& GetFileName() const { return fileName; }
    // An index of the whole list of streams, as for sound. Not remembered.
    bool SetVideoStream(int index);

    SourceType GetSourceType() override;
    void Close() override;
    // False if nothing in the file can be played; the log says why. Throws a std::exception if a
    // splitter that the host brings can neither give its loader nor say that it has none.
    bool Open() override;
    bool Play() override;
    bool Pause() override;
    void Stop() override;
    // Seconds. The next picture is the one that is shown at that time. While paused it appears with
    // Play.
    bool Seek(double seconds) override;
    // Seconds.
    bool SetStopTime(double seconds) override;
    double GetCurrentPosition() override;
    double GetDuration() override;
    // Percent. Kept: a new source reports 0 until a volume is set, though it plays at the device's
    // level.
    long GetVolume() override;
    // Percent. Below 0 mutes, and GetVolume asks the device then. False above 100, or without an
    // output.
    bool SetVolume(int percent) override;
    // Percent; 0 without sound. The pitch in force, which follows SetPitch with the next sound.
    long GetPitch() override;
    // Percent, at least 10. The tempo stays.
    bool SetPitch(int percent) override;
    // An index of the whole list of streams, as MEDIA_INFO has them; -1 for none.
    long GetAudioStream() override;
    bool SetAudioStream(int index) override;
    // Decibels of a channel, averaged; -100 while nothing plays. The first call switches the meter
    // on.
    float GetAudioMeter(unsigned short channel) override;
    void StopAudioMeter() override;
    long GetSubtitleStream() override;
    bool SetSubtitleStream(int index) override;
    // Whether the next Open shows subtitles.
    void SetAutoloadSubtitle(bool on) override;
    // Percent of the speed, 100 for 0 and less. Sound changes its pitch with it.
    void SetRate(int percent) override;

private:
    std::wstring fileName;
    std::int32_t volume = 0;  // percent
    bool withVideo = true;
};

}  // namespace Vimbrel
