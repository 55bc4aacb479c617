#include "platform/linux/wic/gif/GifStructure.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/kernel/FreeMemory.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

// Longer comments and application data are not kept.
constexpr std::size_t extension_limit = std::size_t{1} << 20;

struct Application {
    std::vector<std::uint8_t> name;
    std::vector<std::uint8_t> data;  // blocks with their lengths, and the terminator

    bool IsLoop() const {
        const std::string_view text(reinterpret_cast<const char*>(name.data()), name.size());
        return text == "NETSCAPE2.0" || text == "ANIMEXTS1.0";
    }
};

class Scanner {
public:
    Scanner(GifReader& reader, GifStructure& structure)
        : reader_(reader), gif_(reader.Gif()), structure_(structure) {}

    HRESULT Run() {
        if (static_cast<std::uint64_t>(gif_->SWidth) * static_cast<std::uint64_t>(gif_->SHeight) >
            picture_pixel_limit)
            return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
        structure_.palette = ColorsOf(gif_->SColorMap);
        for (bool more = true; more;) {
            const std::uint64_t start = reader_.Position();
            GifRecordType type = UNDEFINED_RECORD_TYPE;
            if (DGifGetRecordType(gif_, &type) == GIF_ERROR) {
                // A block that some program has ended twice; other bytes are no GIF any more.
                more = !reader_.Ended() && reader_.LastByte() == 0;
                continue;
            }
            switch (type) {
                case IMAGE_DESC_RECORD_TYPE:
                    more = TakeFrame(start);
                    if (!structure_.frames.empty() &&
                        structure_.frames.back().PixelCount() > picture_pixel_limit)
                        return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
                    break;
                case EXTENSION_RECORD_TYPE:
                    more = TakeExtension();
                    cut_off_ = !more;
                    break;
                default:
                    more = false;
                    break;
            }
        }
        if (structure_.frames.empty()) return WINCODEC_ERR_BADIMAGE;
        const HRESULT hr = CheckMemory();
        if (FAILED(hr)) return hr;
        // What the end of the file cut off in the middle of its description, or behind the block
        // that announced it, counts as a frame that cannot be read: else a GIF with frames missing
        // would pass for a whole one.
        if (cut_off_ || (reader_.Ended() && control_)) structure_.frames.push_back({});
        SetMetadata();
        return S_OK;
    }

private:
    // Applications decode all frames and keep them. That must leave the machine half of its free
    // memory.
    HRESULT CheckMemory() const {
        constexpr unsigned mib_shift = 20;
        const std::uint64_t needed = 4 * pixel_count_;
        const std::uint64_t free = FreeMemory();
        if (needed <= free / 2) return S_OK;
        APPLOG_FORMAT(
            HalvorixAppLog::LOG_LEVEL_ERROR,
            "GIF - %zu frames take %llu MiB, more than half of the %llu MiB that are free",
            structure_.frames.size(), static_cast<unsigned long long>(needed >> mib_shift),
            static_cast<unsigned long long>(free >> mib_shift));
        return E_OUTOFMEMORY;
    }

    // False if the file ends in it.
    bool TakeFrame(std::uint64_t start) {
        // This fails for a bad code size too, behind which the blocks can still be stepped over.
        if (DGifGetImageHeader(gif_) == GIF_ERROR && reader_.Ended()) {
            cut_off_ = true;
            return false;
        }
        GifFrameEntry frame;
        frame.position = start;
        frame.left = static_cast<std::uint16_t>(gif_->Image.Left);
        frame.top = static_cast<std::uint16_t>(gif_->Image.Top);
        frame.width = static_cast<std::uint16_t>(gif_->Image.Width);
        frame.height = static_cast<std::uint16_t>(gif_->Image.Height);
        frame.interlaced = gif_->Image.Interlace;
        frame.control = control_;
        control_.reset();
        pixel_count_ += frame.PixelCount();
        structure_.frames.push_back(frame);

        GifByteType* block = nullptr;
        do {
            if (DGifGetCodeNext(gif_, &block) == GIF_ERROR) return false;
        } while (block);
        return true;
    }

