// One consumer's sound: system sound, a microphone, or both mixed.
#pragma once

#include <objbase.h>

#include <mmreg.h>
#include <winuser.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vimbrel/Export.h"

namespace Vimbrel {

// Open, Start, Close, and again. Everything belongs to one thread, which has started COM; the
// slots of the microphone and the loudspeaker may be called in any state.
//
// Open and Start report what does not work; what fails later does not: a device that goes away
// delivers no more. With two sources the mix then stops as well, because it takes a block of each.
class VIMBREL_API CAudioFactory {
public:
    // `size` bytes, valid during the call. Times are in units of 100 ns. What arrives depends on
    // the number of sources that Start found:
    //
    // Two: blocks of 4096 bytes in the output format on a mixing thread. `time` counts such blocks
    // from the start.
    // Only system sound: the output format, on the capture thread. `time` is the time of the
    // packet's end on Linux, of its first frame on Windows; `duration` that of 4096 bytes, whatever
    // `size` is.
    // Only the microphone: its own format, on the thread of its graph. `time` is the time of the
    // packet's start.
    //
    // It must not call Close, nor wait for a thread that does: Close waits for this call.
    using Dispatcher = std::function<void(unsigned char* data, int size, std::int64_t time,
                                          std::int64_t duration)>;

    static std::unique_ptr<CAudioFactory> CreateAudioFactory();

    CAudioFactory() = default;
    CAudioFactory(const CAudioFactory&) = default;
    CAudioFactory& operator=(const CAudioFactory&) = default;
    virtual ~CAudioFactory() = default;

    // Before Start. Empty: sound is dropped.
    virtual void SetDispatcher(Dispatcher dispatcher) = 0;
    // Opens what is asked for, by the friendly names of AudioDeviceEnumerator. An output of unknown
    // name is the default one; a microphone of unknown name fails. True if at least one is open.
    virtual bool Open(bool system_sound, const std::wstring& output_device, bool microphone,
                      const std::wstring& input_device) = 0;
    virtual void Reserved3() = 0;
    virtual void Reserved4() = 0;
    // Ends the threads within a second, whatever became of the devices.
    virtual void Close() = 0;
    // True if a source runs, and if it ran before. After a Close, Open comes first.
    virtual bool Start() = 0;
    virtual void Reserved7() = 0;
    // 16-bit PCM, two channels, 44100 Hz.
    virtual const WAVEFORMATEX* GetOutputFormat() = 0;
    // 0: system sound, 1: the microphone. True before the first Open.
    virtual bool IsChannelOpen(int index) = 0;

    // Silence in place of the microphone's sound.
    virtual void SetMicrophoneMute(bool mute) = 0;
    virtual bool GetMicrophoneMute() = 0;
    // Percent: 200 is an octave up. Below 10 counts as 10.
    virtual void SetMicrophonePitch(int percent) = 0;
    // Percent, of this recording and not of the device.
    virtual void SetMicrophoneVolume(int percent) = 0;
    virtual int GetMicrophoneVolume() = 0;
    // Reports when speech begins and ends, of 16-bit sound before the mute.
    virtual void SetVoiceDetect(bool on) = 0;
    // `level`: a root mean square of 16-bit samples; what is above counts as speech. Speech begins
    // after `voice_ms` above the level and ends after `silence_ms` below it. 500, 1000 and 250 at
    // first.
    virtual void SetVoiceDetectParams(int level, int silence_ms, int voice_ms) = 0;
    // Posts `message`, with 1 or 0 and the level, to the window. Null or 0: nowhere.
    virtual void SetVoiceDetectWindow(HWND window, unsigned message) = 0;

    // Of the output device itself, in percent. False, or -1, without an open device.
    virtual bool SetSpeakerVolume(int percent) = 0;
    virtual int GetSpeakerVolume() = 0;
    virtual void SetSpeakerMute(bool mute) = 0;
    virtual bool GetSpeakerMute() = 0;
};

}  // namespace Vimbrel
