// The names of transforms and encoders of platform/include against the published values, as
// Names.cpp has it for the others.
#include <windows.h>

#include <mmreg.h>
#include <oaidl.h>
#include <objbase.h>
#include <propidl.h>
#include <strmif.h>

// The headers declare their identifiers through these macros; as constant expressions they can be
// compared here.
#undef DEFINE_GUID
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
#undef EXTERN_GUID
#define EXTERN_GUID DEFINE_GUID
#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>
#include <wmcodecdsp.h>

#include "NameChecks.h"

namespace {

INTERFACE_IS(IMFTransform, 0xbf94c121, 0x5b05, 0x4e6f, 0x80, 0x00, 0xba, 0x59, 0x89, 0x61, 0x41,
             0x4d);
INTERFACE_IS(IMFActivate, 0x7fee9e9a, 0x4a89, 0x47a6, 0x89, 0x9c, 0xb6, 0xa5, 0x3a, 0x70, 0xfb,
             0x67);
INTERFACE_IS(IMFCollection, 0x5bc8a76b, 0x869a, 0x46a3, 0x9b, 0x03, 0xfa, 0x21, 0x8a, 0x66, 0xae,
             0xbe);
INTERFACE_IS(ICodecAPI, 0x901db4c7, 0x31ce, 0x41a2, 0x85, 0xdc, 0x8f, 0xa0, 0xbf, 0x41, 0xb8, 0xda);
GUID_IS(CLSID_CColorConvertDMO, 0x98230571, 0x0087, 0x4204, 0xb0, 0x20, 0x32, 0x82, 0x53, 0x8e,
        0x57, 0xd3);
GUID_IS(CLSID_CMSH264EncoderMFT, 0x6ca50344, 0x051a, 0x4ded, 0x97, 0x79, 0xa4, 0x33, 0x05, 0x16,
        0x5e, 0x35);
GUID_IS(CLSID_AACMFTEncoder, 0x93af0c51, 0x2275, 0x45d2, 0xa3, 0x5b, 0xf2, 0xba, 0x21, 0xca, 0xed,
        0x00);
GUID_IS(CLSID_CResamplerMediaObject, 0xf447b69e, 0x1884, 0x4a7e, 0x80, 0x55, 0x34, 0x6f, 0x74, 0xd6,
        0xed, 0xb3);
GUID_IS(CODECAPI_AVEncCommonRateControlMode, 0x1c0608e9, 0x370c, 0x4710, 0x8a, 0x58, 0xcb, 0x61,
        0x81, 0xc4, 0x24, 0x23);
GUID_IS(CODECAPI_AVEncCommonQuality, 0xfcbf57a3, 0x7ea5, 0x4b0c, 0x96, 0x44, 0x69, 0xb4, 0x0c, 0x39,
        0xc3, 0x91);
GUID_IS(MFT_CATEGORY_VIDEO_ENCODER, 0xf79eac7d, 0xe545, 0x4387, 0xbd, 0xee, 0xd6, 0x47, 0xd7, 0xbd,
        0xe4, 0x2a);
GUID_IS(MF_TRANSFORM_ASYNC, 0xf81a699a, 0x649a, 0x497d, 0x8c, 0x73, 0x29, 0xf8, 0xfe, 0xd6, 0xad,
        0x7a);
GUID_IS(MF_TRANSFORM_ASYNC_UNLOCK, 0xe5666d6b, 0x3422, 0x4eb6, 0xa4, 0x21, 0xda, 0x7d, 0xb1, 0xf8,
        0xe2, 0x07);
GUID_IS(MF_TRANSFORM_FLAGS_Attribute, 0x9359bb7e, 0x6275, 0x46c4, 0xa0, 0x25, 0x1c, 0x01, 0xe4,
        0x5f, 0x1a, 0x86);
GUID_IS(MFT_FRIENDLY_NAME_Attribute, 0x314ffbae, 0x5b41, 0x4c95, 0x9c, 0x19, 0x4e, 0x7d, 0x58, 0x6f,
        0xac, 0xe3);
GUID_IS(MF_MT_MPEG2_LEVEL, 0x96f66574, 0x11c5, 0x4015, 0x86, 0x66, 0xbf, 0xf5, 0x16, 0x43, 0x6d,
        0xa7);
GUID_IS(MF_MT_MAX_KEYFRAME_SPACING, 0xc16eb52b, 0x73a1, 0x476f, 0x8d, 0x62, 0x83, 0x9d, 0x6a, 0x02,
        0x06, 0x52);
GUID_IS(MF_MT_ORIGINAL_4CC, 0xd7be3fe0, 0x2bc7, 0x492d, 0xb8, 0x43, 0x61, 0xa1, 0x91, 0x9b, 0x70,
        0xc3);
GUID_IS(MF_MT_MPEG_SEQUENCE_HEADER, 0x3c036de7, 0x3ad0, 0x4c9e, 0x92, 0x16, 0xee, 0x6d, 0x6a, 0xc2,
        0x1c, 0xb3);
GUID_IS(MFSampleExtension_CleanPoint, 0x9cdf01d8, 0xa0f0, 0x43ba, 0xb0, 0x77, 0xea, 0xa0, 0x6c,
        0xbd, 0x72, 0x8a);
GUID_IS(MFSampleExtension_DecodeTimestamp, 0x73a954d4, 0x09e2, 0x4861, 0xbe, 0xfc, 0x94, 0xbd, 0x97,
        0xc0, 0x8e, 0x6e);
GUID_IS(MFVideoFormat_NV12, 0x3231564e, 0x0000, 0x0010, 0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b,
        0x71);

RESULT_IS(MF_E_TRANSFORM_TYPE_NOT_SET, 0xC00D6D60u);
RESULT_IS(MF_E_TRANSFORM_STREAM_CHANGE, 0xC00D6D61u);
RESULT_IS(MF_E_TRANSFORM_NEED_MORE_INPUT, 0xC00D6D72u);
RESULT_IS(MF_E_TRANSFORM_ASYNC_LOCKED, 0xC00D6D77u);

VALUE_IS(METransformNeedInput, 601);
VALUE_IS(METransformHaveOutput, 602);
VALUE_IS(METransformDrainComplete, 603);
VALUE_IS(MFT_MESSAGE_COMMAND_FLUSH, 0x0);
VALUE_IS(MFT_MESSAGE_COMMAND_DRAIN, 0x1);
VALUE_IS(MFT_MESSAGE_SET_D3D_MANAGER, 0x2);
VALUE_IS(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0x10000000);
VALUE_IS(MFT_MESSAGE_NOTIFY_END_STREAMING, 0x10000001);
VALUE_IS(MFT_MESSAGE_NOTIFY_END_OF_STREAM, 0x10000002);
VALUE_IS(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0x10000003);
VALUE_IS(MFT_MESSAGE_COMMAND_MARKER, 0x20000000);
VALUE_IS(MFT_OUTPUT_STREAM_WHOLE_SAMPLES, 0x1);
VALUE_IS(MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER, 0x2);
VALUE_IS(MFT_OUTPUT_STREAM_FIXED_SAMPLE_SIZE, 0x4);
VALUE_IS(MFT_OUTPUT_STREAM_PROVIDES_SAMPLES, 0x100);
VALUE_IS(MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES, 0x200);
VALUE_IS(MFT_ENUM_FLAG_SYNCMFT, 0x1);
VALUE_IS(MFT_ENUM_FLAG_ASYNCMFT, 0x2);
VALUE_IS(MFT_ENUM_FLAG_HARDWARE, 0x4);
VALUE_IS(MFT_ENUM_FLAG_LOCALMFT, 0x10);
VALUE_IS(MFT_ENUM_FLAG_TRANSCODE_ONLY, 0x20);
VALUE_IS(MFT_ENUM_FLAG_SORTANDFILTER, 0x40);
VALUE_IS(eAVEncCommonRateControlMode_CBR, 0);
VALUE_IS(eAVEncCommonRateControlMode_PeakConstrainedVBR, 1);
VALUE_IS(eAVEncCommonRateControlMode_UnconstrainedVBR, 2);
VALUE_IS(eAVEncCommonRateControlMode_Quality, 3);
VALUE_IS(VT_UI4, 19);

SIZE_IS(MFT_MESSAGE_TYPE, 4);
SIZE_IS(ULONG_PTR, 8);
SIZE_IS(MFT_INPUT_STREAM_INFO, 24);
OFFSET_IS(MFT_INPUT_STREAM_INFO, cbAlignment, 20);
SIZE_IS(MFT_OUTPUT_STREAM_INFO, 12);
OFFSET_IS(MFT_OUTPUT_STREAM_INFO, cbAlignment, 8);
SIZE_IS(MFT_OUTPUT_DATA_BUFFER, 32);
OFFSET_IS(MFT_OUTPUT_DATA_BUFFER, pSample, 8);
OFFSET_IS(MFT_OUTPUT_DATA_BUFFER, dwStatus, 16);
OFFSET_IS(MFT_OUTPUT_DATA_BUFFER, pEvents, 24);
SIZE_IS(MFT_REGISTER_TYPE_INFO, 32);
OFFSET_IS(MFT_REGISTER_TYPE_INFO, guidSubtype, 16);
SIZE_IS(VARIANT, 24);
OFFSET_IS(VARIANT, ulVal, 8);
OFFSET_IS(VARIANT, llVal, 8);
SIZE_IS(WAVEFORMATEX, 18);
OFFSET_IS(WAVEFORMATEX, cbSize, 16);
}  // namespace
