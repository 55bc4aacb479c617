// The table of creatable classes.
#include <objbase.h>

#include <mmdeviceapi.h>
#include <uuids.h>
#include <wincodec.h>
#include <wmcodecdsp.h>

#include "filters/OutsideInterfaces.h"
#include "platform/linux/coreaudio/EndpointEnumerator.h"
#include "platform/linux/ds/device/Cameras.h"
#include "platform/linux/ds/device/DeviceEnumerator.h"
#include "platform/linux/ds/device/SoundDevices.h"
#include "platform/linux/ds/device/SoundOutputs.h"
#include "platform/linux/ds/file/AudioDecoder.h"
#include "platform/linux/ds/file/SplitterSource.h"
#include "platform/linux/ds/file/SubtitleFilter.h"
#include "platform/linux/ds/file/VideoDecoder.h"
#include "platform/linux/ds/graph/FilterGraph.h"
#include "platform/linux/ds/media/MemoryAllocator.h"
#include "platform/linux/mf/transform/AacEncoderTransform.h"
#include "platform/linux/mf/transform/ColorConverter.h"
#include "platform/linux/mf/transform/H264EncoderTransform.h"
#include "platform/linux/mf/transform/ResamplerTransform.h"
#include "platform/linux/wic/ImagingFactory.h"

namespace {

// The devices of each category.
constexpr Vimbrel::DeviceCategory categories[] = {
    {CLSID_VideoInputDeviceCategory, Vimbrel::ListCameras},
    {CLSID_AudioRendererCategory, Vimbrel::ListSoundOutputs},
    {CLSID_AudioInputDeviceCategory, Vimbrel::ListMicrophones},
};

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
    return Vimbrel::CreateDeviceEnumerator(categories, iid, object);
}

struct ClassEntry {
    GUID clsid;
    HRESULT (*create)(REFIID iid, void** object);
};

constexpr ClassEntry classes[] = {
    {CLSID_WICImagingFactory1, Vimbrel::CreateImagingFactory},
    {CLSID_WICImagingFactory2, Vimbrel::CreateImagingFactory},
    {CLSID_MMDeviceEnumerator, Vimbrel::CreateEndpointEnumerator},
    {CLSID_FilterGraph, Vimbrel::CreateFilterGraph},
    {CLSID_MemoryAllocator, Vimbrel::CreateMemoryAllocator},
    {Vimbrel::class_splitter_source, Vimbrel::CreateSplitterSource},
    {Vimbrel::class_audio_decoder, Vimbrel::CreateAudioDecoder},
    {Vimbrel::class_subtitle_filter, Vimbrel::CreateSubtitleFilter},
    {Vimbrel::class_video_decoder, Vimbrel::CreateVideoDecoder},
    {CLSID_SystemDeviceEnum, CreateDeviceEnumerator},
    {CLSID_CColorConvertDMO, Vimbrel::CreateColorConverter},
    {CLSID_CMSH264EncoderMFT, Vimbrel::CreateSoftwareH264Encoder},
    {CLSID_AACMFTEncoder, Vimbrel::CreateAacEncoder},
    {CLSID_CResamplerMediaObject, Vimbrel::CreateResampler},
};

}  // namespace

extern "C" {

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    for (const ClassEntry& entry : classes) {
        if (entry.clsid == clsid) return entry.create(iid, object);
    }
    return REGDB_E_CLASSNOTREG;
}

}  // extern "C"
