// Which processors the vector code is compiled for. To be included before Highway's own headers,
// which read these names.
#pragma once

// What the code has no use for need not be asked of the processor. Without fused multiplication and
// addition among the allowed instructions, none can change a sum's rounding.
#define HWY_DISABLE_BMI2_FMA
#define HWY_DISABLE_F16C
#define HWY_DISABLE_PCLMUL_AES

// SSSE3 without SSE4 is not worth its code, and vectors whose length is unknown at compile time do
// not fit the tables.
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)

// Highway's own assertions would call its library, which is not linked.
#define HWY_IS_DEBUG_BUILD 0
