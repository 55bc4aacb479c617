// What comes with a stream's buffer, beside its pixels.
#pragma once

#include <spa/buffer/buffer.h>
#include <windef.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/linux/portal/CastEvents.h"
#include "platform/linux/portal/CastOffers.h"

namespace Vimbrel {

template <class Meta>
const Meta* FindMeta(const spa_buffer& buffer, std::uint32_t type) {
    return static_cast<const Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
}

// Of a video format of SPA.
bool IsRedFirst(std::uint32_t format);

// False if nothing is reported of it.
bool ReadCursor(const spa_buffer& buffer, CastCursor& cursor);

// The part of a picture of that size that is to be shown.
RECT ReadVisibleArea(const spa_buffer& buffer, int width, int height);

// Areas count from the corner of the visible one. False if the buffer does not say what changed.
bool ReadDamage(const spa_buffer& buffer, const RECT& visible,
                std::array<RECT, damage_limit>& damage, std::size_t& count);

}  // namespace Vimbrel
