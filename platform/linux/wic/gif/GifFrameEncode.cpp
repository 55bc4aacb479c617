#include "platform/linux/wic/gif/GifFrameEncode.h"

#include <new>

namespace Vimbrel {

namespace {

constexpr MetadataField frame_fields[] = {
    {"/grctlext/delay", VT_UI2, nullptr},
    {"/grctlext/disposal", VT_UI1,
     [](const MetadataItem& item) -> HRESULT {
         return item.number <= 7 ? S_OK : WINCODEC_ERR_VALUEOUTOFRANGE;
     }},
    {"/grctlext/transparencyflag", VT_BOOL, nullptr},
    {"/grctlext/transparentcolorindex", VT_UI1, nullptr},
    {"/imgdesc/left", VT_UI2, nullptr},
    {"/imgdesc/top", VT_UI2, nullptr},
    {"/imgdesc/width", VT_UI2, nullptr},
    {"/imgdesc/height", VT_UI2, nullptr},
};

}  // namespace

GifFrameEncode::GifFrameEncode(std::shared_ptr<GifWorkers> workers)
    : workers_(std::move(workers)), metadata_(std::make_shared<WritableMetadata>(frame_fields)) {}

HRESULT GifFrameEncode::Initialize(IPropertyBag2* options) {
    if (options) return E_INVALIDARG;
    if (state_ != State::made) return WINCODEC_ERR_WRONGSTATE;
    state_ = State::initialized;
    return S_OK;
}

HRESULT GifFrameEncode::WriteSource(IWICBitmapSource* source, WICRect* rect) {
    if (!source || rect) return E_INVALIDARG;
    if (state_ == State::made) return WINCODEC_ERR_NOTINITIALIZED;
    if (state_ == State::written) return WINCODEC_ERR_CODECTOOMANYSCANLINES;
    if (state_ != State::initialized) return WINCODEC_ERR_WRONGSTATE;
    std::unique_ptr<GifImageJob> job;
    HRESULT hr = GifImageJob::FromSource(source, job);
    if (FAILED(hr)) return hr;
    try {
        hr = metadata_->Fix("/imgdesc/width", job->Width());
        if (SUCCEEDED(hr)) hr = metadata_->Fix("/imgdesc/height", job->Height());
        if (FAILED(hr)) return hr;
        job_ = std::move(job);
        workers_->Submit(job_);
    } catch (const std::bad_alloc&) {
        job_.reset();
        return E_OUTOFMEMORY;
    }
    state_ = State::written;
    return S_OK;
}

HRESULT GifFrameEncode::Commit() {
    if (state_ != State::written) return WINCODEC_ERR_WRONGSTATE;
    state_ = State::committed;
    return S_OK;
}

HRESULT GifFrameEncode::GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) {
    return writer ? CreateMetadataWriter(metadata_, writer) : E_INVALIDARG;
}

std::shared_ptr<GifImageJob> GifFrameEncode::End() {
    const bool committed = state_ == State::committed;
    state_ = State::ended;
    ended_metadata_ = metadata_->Seal();
    return committed ? std::move(job_) : nullptr;
}

}  // namespace Vimbrel
