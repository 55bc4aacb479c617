// Plays silence, so that a device delivers what it plays even while nothing else plays.
#pragma once

#include <mmdeviceapi.h>
#include <windows.h>

namespace Vimbrel {

// Runs on a thread of its own, without COM started, until `stop_event` is signalled or a call
// fails. Signals `started_event` once, when it plays or when its set-up has failed.
void PlaySilence(IMMDevice& device, HANDLE started_event, HANDLE stop_event);

}  // namespace Vimbrel
