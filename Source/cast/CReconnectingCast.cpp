#include "Source/cast/CReconnectingCast.h"

#include <windows.h>

#include <mmreg.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace Vimbrel {
namespace {

ReconnectingCastOptions WithProgress(ReconnectingCastOptions options) {
    if (!options.cast.progress) options.cast.progress = std::make_shared<RTMPCastProgress>();
    return options;
}

}  // namespace

CReconnectingCast::CReconnectingCast(const ReconnectingCastOptions& given, CastFactory cast_factory)
    : options(WithProgress(given)),
      progress(options.cast.progress),
      factory(std::move(cast_factory)) {}

CReconnectingCast::~CReconnectingCast() {
    CReconnectingCast::Stop();
    // It may have been stopped from within a callback.
    const MutexLock lock(join_lock);
    if (worker.joinable()) worker.join();
}

void CReconnectingCast::SetCallback(std::function<void(int)> function) {
    callback = std::move(function);
}

void CReconnectingCast::SetServer(const std::string& url, const std::string& user,
                                  const std::string& password) try {
    Apply([=](CMediaRTMPCast& cast) { cast.SetServer(url, user, password); });
} catch (const std::bad_alloc&) {
}

void CReconnectingCast::SetHardwareEncoder(bool enabled) {
    Apply([=](CMediaRTMPCast& cast) { cast.SetHardwareEncoder(enabled); });
}

void CReconnectingCast::SetVideoOutputFormat(int width, int height, int frame_rate_num,
                                             int frame_rate_den) {
    Apply([=](CMediaRTMPCast& cast) {
        cast.SetVideoOutputFormat(width, height, frame_rate_num, frame_rate_den);
    });
}

void CReconnectingCast::SetVideoQuality(int quality) {
    Apply([=](CMediaRTMPCast& cast) { cast.SetVideoQuality(quality); });
}

void CReconnectingCast::SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) {
    Apply([=](CMediaRTMPCast& cast) {
        cast.SetAudioOutputFormat(channels, sample_rate, bytes_per_second);
    });
}

void CReconnectingCast::EnableAudio(bool enabled) {
    Apply([=](CMediaRTMPCast& cast) { cast.EnableAudio(enabled); });
}

void CReconnectingCast::SetAudioInputFormat(const WAVEFORMATEX& format,
                                            const unsigned char* extra) try {
    const std::vector<unsigned char> copy(extra, extra + (extra ? format.cbSize : 0));
    Apply([format, copy, given = extra != nullptr](CMediaRTMPCast& cast) {
        // A format without extra bytes has a null pointer.
        cast.SetAudioInputFormat(format, given ? copy.data() : nullptr);
    });
} catch (const std::bad_alloc&) {
}

void CReconnectingCast::Apply(Setting setting) try {
    const MutexLock lock(mutex);
    if (session) setting(*session);
    settings.push_back(std::move(setting));
} catch (const std::bad_alloc&) {
}

int CReconnectingCast::Start() {
    {
        const MutexLock lock(mutex);
        if (started) return RTMPCAST_ENCODER_FAILED;
        started = true;
    }
    const int status = Begin();
    if (status != RTMPCAST_OK) return status;
    try {
        const MutexLock lock(join_lock);
        worker = std::thread(&CReconnectingCast::Run, this);
    } catch (const std::exception&) {
        Stop();
        return RTMPCAST_CONNECTION_FAILED;
    }
    return RTMPCAST_OK;
}

// Makes a session, and keeps it if it stands.
int CReconnectingCast::Begin() {
    auto made = factory(options.cast);
    if (!made) return RTMPCAST_CONNECTION_FAILED;
    made->SetCallback([this](int) {
        const MutexLock lock(mutex);
        lost = true;
        changed.NotifyAll();
    });
    {
        const MutexLock lock(mutex);
        for (const Setting& setting : settings) setting(*made);
    }
    const int status = made->Start();
    if (status != RTMPCAST_OK) return status;
    const MutexLock lock(mutex);
    // Stopped meanwhile, it ends with this function, without the lock.
    if (stopping) return RTMPCAST_OK;
    session = std::move(made);
    away = false;
    return RTMPCAST_OK;
}

void CReconnectingCast::Stop() {
    std::unique_ptr<CMediaRTMPCast> ended;
    {
        const MutexLock lock(mutex);
        stopping = true;
        ended = std::move(session);
        changed.NotifyAll();
    }
    if (ended) ended->Stop();
    const MutexLock lock(join_lock);
    if (worker.joinable() && worker.get_id() != std::this_thread::get_id()) worker.join();
}

void CReconnectingCast::Run() {
    while (AwaitLoss()) {
        if (options.on_change) options.on_change(false);
        const auto status = Reconnect();
        if (!status) return;
        if (*status != RTMPCAST_OK) {
            if (callback) callback(*status);
            return;
        }
        if (options.on_change) options.on_change(true);
    }
}

// False if the stream was stopped.
bool CReconnectingCast::AwaitLoss() {
    std::unique_ptr<CMediaRTMPCast> ended;
    {
        MutexLock lock(mutex);
        while (!lost && !stopping) changed.Wait(lock);
        if (stopping) return false;
        lost = false;
        ended = std::move(session);
    }
    ended.reset();
    // Nothing else counts meanwhile.
    progress->dropped += progress->taken - progress->sent - progress->dropped;
    const MutexLock lock(mutex);
    away = true;
    return true;
}

// What the last attempt came to, or nothing if the stream was stopped.
std::optional<int> CReconnectingCast::Reconnect() {
    int status = RTMPCAST_CONNECTION_FAILED;
    std::chrono::milliseconds wait = options.first_wait;
    for (int attempt = 0; options.attempts < 0 || attempt < options.attempts; ++attempt) {
        if (!Wait(wait)) return std::nullopt;
        status = Begin();
        if (status == RTMPCAST_OK) break;
        wait = std::min(wait * 3 / 2, options.longest_wait);
    }
    return status;
}

// False if the stream was stopped.
bool CReconnectingCast::Wait(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    MutexLock lock(mutex);
    while (!stopping && std::chrono::steady_clock::now() < end) changed.WaitUntil(lock, end);
    return !stopping;
}

void CReconnectingCast::SetVideoSample(unsigned char* data, unsigned width, unsigned height,
                                       int stride, std::int64_t time) {
    const MutexLock lock(mutex);
    if (session) {
        session->SetVideoSample(data, width, height, stride, time);
    } else if (away && !stopping) {
        ++progress->taken;
        ++progress->dropped;
    }
}

void CReconnectingCast::SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                       std::int64_t duration, unsigned flags) {
    const MutexLock lock(mutex);
    if (session) session->SetAudioSample(data, size, time, duration, flags);
}

int CReconnectingCast::GetCurrentBitRate() {
    const MutexLock lock(mutex);
    return session ? session->GetCurrentBitRate() : 0;
}

int CReconnectingCast::GetAverageBitRate() {
    const MutexLock lock(mutex);
    return session ? session->GetAverageBitRate() : 0;
}

}  // namespace Vimbrel
