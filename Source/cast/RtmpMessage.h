// The bodies of the messages of a stream, byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Vimbrel {

using ByteSpan = std::span<const std::uint8_t>;

// Reused memory for one message at a time. It only grows. In front of the body there is room for
// the header, which the protocol's library writes there.
class RtmpMessage {
public:
    enum Type : std::uint8_t {
        TYPE_CHUNK_SIZE = 1,
        TYPE_AUDIO = 8,
        TYPE_VIDEO = 9,
        TYPE_DATA = 18
    };

    // A packet record and the longest header.
    static constexpr std::size_t packet_head_size = 58;

    Type MessageType() const { return type; }
    std::uint8_t* Body() { return memory.data() + packet_head_size; }
    std::size_t Size() const { return size; }
    ByteSpan Bytes() const { return ByteSpan(memory).subspan(packet_head_size, size); }

    // AudioSpecificConfig of the encoder.
    void PutAacSequenceHeader(ByteSpan audio_specific_config);
    void PutAac(ByteSpan frames);
    // Each with a start code of 4 bytes; more than 7 bytes of `sps`, more than 4 of `pps`.
    void PutAvcSequenceHeader(ByteSpan sps, ByteSpan pps);
    // One piece of an access unit with its start code, behind its length.
    void PutVideoPiece(ByteSpan piece, bool key);
    // A whole access unit, each of its NAL units behind its length and without its start code.
    // Parameter sets and delimiters are left out: the sequence header has the former, and the
    // messages stand for the latter. False if nothing else is in it.
    bool PutAccessUnit(ByteSpan access_unit, bool key);
    void PutChunkSize(std::uint32_t bytes);
    // Takes a body that was put together elsewhere.
    void PutData(ByteSpan body);

private:
    std::uint8_t* Begin(Type message_type, std::size_t bytes);

    Type type = TYPE_DATA;
    std::vector<std::uint8_t> memory;
    std::size_t size = 0;
};

// An access unit's pieces in order. A piece begins where the one before it ends, and so has its
// start code in front; whatever is before the first start code belongs to the first piece. Without
// a start code there is none.
class AccessUnitPieces {
public:
    explicit AccessUnitPieces(ByteSpan access_unit);

    // False behind the last one.
    bool Next(ByteSpan& piece);

private:
    ByteSpan rest;
    std::size_t code;  // length of the start code in front of `rest`
};

}  // namespace Vimbrel
