#include <deque>
#include <memory>
#include <new>
#include <utility>

#include "com/ComObject.h"
#include "com/OutputEnd.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "platform/linux/wic/gif/GifBytes.h"
#include "platform/linux/wic/gif/GifFrameEncode.h"
#include "platform/linux/wic/gif/GifWorkers.h"
#include "platform/linux/wic/gif/WritableMetadata.h"

namespace Vimbrel {

namespace {

// Frames that are prepared or wait for it, for each thread: one in work and one that follows
// without a pause.
constexpr std::size_t frames_per_thread = 2;

HRESULT CheckApplication(const MetadataItem& item) {
    return item.bytes.size() == 11 ? S_OK : WINCODEC_ERR_VALUEOUTOFRANGE;
}
HRESULT CheckBlocks(const MetadataItem& item) {
    return GifBytes::IsBlockSequence(item.bytes) ? S_OK : WINCODEC_ERR_VALUEOUTOFRANGE;
}
HRESULT CheckSide(const MetadataItem& item) {
    return item.number != 0 ? S_OK : WINCODEC_ERR_VALUEOUTOFRANGE;
}

constexpr MetadataField global_fields[] = {
    {"/appext/application", VT_VECTOR | VT_UI1, CheckApplication},
    {"/appext/data", VT_VECTOR | VT_UI1, CheckBlocks},
    {"/commentext/textentry", VT_LPSTR, nullptr},
    {"/logscrdesc/width", VT_UI2, CheckSide},
    {"/logscrdesc/height", VT_UI2, CheckSide},
};

std::uint16_t NumberOf(const MetadataTable& table, const char* key, std::uint16_t otherwise = 0) {
    const MetadataItem* item = table.Find(key);
    return item ? item->number : otherwise;
}

// Frames are prepared by the workers and written in their order by the caller's thread, in
// CreateNewFrame, Commit, End and the release. All but the release report what fails in the stream.
// Once it has failed nothing more is written.
class GifEncoder final : public ComObject<Implements<IWICBitmapEncoder>, ImplementsOutputEnd> {
public:
    ~GifEncoder() override { Finish(); }

