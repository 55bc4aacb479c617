// The bodies of the messages of a stream, byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Vimbrel {

using ByteSpan = std::span<const std::uint8_t>;

// Reused memory for one message at a time. It only grows. Before the body there is room for the
// header, which the session's library writes there.
class RtmpMessage {
public:
    enum Type : std::uint8_t {
        TYPE_CHUNK_SIZE = 1,
        TYPE_AUDIO = 8,
        TYPE_VIDEO = 9,
        TYPE_DATA = 18
    };

    // The size of a packet record and of the longest header.
    static constexpr std::size_t packet_head_size = 58;

    Type MessageType() const { return type; }
    std::uint8_t* Body() { return memory.data() + packet_head_size; }
    std::size_t Size() const { return size; }
    ByteSpan Bytes() const { return ByteSpan(memory).subspan(packet_head_size, size); }

    // Takes the encoder's AudioSpecificConfig.
    void PutAacSequenceHeader(ByteSpan audio_specific_config);
    void PutAac(ByteSpan frames);
    // Both start with a start code of 4 bytes. `sps` has at least 8 bytes, `pps` at least 5.
    void PutAvcSequenceHeader(ByteSpan sps, ByteSpan pps);
    // One piece of an access unit with its start code, after its length.
    void PutVideoPiece(ByteSpan piece, bool key);
    // A whole access unit, each NAL unit after its length and without its start code. Parameter
    // sets and delimiters are left out: the sequence header has the former, and messages make the
    // latter needless. False if there is nothing else in it.
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

// The pieces of an access unit in their order. A piece begins with its start code, where the piece
// before it ends. Bytes before the first start code begin the first piece; if they are as many as
// that start code has, or more, they are a piece by themselves. Without a start code there is no
// piece.
class AccessUnitPieces {
public:
    explicit AccessUnitPieces(ByteSpan access_unit);

    // False after the last piece.
    bool Next(ByteSpan& piece);

private:
    ByteSpan rest;
    std::size_t code;  // length of the start code at the head of `rest`
};

}  // namespace Vimbrel
