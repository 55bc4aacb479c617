// Start-up of librtmp: its TLS, and its messages in the log.
#pragma once

namespace Vimbrel {

// Once per process; further calls do nothing. Any thread.
void StartLibrtmp();

}  // namespace Vimbrel