    HRESULT STDMETHODCALLTYPE Initialize(IStream* stream, WICBitmapEncoderCacheOption) override {
        if (!stream) return E_INVALIDARG;
        if (stream_) return WINCODEC_ERR_WRONGSTATE;
        stream_ = ComPtr<IStream>(stream);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE CreateNewFrame(IWICBitmapFrameEncode** frame,
                                             IPropertyBag2** options) override {
        if (!frame) return E_INVALIDARG;
        *frame = nullptr;
        if (options) *options = nullptr;
        if (!stream_) return WINCODEC_ERR_NOTINITIALIZED;
        if (finished_) return WINCODEC_ERR_WRONGSTATE;
        try {
            EndCurrent();
            while (!pending_.empty() &&
                   (pending_.size() >= workers_->ThreadCount() * frames_per_thread ||
                    workers_->IsDone(*pending_.front().job))) {
                WriteOldest();
            }
            if (FAILED(error_)) return error_;
            current_ = MakeCom<GifFrameEncode>(workers_);
            *frame = ComPtr<IWICBitmapFrameEncode>(current_.Get()).Detach();
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Commit() override {
        if (!stream_) return WINCODEC_ERR_NOTINITIALIZED;
        if (finished_) return WINCODEC_ERR_WRONGSTATE;
        Finish();
        if (SUCCEEDED(error_) && !head_written_) return WINCODEC_ERR_FRAMEMISSING;
        return error_;
    }

    HRESULT STDMETHODCALLTYPE End() override {
        Finish();
        return FAILED(error_) ? error_ : left_out_;
    }

    HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) override {
        return writer ? CreateMetadataWriter(metadata_, writer) : E_INVALIDARG;
    }

private:
    struct PendingFrame {
        std::shared_ptr<GifImageJob> job;
        MetadataTable metadata;
    };

    void EndCurrent() {
        if (!current_) return;
        std::shared_ptr<GifImageJob> job = current_->End();
        if (job) pending_.push_back({std::move(job), current_->Metadata()});
        current_.Reset();
    }

    // Waits for the oldest frame. One that could not be prepared is left out.
    void WriteOldest() {
        PendingFrame frame = std::move(pending_.front());
        pending_.pop_front();
        workers_->WaitFor(*frame.job);
        if (FAILED(frame.job->Result()) && SUCCEEDED(left_out_)) left_out_ = frame.job->Result();
        if (FAILED(error_) || FAILED(frame.job->Result())) return;
        GifBytes bytes;
        HRESULT hr = head_written_ ? S_OK : PutHead(bytes, *frame.job);
        if (SUCCEEDED(hr)) hr = PutGraphicControl(bytes, frame.metadata);
        if (FAILED(hr)) {
            error_ = hr;
            return;
        }
        std::vector<std::uint8_t> block = bytes.Take();
        std::vector<std::uint8_t>& image = frame.job->Image();
        GifBytes::SetPlace(image, NumberOf(frame.metadata, "/imgdesc/left"),
                           NumberOf(frame.metadata, "/imgdesc/top"));
        block.insert(block.end(), image.begin(), image.end());
        WriteBytes(block);
    }

    HRESULT PutHead(GifBytes& bytes, const GifImageJob& first) {
        head_written_ = true;
        const MetadataTable global = metadata_->Seal();
        const std::uint16_t width = NumberOf(global, "/logscrdesc/width", first.Width());
        const std::uint16_t height = NumberOf(global, "/logscrdesc/height", first.Height());
        HRESULT hr = bytes.PutHead(width, height);
        if (FAILED(hr)) return hr;
        if (const MetadataItem* application = global.Find("/appext/application")) {
            const MetadataItem* data = global.Find("/appext/data");
            hr = bytes.PutApplication(application->bytes, data ? std::span(data->bytes)
                                                               : std::span<const std::uint8_t>());
            if (FAILED(hr)) return hr;
        }
        const MetadataItem* comment = global.Find("/commentext/textentry");
        if (!comment || comment->bytes.empty()) return S_OK;
        return bytes.PutComment({comment->bytes.begin(), comment->bytes.end()});
    }

    static HRESULT PutGraphicControl(GifBytes& bytes, const MetadataTable& metadata) {
        const char* const keys[] = {"/grctlext/delay", "/grctlext/disposal",
                                    "/grctlext/transparencyflag",
                                    "/grctlext/transparentcolorindex"};
        bool any = false;
        for (const char* key : keys) any = any || metadata.Find(key);
        if (!any) return S_OK;
        return bytes.PutGraphicControl(NumberOf(metadata, keys[0]),
                                       static_cast<std::uint8_t>(NumberOf(metadata, keys[1])),
                                       NumberOf(metadata, keys[2]) != 0,
                                       static_cast<std::uint8_t>(NumberOf(metadata, keys[3])));
    }

    void WriteBytes(const std::vector<std::uint8_t>& bytes) {
        const HRESULT hr = stream_->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
        if (FAILED(hr)) error_ = hr;
    }

    // Writes what is left, and the trailer if there is anything that it ends.
    void Finish() {
        if (!stream_ || std::exchange(finished_, true)) return;
        try {
            EndCurrent();
            while (!pending_.empty()) WriteOldest();
            if (!head_written_ || FAILED(error_)) return;
            GifBytes trailer;
            error_ = trailer.PutTrailer();
            if (SUCCEEDED(error_)) WriteBytes(trailer.Take());
        } catch (const std::bad_alloc&) {
            error_ = E_OUTOFMEMORY;
        }
    }

    const std::shared_ptr<GifWorkers> workers_ = std::make_shared<GifWorkers>();
    const std::shared_ptr<WritableMetadata> metadata_ =
        std::make_shared<WritableMetadata>(global_fields);
    ComPtr<IStream> stream_;
    ComPtr<GifFrameEncode> current_;
    std::deque<PendingFrame> pending_;
    bool head_written_ = false;
    bool finished_ = false;
    HRESULT error_ = S_OK;     // the first that the stream, or memory, gave
    HRESULT left_out_ = S_OK;  // why the first frame that could not be prepared is missing
};

}  // namespace

HRESULT CreateGifEncoder(IWICBitmapEncoder** encoder) { return CreateCom<GifEncoder>(encoder); }

}  // namespace Vimbrel
