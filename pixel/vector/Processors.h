// Which of the compiled vector variants the processor can run.
#pragma once

namespace Vimbrel {

#if defined(__x86_64__) || defined(__i386__)

inline bool HasSse4() { return __builtin_cpu_supports("sse4.2") != 0; }
inline bool HasAvx2() { return HasSse4() && __builtin_cpu_supports("avx2") != 0; }
inline bool HasAvx512() {
    return HasAvx2() && __builtin_cpu_supports("avx512f") != 0 &&
           __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
           __builtin_cpu_supports("avx512bw") != 0;
}

#endif

}  // namespace Vimbrel
