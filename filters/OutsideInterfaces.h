// Settings and status of the splitter and decoders that a media graph uses. Where these filters
// come from outside, only the named operations may be called: the others have a slot but no
// signature.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include "filters/FilterNames.h"

namespace Vimbrel {

template <int Number>
struct Slot {};

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Each reserved operation has its own argument, so that none overrides another.
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

// Operations `First` to `Last` of a table, which are never called.
template <class Base, int First, int Last>
struct ReservedSlots : ReservedSlots<Base, First, Last - 1> {
    virtual HRESULT STDMETHODCALLTYPE Reserved(Slot<Last>) { return E_NOTIMPL; }
};

template <class Base, int First>
struct ReservedSlots<Base, First, First> : Base {
    virtual HRESULT STDMETHODCALLTYPE Reserved(Slot<First>) { return E_NOTIMPL; }
};

struct ISplitterSettings : ReservedSlots<IUnknown, 3, 40> {
    // How much of a network stream is analysed before it plays, in milliseconds.
    virtual HRESULT STDMETHODCALLTYPE SetNetworkStreamAnalysisDuration(DWORD duration) = 0;
    virtual DWORD STDMETHODCALLTYPE GetNetworkStreamAnalysisDuration() = 0;
};

inline constexpr int pixel_format_rgb32 = 11;
inline constexpr int pixel_format_rgb24 = 12;

struct IVideoDecoderFormats : ReservedSlots<IUnknown, 3, 10> {
    virtual HRESULT STDMETHODCALLTYPE SetPixelFormat(int format, BOOL enabled) = 0;
};

struct IVideoDecoderHardware : ReservedSlots<IVideoDecoderFormats, 12, 21> {
    // The mode of hardware acceleration, 0 for none.
    virtual int STDMETHODCALLTYPE GetHWAccel() = 0;
};

struct IVideoDecoderSettings : ReservedSlots<IVideoDecoderHardware, 23, 44> {
    virtual HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL enabled) = 0;
};

struct IAudioDecoderMixing : ReservedSlots<IUnknown, 3, 16> {
    virtual HRESULT STDMETHODCALLTYPE SetExpandMono(BOOL enabled) = 0;
};

struct IAudioDecoderSettings : ReservedSlots<IAudioDecoderMixing, 18, 35> {
    virtual HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL enabled) = 0;
};

struct IAudioDecoderStatus : ReservedSlots<IUnknown, 3, 5> {
    virtual HRESULT STDMETHODCALLTYPE EnableVolumeStats() = 0;
    virtual HRESULT STDMETHODCALLTYPE DisableVolumeStats() = 0;
    // Fails while the statistics are off, and for a channel that there is not.
    virtual HRESULT STDMETHODCALLTYPE GetChannelVolumeAverage(WORD channel, float* decibels) = 0;
};

// Of an output pin of the splitter; bits per second.
struct IStreamBitrate : IUnknown {
    virtual DWORD STDMETHODCALLTYPE GetCurrentBitrate() = 0;
    virtual DWORD STDMETHODCALLTYPE GetAverageBitrate() = 0;
};
#pragma GCC diagnostic pop

inline constexpr IID iid_splitter_settings{
    0x774A919D, 0xEA95, 0x4A87, {0x8A, 0x1E, 0xF4, 0x8A, 0xBE, 0x84, 0x99, 0xC7}};
inline constexpr IID iid_video_decoder_settings{
    0xFA40D6E9, 0x4D38, 0x4761, {0xAD, 0xD2, 0x71, 0xA9, 0xEC, 0x5F, 0xD3, 0x2F}};
inline constexpr IID iid_audio_decoder_settings{
    0x4158A22B, 0x6553, 0x45D0, {0x80, 0x69, 0x24, 0x71, 0x6F, 0x8F, 0xF1, 0x71}};
inline constexpr IID iid_audio_decoder_status{
    0xA668B8F2, 0xBA87, 0x4F63, {0x9D, 0x41, 0x76, 0x8F, 0x7D, 0xE9, 0xC5, 0x0E}};
inline constexpr IID iid_stream_bitrate{
    0xEB2CD9E6, 0xBA08, 0x4ACB, {0xAA, 0x0F, 0x3D, 0x8D, 0x0D, 0xD5, 0x21, 0xCA}};

inline constexpr CLSID splitter_source_class{
    0xB98D13E7, 0x55DB, 0x4385, {0xA3, 0x3D, 0x09, 0xFD, 0x1B, 0xA2, 0x63, 0x38}};
inline constexpr CLSID splitter_class{
    0x171252A0, 0x8820, 0x4AFE, {0x9D, 0xF8, 0x5C, 0x92, 0xB2, 0xD6, 0x6B, 0x04}};
inline constexpr CLSID video_decoder_class{
    0xEE30215D, 0x164F, 0x4A92, {0xA4, 0xEB, 0x9D, 0x4C, 0x13, 0x39, 0x0F, 0x9F}};
inline constexpr CLSID audio_decoder_class{
    0xE8E73B6B, 0x4CB3, 0x44A4, {0xBE, 0x99, 0x4F, 0x7B, 0xCB, 0x96, 0xE4, 0x91}};
inline constexpr CLSID subtitle_filter_class{
    0x9852A670, 0xF845, 0x491B, {0x9B, 0xE6, 0xEB, 0xD8, 0x41, 0xB8, 0xA6, 0x13}};

// Major type of subtitle streams.
inline constexpr GUID media_type_subtitle{
    0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};

}  // namespace Vimbrel
