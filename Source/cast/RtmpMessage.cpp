#include "Source/cast/RtmpMessage.h"

#include <algorithm>
#include <cstring>

#include "rtmpencoder/start_code.h"

namespace Vimbrel {
namespace {

// AAC, 44 kHz, 16 bits, stereo. Kept for any sound, because receivers read the format from the
// sequence header.
constexpr std::uint8_t aac_tag = 0xAF;
constexpr std::uint8_t avc_key_tag = 0x17;
constexpr std::uint8_t avc_tag = 0x27;

constexpr std::size_t long_start_code = 4;
constexpr std::size_t video_tag_size = 5;

std::uint8_t* PutBigEndian(std::uint8_t* place, std::size_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        *place++ = static_cast<std::uint8_t>(value >> shift);
    return place;
}

std::uint8_t* Put(std::uint8_t* place, ByteSpan bytes) {
    if (!bytes.empty()) std::memcpy(place, bytes.data(), bytes.size());
    return place + bytes.size();
}

// The composition time is 0: no frame is shown later than it is decoded.
std::uint8_t* PutVideoTag(std::uint8_t* place, bool key, std::uint8_t kind) {
    *place++ = key ? avc_key_tag : avc_tag;
    *place++ = kind;
    return PutBigEndian(place, 0, 3);
}

bool GoesIntoMessages(ByteSpan nal_unit) {
    constexpr int sps = 7;
    constexpr int pps = 8;
    constexpr int delimiter = 9;
    if (nal_unit.empty()) return false;
    const int type = nal_unit[0] & 0x1F;
    return type != sps && type != pps && type != delimiter;
}

}  // namespace

std::uint8_t* RtmpMessage::Begin(Type message_type, std::size_t bytes) {
    type = message_type;
    size = bytes;
    if (memory.size() < packet_head_size + bytes) memory.resize(packet_head_size + bytes);
    return Body();
}

void RtmpMessage::PutAacSequenceHeader(ByteSpan audio_specific_config) {
    std::uint8_t* place = Begin(TYPE_AUDIO, 2 + audio_specific_config.size());
    *place++ = aac_tag;
    *place++ = 0;
    Put(place, audio_specific_config);
}

void RtmpMessage::PutAac(ByteSpan frames) {
    std::uint8_t* place = Begin(TYPE_AUDIO, 2 + frames.size());
    *place++ = aac_tag;
    *place++ = 1;
    Put(place, frames);
}

void RtmpMessage::PutAvcSequenceHeader(ByteSpan sps, ByteSpan pps) {
    const ByteSpan sps_unit = sps.subspan(long_start_code);
    const ByteSpan pps_unit = pps.subspan(long_start_code);
    std::uint8_t* place = Begin(TYPE_VIDEO, 16 + sps_unit.size() + pps_unit.size());
    place = PutVideoTag(place, true, 0);
    *place++ = 1;
    place = Put(place, sps_unit.subspan(1, 3));  // profile, compatibility, level
    *place++ = 0xFF;                             // lengths of 4 bytes
    *place++ = 0xE1;                             // one SPS
    place = Put(PutBigEndian(place, sps_unit.size(), 2), sps_unit);
    *place++ = 1;
    Put(PutBigEndian(place, pps_unit.size(), 2), pps_unit);
}

void RtmpMessage::PutVideoPiece(ByteSpan piece, bool key) {
    std::uint8_t* place = PutVideoTag(Begin(TYPE_VIDEO, video_tag_size + 4 + piece.size()), key, 1);
    // Kept: the start code precedes the unit and counts in its length, because receivers of this
    // framing expect it.
    Put(PutBigEndian(place, piece.size(), 4), piece);
}

bool RtmpMessage::PutAccessUnit(ByteSpan access_unit, bool key) {
    // A length takes 4 bytes where a start code takes 3 or 4.
    std::size_t pieces = 0;
    ByteSpan piece;
    for (AccessUnitPieces counted(access_unit); counted.Next(piece);) ++pieces;
    std::uint8_t* const tag = Begin(TYPE_VIDEO, video_tag_size + access_unit.size() + pieces);
    std::uint8_t* place = PutVideoTag(tag, key, 1);
    for (AccessUnitPieces all(access_unit); all.Next(piece);) {
        const start_code code = find_start_code(piece, 0);
        if (!code) continue;
        ByteSpan unit = piece.subspan(code.place + code.length);
        // Zero bytes before the next start code do not belong to a unit.
        while (!unit.empty() && unit.back() == 0) unit = unit.first(unit.size() - 1);
        if (GoesIntoMessages(unit)) place = Put(PutBigEndian(place, unit.size(), 4), unit);
    }
    size = static_cast<std::size_t>(place - tag);
    return size > video_tag_size;
}

void RtmpMessage::PutChunkSize(std::uint32_t bytes) {
    PutBigEndian(Begin(TYPE_CHUNK_SIZE, 4), bytes, 4);
}

void RtmpMessage::PutData(ByteSpan body) { Put(Begin(TYPE_DATA, body.size()), body); }

AccessUnitPieces::AccessUnitPieces(ByteSpan access_unit)
    : rest(access_unit), code(find_start_code(access_unit, 0).length) {
    if (code == 0) rest = {};
}

bool AccessUnitPieces::Next(ByteSpan& piece) {
    if (rest.empty()) return false;
    const start_code next = find_start_code(rest, std::min(code, rest.size()));
    piece = next ? rest.first(next.place) : rest;
    rest = rest.subspan(piece.size());
    code = next.length;
    return true;
}

}  // namespace Vimbrel
