// A frame that is being written.
#pragma once

#include <wincodec.h>

#include <memory>

#include "com/ComObject.h"
#include "platform/linux/wic/gif/GifImageJob.h"
#include "platform/linux/wic/gif/GifWorkers.h"
#include "platform/linux/wic/gif/WritableMetadata.h"

namespace Vimbrel {

// Hands its picture to the workers when it is written. The encoder takes the frame's parts once the
// next frame is made.
class GifFrameEncode final : public ComObject<Implements<IWICBitmapFrameEncode>> {
public:
    explicit GifFrameEncode(std::shared_ptr<GifWorkers> workers);

    HRESULT STDMETHODCALLTYPE Initialize(IPropertyBag2* options) override;
    HRESULT STDMETHODCALLTYPE WriteSource(IWICBitmapSource* source, WICRect* rect) override;
    HRESULT STDMETHODCALLTYPE Commit() override;
    HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) override;

    // Ends the frame: no call changes it any more. Null if it has no committed picture.
    std::shared_ptr<GifImageJob> End();
    // After End.
    const MetadataTable& Metadata() const { return ended_metadata_; }

private:
    enum class State { made, initialized, written, committed, ended };

    const std::shared_ptr<GifWorkers> workers_;
    const std::shared_ptr<WritableMetadata> metadata_;
    MetadataTable ended_metadata_;
    std::shared_ptr<GifImageJob> job_;
    State state_ = State::made;
};

}  // namespace Vimbrel
