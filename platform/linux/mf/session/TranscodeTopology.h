// A source, the streams of it that are wanted, and the file that they go into.
#pragma once

#include <mfidl.h>

#include <memory>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/objects/AttributesObject.h"
#include "platform/linux/mf/session/TranscodePipeline.h"

namespace Vimbrel {

struct TranscodeTrack {
    DWORD stream = 0;  // its identifier
    bool video = false;
};

struct TranscodeJob {
    ComPtr<IMFMediaSource> source;
    ComPtr<IMFPresentationDescriptor> presentation;
    bool live = false;                   // whether its samples come by themselves
    std::vector<TranscodeTrack> tracks;  // the selected streams of the presentation
    std::unique_ptr<TranscodePipeline> pipeline;
};

class TranscodeTopology final : public AttributesObject<Implements<IMFTopology, IMFAttributes>> {
public:
    explicit TranscodeTopology(TranscodeJob job);
    // A file that no session took is left empty, as one with empty tracks would not play.
    ~TranscodeTopology() override;

    HRESULT STDMETHODCALLTYPE GetTopologyID(TOPOID* id) override;

    // False if it was taken before.
    bool TakeJob(TranscodeJob& job);

private:
    const TOPOID id_;
    Mutex lock_;
    TranscodeJob job_;
};

}  // namespace Vimbrel
