#include "Source/cast/RtmpMetadata.h"

#include <bit>

namespace Vimbrel {
namespace {

class AmfWriter {
public:
    void String(std::string_view text) {
        bytes.push_back(2);
        Name(text);
    }
    void BeginArray(std::uint32_t entries) {
        bytes.push_back(8);
        BigEndian(entries, 4);
    }
    void Entry(std::string_view name, double number) {
        Name(name);
        bytes.push_back(0);
        BigEndian(std::bit_cast<std::uint64_t>(number), 8);
    }
    void Entry(std::string_view name, bool value) {
        Name(name);
        bytes.push_back(1);
        bytes.push_back(value ? 1 : 0);
    }
    void EndArray() {
        Name("");
        bytes.push_back(9);
    }

    std::vector<std::uint8_t> bytes;

private:
    void Name(std::string_view text) {
        BigEndian(text.size(), 2);
        bytes.insert(bytes.end(), text.begin(), text.end());
    }
    void BigEndian(std::uint64_t value, int count) {
        for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
};

}  // namespace

std::vector<std::uint8_t> StreamMetadata::Encode() const {
    constexpr double avc = 7;
    constexpr double aac = 10;
    AmfWriter writer;
    writer.String("@setDataFrame");
    writer.String("onMetaData");
    writer.BeginArray(has_audio ? 9 : 4);
    writer.Entry("width", static_cast<double>(width));
    writer.Entry("height", static_cast<double>(height));
    writer.Entry("framerate", frames_per_second);
    writer.Entry("videocodecid", avc);
    if (has_audio) {
        writer.Entry("audiocodecid", aac);
        writer.Entry("audiodatarate", audio_bits_per_second / 1000);
        writer.Entry("audiosamplerate", sample_rate);
        writer.Entry("audiosamplesize", 16.0);
        writer.Entry("stereo", stereo);
    }
    writer.EndArray();
    return writer.bytes;
}

}  // namespace Vimbrel