    // False if the file ends in it.
    bool TakeExtension() {
        int code = 0;
        GifByteType* block = nullptr;
        if (DGifGetExtension(gif_, &code, &block) == GIF_ERROR) return false;
        Application application;
        std::vector<std::uint8_t> comment;
        bool kept = true;
        for (bool first = true; block; first = false) {
            const std::size_t size = block[0];
            if (code == GRAPHICS_EXT_FUNC_CODE && first && size >= 4) {
                control_ = GifGraphicControl{static_cast<std::uint16_t>(block[2] | block[3] << 8),
                                             static_cast<std::uint8_t>(block[1] >> 2 & 7),
                                             (block[1] & 1) != 0, block[4]};
            } else if (code == COMMENT_EXT_FUNC_CODE && kept) {
                comment.insert(comment.end(), block + 1, block + 1 + size);
            } else if (code == APPLICATION_EXT_FUNC_CODE && first) {
                application.name.assign(block + 1, block + 1 + size);
            } else if (code == APPLICATION_EXT_FUNC_CODE && kept) {
                application.data.insert(application.data.end(), block, block + 1 + size);
            }
            kept = kept && comment.size() <= extension_limit &&
                   application.data.size() <= extension_limit;
            if (DGifGetExtensionNext(gif_, &block) == GIF_ERROR) return false;
        }
        // A text to be drawn is a frame of its own kind, and takes the control block before it.
        if (code == PLAINTEXT_EXT_FUNC_CODE) control_.reset();
        if (!kept) return true;
        if (code == COMMENT_EXT_FUNC_CODE && !comment_) comment_ = std::move(comment);
        if (code == APPLICATION_EXT_FUNC_CODE &&
            (!application_ || (application.IsLoop() && !application_->IsLoop()))) {
            application.data.push_back(0);
            application_ = std::move(application);
        }
        return true;
    }

    void SetMetadata() {
        auto table = std::make_shared<MetadataTable>();
        table->SetNumber("/logscrdesc/width", VT_UI2, static_cast<std::uint16_t>(gif_->SWidth));
        table->SetNumber("/logscrdesc/height", VT_UI2, static_cast<std::uint16_t>(gif_->SHeight));
        table->SetNumber("/logscrdesc/pixelaspectratio", VT_UI1, gif_->AspectByte);
        table->SetNumber("/logscrdesc/globalcolortableflag", VT_BOOL, gif_->SColorMap != nullptr);
        table->SetNumber("/logscrdesc/backgroundcolorindex", VT_UI1,
                         static_cast<std::uint16_t>(gif_->SBackGroundColor));
        if (application_) {
            table->SetBytes("/appext/application", VT_VECTOR | VT_UI1,
                            std::move(application_->name));
            table->SetBytes("/appext/data", VT_VECTOR | VT_UI1, std::move(application_->data));
        }
        if (comment_) table->SetBytes("/commentext/textentry", VT_LPSTR, std::move(*comment_));
        structure_.metadata = std::move(table);
    }

    GifReader& reader_;
    GifFileType* gif_;
    GifStructure& structure_;
    std::uint64_t pixel_count_ = 0;
    bool cut_off_ = false;                      // the file ends within something other than pixels
    std::optional<GifGraphicControl> control_;  // for the next frame
    std::optional<Application> application_;    // the first one that sets a loop, else the first
    std::optional<std::vector<std::uint8_t>> comment_;
};

}  // namespace

HRESULT GifStructure::Scan(const GifFile& file) {
    GifReader reader(file);
    const HRESULT hr = reader.Open();
    if (FAILED(hr)) return hr;
    return Scanner(reader, *this).Run();
}

std::vector<WICColor> ColorsOf(const ColorMapObject* map) {
    std::vector<WICColor> colors;
    if (!map) return colors;
    for (int i = 0; i < map->ColorCount; ++i) {
        const GifColorType& color = map->Colors[i];
        colors.push_back(0xFF000000u | static_cast<WICColor>(color.Red) << 16 |
                         static_cast<WICColor>(color.Green) << 8 | color.Blue);
    }
    return colors;
}

}  // namespace Vimbrel
