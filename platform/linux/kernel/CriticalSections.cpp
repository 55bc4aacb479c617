// Critical sections on recursive mutexes.
#include <windows.h>

extern "C" {

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&section->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_lock(&section->mutex); }
BOOL WINAPI TryEnterCriticalSection(CRITICAL_SECTION* section) {
    return pthread_mutex_trylock(&section->mutex) == 0;
}
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutex_unlock(&section->mutex);
}
void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutex_destroy(&section->mutex);
}

}  // extern "C"
