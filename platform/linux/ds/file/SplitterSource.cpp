#include "platform/linux/ds/file/SplitterSource.h"

#include <algorithm>
#include <cstring>
#include <system_error>

#include "com/ComObject.h"
#include "com/Utf8.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

SplitterSource::SplitterSource()
    : CBaseFilter(class_splitter_source),
      loader_(*this),
      settings_(*this),
      streams_(*this, *this) {}

SplitterSource::~SplitterSource() {
    const MutexLock guard(state_lock_);
    StopThreads();
}

void* SplitterSource::FindInterface(REFIID iid) {
    if (iid == __uuidof(IFileSourceFilter)) return static_cast<IFileSourceFilter*>(&loader_);
    if (iid == __uuidof(IAMStreamSelect)) return static_cast<IAMStreamSelect*>(&streams_);
    if (iid == iid_splitter_settings) return static_cast<ISplitterSettings*>(&settings_);
    return CBaseFilter::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE
SplitterSource::Settings::SetNetworkStreamAnalysisDuration(DWORD duration) {
    analysis_ = duration;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SplitterSource::FileLoader::Load(LPCOLESTR name, const AM_MEDIA_TYPE*) {
    if (!name) return E_POINTER;
    return source_.IsLoaded() ? E_FAIL : source_.Load(name);
}

HRESULT STDMETHODCALLTYPE SplitterSource::FileLoader::GetCurFile(LPOLESTR* name,
                                                                 AM_MEDIA_TYPE* type) {
    if (!name) return E_POINTER;
    if (type) *type = {};
    const std::size_t size = (source_.file_.size() + 1) * sizeof(WCHAR);
    *name = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
    if (!*name) return E_OUTOFMEMORY;
    std::memcpy(*name, source_.file_.c_str(), size);
    return S_OK;
}

HRESULT SplitterSource::Load(const std::wstring& name) {
    const HRESULT hr = Demuxer::Open(name, settings_.GetNetworkStreamAnalysisDuration(), demuxer_);
    if (FAILED(hr)) {
        APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_ERROR, "Splitter cannot open " << name);
        return hr;
    }
    file_ = name;
    if (!demuxer_->IsNetwork()) subtitle_files_ = FindSubtitleFiles(demuxer_->Name());
    AddPin(StreamKind::video);
    AddPin(StreamKind::audio);
    AddPin(StreamKind::subtitle);
    return S_OK;
}

void SplitterSource::AddPin(StreamKind kind) {
    // The first subtitles are those that the list of streams begins with.
    int stream = kind == StreamKind::subtitle ? -1 : demuxer_->BestStream(kind);
    for (int i = 0; stream < 0 && i < StreamCount(); ++i) {
        if (Stream(i).kind == kind) stream = i;
    }
    if (stream >= 0) pins_.push_back(std::make_unique<SplitterPin>(*this, kind, stream));
}

int SplitterSource::StreamCount() const {
    return demuxer_ ? static_cast<int>(demuxer_->Streams().size() + subtitle_files_.size()) : 0;
}

const SubtitleFile* SplitterSource::SubtitlesBeside(int index) const {
    const auto position = static_cast<std::size_t>(index);
    const std::size_t own = demuxer_->Streams().size();
    return position < own ? nullptr : &subtitle_files_[position - own];
}

const MediaStream& SplitterSource::Stream(int index) const {
    const SubtitleFile* const beside = SubtitlesBeside(index);
    return beside ? beside->stream : demuxer_->Streams()[static_cast<std::size_t>(index)];
}

SplitterPin* SplitterSource::PinOf(StreamKind kind) const {
    for (const auto& pin : pins_) {
        if (pin->Kind() == kind) return pin.get();
    }
    return nullptr;
}

bool SplitterSource::IsChosen(int index) const {
    return PinOf(Stream(index).kind)->Stream() == index;
}

std::vector<SplitterPin*> SplitterSource::ConnectedPins() const {
    std::vector<SplitterPin*> connected;
    for (const auto& pin : pins_) {
        if (pin->IsConnected()) connected.push_back(pin.get());
    }
    return connected;
}

HRESULT SplitterSource::Activate() {
    if (State() != State_Stopped) return S_OK;
    HRESULT hr = ActivatePins();
    if (FAILED(hr)) return hr;
    if (demuxer_) demuxer_->ContinueAt(CurrentSegment().start);
    hr = StartThreads();
    if (FAILED(hr)) DeactivatePins();
    return hr;
}

HRESULT STDMETHODCALLTYPE SplitterSource::Pause() {
    const MutexLock guard(state_lock_);
    const HRESULT hr = Activate();
    if (SUCCEEDED(hr)) SetState(State_Paused);
    return hr;
}

HRESULT STDMETHODCALLTYPE SplitterSource::Run(REFERENCE_TIME) {
    const MutexLock guard(state_lock_);
    const HRESULT hr = Activate();
    if (SUCCEEDED(hr)) SetState(State_Running);
    return hr;
}

HRESULT STDMETHODCALLTYPE SplitterSource::Stop() {
    const MutexLock guard(state_lock_);
    if (State() == State_Stopped) return S_OK;
    SetState(State_Stopped);
    DeactivatePins();
    StopThreads();
    return S_OK;
}

SplitterSource::Reading SplitterSource::PrepareReading(const std::vector<SplitterPin*>& pins,
                                                       LONGLONG start) {
    Reading reading{std::vector<int>(static_cast<std::size_t>(StreamCount()), -1), start, -1,
                    SubtitleFeed(*demuxer_, queue_)};
    for (std::size_t i = 0; i < pins.size(); ++i) {
        const int stream = pins[i]->Stream();
        reading.lanes[static_cast<std::size_t>(stream)] = static_cast<int>(i);
        if (pins[i]->Kind() == StreamKind::subtitle) {
            const SubtitleFile* const beside = SubtitlesBeside(stream);
            reading.subtitles.SetTarget(
                {i, beside ? -1 : stream, beside, !pins[i]->ReceiverCanWait()});
        } else if (reading.reference < 0 && !Stream(stream).cover) {
            // Pictures decide where a seek begins to read.
            reading.reference = stream;
        }
    }
    if (reading.reference < 0) {
        // Of a file beside the media there is nothing to read.
        const int first = pins.front()->Stream();
        reading.reference = SubtitlesBeside(first) ? 0 : first;
    }
    return reading;
}

HRESULT SplitterSource::StartThreads() {
    const std::vector<SplitterPin*> pins = ConnectedPins();
    if (pins.empty()) return S_OK;
    const Segment segment = CurrentSegment();
    std::vector<int> chosen;
    std::vector<bool> sparse;
    for (SplitterPin* const pin : pins) {
        if (!SubtitlesBeside(pin->Stream())) chosen.push_back(pin->Stream());
        sparse.push_back(pin->Kind() == StreamKind::subtitle || Stream(pin->Stream()).cover);
    }
    demuxer_->Interrupt(false);
    demuxer_->Select(chosen);
    queue_.Reset(sparse);
    try {
        for (std::size_t i = 0; i < pins.size(); ++i) pins[i]->Start(queue_, i, segment);
        demuxing_ = std::thread(
            [this, reading = PrepareReading(pins, segment.start)]() mutable { Demux(reading); });
    } catch (const std::system_error&) {
        StopThreads();
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void SplitterSource::StopThreads() {
    if (demuxer_) demuxer_->Interrupt(true);
    queue_.Abort();
    if (demuxing_.joinable()) demuxing_.join();
    for (const auto& pin : pins_) pin->Join();
}

void SplitterSource::Demux(Reading& reading) {
    if (!reading.subtitles.Begin(reading.start, reading.reference)) return;
    HRESULT hr = demuxer_->Seek(reading.start, reading.reference);
    while (SUCCEEDED(hr)) {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        hr = demuxer_->Read(*packet);
        if (hr != S_OK) break;
        if (!reading.subtitles.Take(packet)) return;
        const int lane =
            packet ? reading.lanes[static_cast<std::size_t>(packet->stream_index)] : -1;
        if (lane >= 0 && !queue_.Push(static_cast<std::size_t>(lane), std::move(packet))) return;
    }
    queue_.End();
    if (FAILED(hr) && !demuxer_->WasInterrupted()) ReportFailure(hr);
}

void SplitterSource::ReportFailure(HRESULT hr) {
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_ERROR, "Splitter stops reading " << file_);
    // Damaged data ends the stream; what the system fails at ends the playback.
    if (hr != WINCODEC_ERR_BADIMAGE) NotifyEvent(EC_ERRORABORT, hr, 0);
}

Segment SplitterSource::CurrentSegment() {
    const MutexLock guard(segment_lock_);
    return segment_;
}

HRESULT SplitterSource::SetRate(double rate) {
    if (!(rate > 0)) return E_INVALIDARG;
    const MutexLock guard(segment_lock_);
    segment_.rate = rate;
    return S_OK;
}

HRESULT SplitterSource::Seek(IPin& pin, const Segment& segment) {
    if (!demuxer_) return VFW_E_WRONG_STATE;
    if (!CanSeek()) return E_NOTIMPL;
    const MutexLock guard(state_lock_);
    {
        const MutexLock leaf(segment_lock_);
        const bool same = segment_.start == segment.start && segment_.stop == segment.stop;
        const bool asked = std::find(seekers_.begin(), seekers_.end(), &pin) != seekers_.end();
        if (!same || asked) seekers_.clear();
        const bool belongs = !seekers_.empty();
        seekers_.push_back(&pin);
        if (belongs) return S_OK;
    }
    return Restart(segment);
}

HRESULT SplitterSource::Restart(const Segment& segment) {
    const bool streams = State() != State_Stopped;
    const std::vector<SplitterPin*> pins = ConnectedPins();
    if (streams) {
        for (SplitterPin* const pin : pins) pin->DeliverBeginFlush();
        StopThreads();
        for (SplitterPin* const pin : pins) pin->DeliverEndFlush();
    }
    {
        const MutexLock leaf(segment_lock_);
        segment_ = segment;
    }
    return streams ? StartThreads() : S_OK;
}

HRESULT SplitterSource::Choose(int index) {
    SplitterPin* const pin = PinOf(Stream(index).kind);
    if (pin->Stream() == index) return S_OK;
    if (const ComPtr<IPin> peer = pin->Peer()) {
        const CMediaType type = TypeOfStream(Stream(index).description);
        if (peer->QueryAccept(&type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
    }
    const ComPtr<IFilterGraph> graph = Graph();
    const auto seeking = graph.As<IMediaSeeking>();
    LONGLONG current = 0;
    const bool streams = State() != State_Stopped && CanSeek() && seeking &&
                         SUCCEEDED(seeking->GetCurrentPosition(&current));
    HRESULT hr = S_OK;
    {
        const MutexLock guard(state_lock_);
        if (State() != State_Stopped) {
            for (SplitterPin* const each : ConnectedPins()) each->DeliverBeginFlush();
            StopThreads();
            for (SplitterPin* const each : ConnectedPins()) each->DeliverEndFlush();
        }
        pin->Choose(index);
        // What comes from the old place would be shown at once, as late.
        if (State() != State_Stopped && !streams) hr = StartThreads();
    }
    // All streams go on from one place.
    return streams ? seeking->SetPositions(&current, AM_SEEKING_AbsolutePositioning, nullptr,
                                           AM_SEEKING_NoPositioning)
                   : hr;
}

HRESULT CreateSplitterSource(REFIID iid, void** object) {
    ComPtr<SplitterSource> source;
    source.Attach(new SplitterSource);
    return source->QueryInterface(iid, object);
}

}  // namespace Vimbrel
