// The sound sink of filter graphs: hands each buffer of PCM to a callback instead of playing it.
#pragma once

#include <objbase.h>

#include <mmreg.h>

#include <cstdint>

#include "vimbrel/Export.h"

namespace Vimbrel {

// The sink is a filter with one input, for PCM of 8 or 16 bits without extra format bytes.
class IDSRenderAudio {
public:
    class CDispatcher {
    public:
        // The sample's own memory, valid during the call: it may be changed in place. `start` is
        // the sample's start plus that of its segment, in units of 100 nanoseconds as `duration`
        // is.
        //
        // Runs on the graph's streaming thread. It must not control the graph, nor wait for a
        // thread that does: stopping waits for this call.
        virtual void OnAudioSample(unsigned char* data, int size, std::int64_t start,
                                   std::int64_t duration) = 0;
        virtual ~CDispatcher() = default;
    };

    // Before the graph runs. Not owned; null: buffers are dropped.
    virtual void SetDispatcher(CDispatcher* dispatcher) = 0;
    // Of the filter: IBaseFilter goes into a graph.
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
    // Gives a reference to the filter back.
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
    virtual bool IsConnected() = 0;
    // The format of the last connection, zeros before the first. Not null.
    virtual void GetFormat(WAVEFORMATEX* format) = 0;
    // From now on only this number of channels, rate and number of bits connect. Null, or no
    // channels: any.
    virtual void SetRequiredFormat(const WAVEFORMATEX* format) = 0;

protected:
    ~IDSRenderAudio() = default;
};

// Makes a sink, whose one reference belongs to the caller. Nothing is left if `out` is null.
VIMBREL_API void CreateDSRenderAudio(IDSRenderAudio** out);

}  // namespace Vimbrel
