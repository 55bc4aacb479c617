// The casts on the platform's publishing sessions.
#include <new>

#include "Source/cast/CRTMPCastImpl.h"
#include "Source/cast/CReconnectingCast.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {

std::unique_ptr<CMediaRTMPCast> CreateRTMPCast() { return CreateRTMPCast(RTMPCastOptions()); }

std::unique_ptr<CMediaRTMPCast> CreateRTMPCast(const RTMPCastOptions& options) try {
    return std::make_unique<CRTMPCastImpl>(options, CreatePublishingSession);
} catch (const std::bad_alloc&) {
    return nullptr;
}

std::unique_ptr<CMediaRTMPCast> CreateReconnectingCast(const ReconnectingCastOptions& options) try {
    return std::make_unique<CReconnectingCast>(
        options, [](const RTMPCastOptions& cast) { return CreateRTMPCast(cast); });
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace Vimbrel
