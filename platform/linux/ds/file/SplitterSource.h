// The source of media files and network streams.
#pragma once

#include <array>
#include <memory>
#include <thread>
#include <vector>

#include "filters/BaseFilter.h"
#include "platform/linux/ds/file/PacketQueue.h"
#include "platform/linux/ds/file/SplitterPin.h"
#include "platform/linux/ds/file/StreamList.h"
#include "platform/linux/ds/file/SubtitleFeed.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// A pin per kind of stream that the file has. A thread reads the file while the filter is not
// stopped, and each connected pin has one that delivers. What follows `demuxer_` in the members
// changes only while none of them runs.
class SplitterSource final : public CBaseFilter {
public:
    SplitterSource();
    ~SplitterSource() override;

    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;

    int GetPinCount() override { return static_cast<int>(pins_.size()); }
    CBasePin* GetPin(int index) override { return pins_[static_cast<std::size_t>(index)].get(); }

    bool IsLoaded() const { return demuxer_ != nullptr; }
    bool CanSeek() const { return demuxer_ && demuxer_->CanSeek(); }
    LONGLONG Duration() const { return demuxer_ ? demuxer_->Duration() : 0; }
    int StreamCount() const;
    const MediaStream& Stream(int index) const;
    // Null for a stream of the media file itself.
    const SubtitleFile* SubtitlesBeside(int index) const;
    // Whether it is the one that its kind's pin delivers.
    bool IsChosen(int index) const;
    // From the current position on when the graph is not stopped.
    HRESULT Choose(int index);

    Segment CurrentSegment();
    HRESULT SetRate(double rate);
    // A graph seeks through each of its renderers. The same place from another pin belongs to the
    // seek before; from a pin that asked already it is a new one.
    HRESULT Seek(IPin& pin, const Segment& segment);

    // On a streaming thread.
    void ReportFailure(HRESULT hr);

protected:
    void* FindInterface(REFIID iid) override;

private:
    class FileLoader final : public Face<IFileSourceFilter> {
    public:
        explicit FileLoader(SplitterSource& source) : Face(source), source_(source) {}
        HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
        HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;

    private:
        SplitterSource& source_;
    };
    class Settings final : public Face<ISplitterSettings> {
    public:
        explicit Settings(SplitterSource& source) : Face(source) {}
        HRESULT STDMETHODCALLTYPE SetNetworkStreamAnalysisDuration(DWORD duration) override;
        DWORD STDMETHODCALLTYPE GetNetworkStreamAnalysisDuration() override { return analysis_; }

    private:
        std::atomic<DWORD> analysis_{1000};
    };

    HRESULT Load(const std::wstring& name);
    void AddPin(StreamKind kind);
    SplitterPin* PinOf(StreamKind kind) const;
    // E_OUTOFMEMORY, and none runs, if the system gives no thread.
    HRESULT StartThreads() REQUIRES(state_lock_);
    void StopThreads() REQUIRES(state_lock_);
    // What the demuxing thread of a run gets.
    struct Reading {
        std::vector<int> lanes;  // by stream; -1 for none
        LONGLONG start = 0;
        int reference = -1;  // the stream that decides where a seek begins to read
        SubtitleFeed subtitles;
    };
    Reading PrepareReading(const std::vector<SplitterPin*>& pins, LONGLONG start);
    void Demux(Reading& reading);
    HRESULT Activate() REQUIRES(state_lock_);
    std::vector<SplitterPin*> ConnectedPins() const;
    HRESULT Restart(const Segment& segment) REQUIRES(state_lock_);

    std::unique_ptr<Demuxer> demuxer_;
    std::vector<SubtitleFile> subtitle_files_;  // after the demuxer's in the list of streams
    std::wstring file_;
    std::vector<std::unique_ptr<SplitterPin>> pins_;
    PacketQueue queue_;
    std::thread demuxing_;
    FileLoader loader_;
    Settings settings_;
    StreamList streams_;
    Mutex segment_lock_ ACQUIRED_AFTER(state_lock_);  // a leaf
    Segment segment_ GUARDED_BY(segment_lock_);
    std::vector<IPin*> seekers_ GUARDED_BY(segment_lock_);  // not owned
};
#pragma GCC diagnostic pop

HRESULT CreateSplitterSource(REFIID iid, void** object);

}  // namespace Vimbrel
