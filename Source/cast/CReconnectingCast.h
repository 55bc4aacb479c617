// Sessions of a stream one after the other.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/ThreadSafety.h"
#include "vimbrel/ReconnectingCast.h"

namespace Vimbrel {

// The lock is held while a sample is copied into the session, and not over anything that waits.
class CReconnectingCast final : public CMediaRTMPCast {
public:
    // Makes a session; may return null.
    using CastFactory = std::function<std::unique_ptr<CMediaRTMPCast>(const RTMPCastOptions&)>;

    CReconnectingCast(const ReconnectingCastOptions& given, CastFactory cast_factory);
    CReconnectingCast(const CReconnectingCast&) = delete;
    CReconnectingCast& operator=(const CReconnectingCast&) = delete;
    ~CReconnectingCast() override;

    void SetCallback(std::function<void(int)> function) override;
    void SetServer(const std::string& url, const std::string& user,
                   const std::string& password) override;
    void SetHardwareEncoder(bool enabled) override;
    void SetVideoOutputFormat(int width, int height, int frame_rate_num,
                              int frame_rate_den) override;
    void SetVideoQuality(int quality) override;
    void SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) override;
    void EnableAudio(bool enabled) override;
    void SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) override;
    int Start() override;
    void Stop() override;
    void SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                        std::int64_t time) override;
    void SetAudioSample(unsigned char* data, int size, std::int64_t time, std::int64_t duration,
                        unsigned flags) override;
    int GetCurrentBitRate() override;
    int GetAverageBitRate() override;

private:
    using Setting = std::function<void(CMediaRTMPCast&)>;

    void Apply(Setting setting) EXCLUDES(mutex);
    int Begin() EXCLUDES(mutex);
    void Run();
    bool AwaitLoss();
    std::optional<int> Reconnect();
    bool Wait(std::chrono::milliseconds duration);

    const ReconnectingCastOptions options;
    const std::shared_ptr<RTMPCastProgress> progress;  // not null
    const CastFactory factory;
    std::function<void(int)> callback;

    Mutex mutex;
    Condition changed;
    std::vector<Setting> settings GUARDED_BY(mutex);  // for each session anew
    std::unique_ptr<CMediaRTMPCast> session GUARDED_BY(mutex);
    bool started GUARDED_BY(mutex) = false;
    bool lost GUARDED_BY(mutex) = false;
    bool away GUARDED_BY(mutex) = false;  // without a session after the first one
    bool stopping GUARDED_BY(mutex) = false;

    Mutex join_lock;  // taken alone
    std::thread worker GUARDED_BY(join_lock);
};

}  // namespace Vimbrel
