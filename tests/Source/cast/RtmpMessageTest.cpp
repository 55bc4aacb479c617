// The bytes on the wire.
#include "Source/cast/RtmpMessage.h"

#include <gtest/gtest.h>

#include "Source/cast/RtmpMetadata.h"

namespace Vimbrel::test {
namespace {

using ByteVector = std::vector<std::uint8_t>;

ByteVector Body(const RtmpMessage& message) {
    return {message.Bytes().begin(), message.Bytes().end()};
}

TEST(RtmpMessage, SequenceHeaders) {
    RtmpMessage message;
    message.PutAacSequenceHeader(ByteVector{0x12, 0x10});
    EXPECT_EQ(message.MessageType(), RtmpMessage::TYPE_AUDIO);
    EXPECT_EQ(Body(message), (ByteVector{0xAF, 0, 0x12, 0x10}));
    message.PutAac(ByteVector{1, 2, 3});
    EXPECT_EQ(Body(message), (ByteVector{0xAF, 1, 1, 2, 3}));
    message.PutAvcSequenceHeader(ByteVector{0, 0, 0, 1, 0x67, 77, 0x40, 41, 0xAA},
                                 ByteVector{0, 0, 0, 1, 0x68, 0xBB});
    EXPECT_EQ(message.MessageType(), RtmpMessage::TYPE_VIDEO);
    EXPECT_EQ(Body(message),
              (ByteVector{0x17, 0,    0,  0,    0,  1,    77, 0x40, 41, 0xFF, 0xE1, 0,
                          5,    0x67, 77, 0x40, 41, 0xAA, 1,  0,    2,  0x68, 0xBB}));
    message.PutVideoPiece(ByteVector{0, 0, 1, 0x65, 9}, true);
    EXPECT_EQ(Body(message), (ByteVector{0x17, 1, 0, 0, 0, 0, 0, 0, 5, 0, 0, 1, 0x65, 9}));
    message.PutVideoPiece(ByteVector{0, 0, 1, 0x41}, false);
    EXPECT_EQ(Body(message).front(), 0x27);
    message.PutChunkSize(4096);
    EXPECT_EQ(Body(message), (ByteVector{0, 0, 0x10, 0}));
}

TEST(RtmpMessage, CutsAccessUnitsAtTheirStartCodes) {
    const struct {
        const char* what;
        ByteVector unit;
        std::vector<ByteVector> pieces;
    } cases[] = {
        {"one piece", {0, 0, 0, 1, 0x65, 1, 2}, {{0, 0, 0, 1, 0x65, 1, 2}}},
        {"both start codes",
         {0, 0, 0, 1, 9, 0, 0, 1, 6, 5, 0, 0, 0, 1, 0x65, 1},
         {{0, 0, 0, 1, 9}, {0, 0, 1, 6, 5}, {0, 0, 0, 1, 0x65, 1}}},
        {"bytes before the first one", {7, 8, 0, 0, 0, 1, 0x65, 1}, {{7, 8, 0, 0, 0, 1, 0x65, 1}}},
        {"more of them than it has",
         {7, 8, 9, 8, 7, 0, 0, 0, 1, 0x65, 1},
         {{7, 8, 9, 8, 7}, {0, 0, 0, 1, 0x65, 1}}},
        {"none", {1, 2, 3, 4, 5, 6}, {}},
        {"nothing behind it", {0, 0, 0, 1}, {}},
        {"the short one with 4 bytes left",
         {0, 0, 0, 1, 6, 0, 0, 1, 0x41},
         {{0, 0, 0, 1, 6}, {0, 0, 1, 0x41}}},
        {"too short a tail", {0, 0, 0, 1, 6, 0, 0, 1}, {{0, 0, 0, 1, 6, 0, 0, 1}}},
        {"the long one with 4 bytes left",
         {0, 0, 0, 1, 6, 0, 0, 0, 1},
         {{0, 0, 0, 1, 6, 0, 0, 0, 1}}},
        {"empty", {}, {}},
    };
    for (const auto& row : cases) {
        std::vector<ByteVector> pieces;
        ByteSpan piece;
        for (AccessUnitPieces all(row.unit); all.Next(piece);)
            pieces.emplace_back(piece.begin(), piece.end());
        EXPECT_EQ(pieces, row.pieces) << row.what;
    }
}

TEST(RtmpMessage, WholeAccessUnitsHaveLengthsAndNoParameterSets) {
    RtmpMessage message;
    const ByteVector unit = {0,    0, 0, 1, 9, 0xF0, 0, 0, 0, 1, 0x67, 1, 2,    0, 0, 0, 1,
                             0x68, 3, 0, 0, 1, 6,    5, 4, 0, 0, 0,    1, 0x65, 1, 2, 3};
    ASSERT_TRUE(message.PutAccessUnit(unit, true));
    EXPECT_EQ(Body(message),
              (ByteVector{0x17, 1, 0, 0, 0, 0, 0, 0, 3, 6, 5, 4, 0, 0, 0, 4, 0x65, 1, 2, 3}));
    EXPECT_FALSE(message.PutAccessUnit(ByteVector{0, 0, 0, 1, 0x67, 1, 2}, true));
    EXPECT_FALSE(message.PutAccessUnit(ByteVector{1, 2, 3, 4, 5}, true));
}

TEST(RtmpMessage, MetadataIsAnArrayOfAmf0) {
    StreamMetadata metadata;
    metadata.width = 640;
    const ByteVector bytes = metadata.Encode();
    const ByteVector head = {2,   0,   13,  '@',  's',  'e', 't', 'D', 'a', 't', 'a', 'F', 'r',
                             'a', 'm', 'e', 2,    0,    10,  'o', 'n', 'M', 'e', 't', 'a', 'D',
                             'a', 't', 'a', 8,    0,    0,   0,   4,   0,   5,   'w', 'i', 'd',
                             't', 'h', 0,   0x40, 0x84, 0,   0,   0,   0,   0,   0};
    ASSERT_GT(bytes.size(), head.size());
    EXPECT_EQ(ByteVector(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(head.size())),
              head);
    EXPECT_EQ(ByteVector(bytes.end() - 3, bytes.end()), (ByteVector{0, 0, 9}));
}

}  // namespace
}  // namespace Vimbrel::test
