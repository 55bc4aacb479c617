// The video sink of filter graphs: hands each decoded picture to a callback instead of showing it.
#pragma once

#include <objbase.h>

#include <cstdint>

#include "vimbrel/Export.h"

namespace Vimbrel {

// The sink is a filter with one input. It takes the subtypes RGB24, RGB32, ARGB32, YUY2, NV12,
// I420, UYVY and YV12 in the formats VideoInfo, VideoInfo2, MPEGVideo and MPEG2Video.
class IDSRenderVideo {
public:
    class CDispatcher {
    public:
        // A picture of packed pixels, bytes blue, green, red, alpha, top row first, `stride` bytes
        // per row. The pixels belong to the sink and are valid during the call. `time` is the
        // sample's start plus that of its segment, in units of 100 nanoseconds as `duration` is;
        // a sample without times has the segment's start and no duration.
        //
        // Runs on the graph's streaming thread. It must not control the graph (run, pause, stop,
        // seek, close), nor wait for a thread that does: stopping waits for this call.
        virtual void OnVideoSample(unsigned char* pixels, int width, int height, int stride,
                                   std::int64_t time, std::int64_t duration) = 0;

    protected:
        ~CDispatcher() = default;
    };

    // Before the graph runs. Not owned; null: samples are dropped.
    virtual void SetDispatcher(CDispatcher* dispatcher) = 0;
    // Of the filter: IBaseFilter goes into a graph.
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
    // Gives a reference to the filter back.
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
    // Set only by a connection for which the sink had to enlarge its buffer, cleared with the
    // connection.
    virtual bool IsConnected() = 0;
    // In pixels; 0 before a connection.
    virtual unsigned int GetWidth() = 0;
    virtual unsigned int GetHeight() = 0;
    // Pictures per second as a fraction: a whole number over 1 once the format says how long a
    // picture lasts, with 0 if it cannot be told.
    virtual unsigned int GetFrameRateNum() = 0;
    virtual unsigned int GetFrameRateDen() = 0;
    // Whether the rows arrive bottom row first. The callback gets them top row first all the same.
    virtual bool IsBottomUp() = 0;

protected:
    ~IDSRenderVideo() = default;
};

// Makes a sink, whose one reference belongs to the caller. Nothing is left if `out` is null.
VIMBREL_API void CreateDSRenderVideo(IDSRenderVideo** out);

}  // namespace Vimbrel
