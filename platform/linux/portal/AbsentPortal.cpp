// In the place of the bridge where the libraries of the portal and PipeWire are not there: no
// portal is ever found, and nothing of a stream is called.
#include "platform/linux/portal/CastPortal.h"
#include "platform/linux/portal/CastStream.h"

namespace Vimbrel {

struct CastStream::Hooks {};

void CastPortal::BusDeleter::operator()(sd_bus*) const {}
void CastPortal::SlotDeleter::operator()(sd_bus_slot*) const {}
CastPortal::~CastPortal() = default;
bool CastPortal::IsThere() { return false; }
CastAnswer CastPortal::Open(const CastWishes&) { return CastAnswer::Failed; }

CastStream::CastStream(std::unique_ptr<CastPortal> portal, CastEvents& events)
    : portal_(std::move(portal)), events_(events) {}
CastStream::~CastStream() = default;
bool CastStream::Start() { return false; }

}  // namespace Vimbrel
