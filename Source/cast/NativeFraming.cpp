#include "Source/cast/NativeFraming.h"

#include "base/Clock.h"

namespace Vimbrel {

std::uint32_t NativeFraming::SoundClock(const encoded_frame&) const {
    return Clock::Current().TimeMilliseconds();
}

// Kept: single precision for the time and double for the division, because receivers of this
// framing get the same times on the wire as ever.
std::uint32_t NativeFraming::PictureTime(std::int64_t time) const {
    return static_cast<std::uint32_t>(
        static_cast<std::int64_t>(double{static_cast<float>(time)} / 10000.0));
}

bool NativeFraming::SendAccessUnit(ByteSpan access_unit, bool key, std::uint32_t time) {
    ByteSpan piece;
    bool sent = true;
    for (AccessUnitPieces pieces(access_unit); pieces.Next(piece);) {
        picture.PutVideoPiece(piece, key);
        sent = SendPictureMessage(piece.size(), time) && sent;
    }
    return sent;
}

}  // namespace Vimbrel
