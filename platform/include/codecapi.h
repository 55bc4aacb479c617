// Settings of encoders. Inside the library only.
#pragma once

#include "guiddef.h"

// VT_UI4: one of eAVEncCommonRateControlMode; a percentage, for the quality mode.
DEFINE_GUID(CODECAPI_AVEncCommonRateControlMode, 0x1c0608e9, 0x370c, 0x4710, 0x8a, 0x58, 0xcb, 0x61,
            0x81, 0xc4, 0x24, 0x23);
DEFINE_GUID(CODECAPI_AVEncCommonQuality, 0xfcbf57a3, 0x7ea5, 0x4b0c, 0x96, 0x44, 0x69, 0xb4, 0x0c,
            0x39, 0xc3, 0x91);

enum eAVEncCommonRateControlMode {
    eAVEncCommonRateControlMode_CBR = 0,
    eAVEncCommonRateControlMode_PeakConstrainedVBR = 1,
    eAVEncCommonRateControlMode_UnconstrainedVBR = 2,
    eAVEncCommonRateControlMode_Quality = 3,
};
