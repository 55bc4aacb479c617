// Defines GetAppLogger as a host would, but in a library.
extern "C" {
HOST_EXPORT int decoy_calls = 0;
HOST_EXPORT void* GetAppLogger() {
    ++decoy_calls;
    return nullptr;
}
}
