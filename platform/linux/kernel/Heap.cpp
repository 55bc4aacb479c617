// The C library's heap ends the process by itself when it finds itself corrupt.
#include <windows.h>

extern "C" BOOL WINAPI HeapSetInformation(HANDLE heap, HEAP_INFORMATION_CLASS what, void* data,
                                          SIZE_T size) {
    return !heap && what == HeapEnableTerminationOnCorruption && !data && size == 0;
}
