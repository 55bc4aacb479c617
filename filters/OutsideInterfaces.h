// Settings and figures of splitters and decoders. Their makers publish the interfaces; these have
// the same identifiers and slots, and only the operations that are called.
#pragma once

#include <type_traits>

#include "filters/FilterNames.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Slots differ by their parameters alone.
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

// `Base`, and so many slots behind it that nothing here calls.
template <class Base, int Count>
struct ReservedSlots : ReservedSlots<Base, Count - 1> {
    using ReservedSlots<Base, Count - 1>::Slot;
    virtual HRESULT STDMETHODCALLTYPE Slot(std::integral_constant<int, Count>, Base*) {
        return E_NOTIMPL;
    }
};
template <class Base>
struct ReservedSlots<Base, 0> : Base {
    void Slot();
};

// Slots 41 and 42. Milliseconds.
struct ISplitterSettings : ReservedSlots<IUnknown, 38> {
    virtual HRESULT STDMETHODCALLTYPE SetNetworkStreamAnalysisDuration(DWORD duration) = 0;
    virtual DWORD STDMETHODCALLTYPE GetNetworkStreamAnalysisDuration() = 0;
};
inline constexpr GUID iid_splitter_settings{
    0x774A919D, 0xEA95, 0x4A87, {0x8A, 0x1E, 0xF4, 0x8A, 0xBE, 0x84, 0x99, 0xC7}};

inline constexpr int output_rgb32 = 11;
inline constexpr int output_rgb24 = 12;

// Slots 11, 22 and 45.
struct IVideoDecoderFormats : ReservedSlots<IUnknown, 8> {
    virtual HRESULT STDMETHODCALLTYPE EnableOutputFormat(int format, BOOL on) = 0;
};
struct IVideoDecoderAcceleration : ReservedSlots<IVideoDecoderFormats, 10> {
    virtual int STDMETHODCALLTYPE GetHardwareAcceleration() = 0;
};
struct IVideoDecoderSettings : ReservedSlots<IVideoDecoderAcceleration, 22> {
    virtual HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL on) = 0;
};
inline constexpr GUID iid_video_decoder_settings{
    0xFA40D6E9, 0x4D38, 0x4761, {0xAD, 0xD2, 0x71, 0xA9, 0xEC, 0x5F, 0xD3, 0x2F}};

// Slots 17 and 36.
struct IAudioDecoderExpansion : ReservedSlots<IUnknown, 14> {
    virtual HRESULT STDMETHODCALLTYPE SetExpandMono(BOOL on) = 0;
};
struct IAudioDecoderSettings : ReservedSlots<IAudioDecoderExpansion, 18> {
    virtual HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL on) = 0;
};
inline constexpr GUID iid_audio_decoder_settings{
    0x4158A22B, 0x6553, 0x45D0, {0x80, 0x69, 0x24, 0x71, 0x6F, 0x8F, 0xF1, 0x71}};

// Slots 6 to 8.
struct IAudioDecoderStatus : ReservedSlots<IUnknown, 3> {
    virtual HRESULT STDMETHODCALLTYPE EnableVolumeStatistics() = 0;
    virtual HRESULT STDMETHODCALLTYPE DisableVolumeStatistics() = 0;
    // In decibels.
    virtual HRESULT STDMETHODCALLTYPE GetAverageVolume(WORD channel, float* volume) = 0;
};
inline constexpr GUID iid_audio_decoder_status{
    0xA668B8F2, 0xBA87, 0x4F63, {0x9D, 0x41, 0x76, 0x8F, 0x7D, 0xE9, 0xC5, 0x0E}};

// Of a splitter's output pin, in bits per second.
struct IBitRateInfo : IUnknown {
    virtual DWORD STDMETHODCALLTYPE GetCurrentBitRate() = 0;
    virtual DWORD STDMETHODCALLTYPE GetAverageBitRate() = 0;
};
inline constexpr GUID iid_bit_rate_info{
    0xEB2CD9E6, 0xBA08, 0x4ACB, {0xAA, 0x0F, 0x3D, 0x8D, 0x0D, 0xD5, 0x21, 0xCA}};
#pragma GCC diagnostic pop

inline constexpr CLSID class_splitter_source{
    0xB98D13E7, 0x55DB, 0x4385, {0xA3, 0x3D, 0x09, 0xFD, 0x1B, 0xA2, 0x63, 0x38}};
inline constexpr CLSID class_splitter{
    0x171252A0, 0x8820, 0x4AFE, {0x9D, 0xF8, 0x5C, 0x92, 0xB2, 0xD6, 0x6B, 0x04}};
inline constexpr CLSID class_video_decoder{
    0xEE30215D, 0x164F, 0x4A92, {0xA4, 0xEB, 0x9D, 0x4C, 0x13, 0x39, 0x0F, 0x9F}};
inline constexpr CLSID class_audio_decoder{
    0xE8E73B6B, 0x4CB3, 0x44A4, {0xBE, 0x99, 0x4F, 0x7B, 0xCB, 0x96, 0xE4, 0x91}};
inline constexpr CLSID class_subtitle_filter{
    0x9852A670, 0xF845, 0x491B, {0x9B, 0xE6, 0xEB, 0xD8, 0x41, 0xB8, 0xA6, 0x13}};

}  // namespace Vimbrel
