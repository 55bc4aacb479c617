#include "filters/OutsideInterfaces.h"

#include <gtest/gtest.h>

namespace Vimbrel::test {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
template <class Interface>
struct Counted : Interface {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};
struct Splitter final : Counted<ISplitterSettings> {
    HRESULT STDMETHODCALLTYPE SetNetworkStreamAnalysisDuration(DWORD) override { return 41; }
    DWORD STDMETHODCALLTYPE GetNetworkStreamAnalysisDuration() override { return 42; }
};
struct Video final : Counted<IVideoDecoderSettings> {
    HRESULT STDMETHODCALLTYPE EnableOutputFormat(int, BOOL) override { return 11; }
    int STDMETHODCALLTYPE GetHardwareAcceleration() override { return 22; }
    HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL) override { return 45; }
};
struct Sound final : Counted<IAudioDecoderSettings> {
    HRESULT STDMETHODCALLTYPE SetExpandMono(BOOL) override { return 17; }
    HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL) override { return 36; }
};
struct Status final : Counted<IAudioDecoderStatus> {
    HRESULT STDMETHODCALLTYPE EnableVolumeStatistics() override { return 6; }
    HRESULT STDMETHODCALLTYPE DisableVolumeStatistics() override { return 7; }
    HRESULT STDMETHODCALLTYPE GetAverageVolume(WORD, float*) override { return 8; }
};
struct BitRate final : Counted<IBitRateInfo> {
    DWORD STDMETHODCALLTYPE GetCurrentBitRate() override { return 3; }
    DWORD STDMETHODCALLTYPE GetAverageBitRate() override { return 4; }
};
#pragma GCC diagnostic pop

// The operation of a slot, as a caller that knows only the table finds it. Each returns its number,
// whatever it is given.
HRESULT CallSlot(IUnknown& object, int slot) {
    using Operation = HRESULT(STDMETHODCALLTYPE*)(void*, std::intptr_t, std::intptr_t);
    void* const* const table = *reinterpret_cast<void* const* const*>(&object);
    return reinterpret_cast<Operation>(table[slot])(&object, 0, 0);
}

TEST(OutsideInterfaces, OperationsStandInTheirPublishedSlots) {
    Splitter splitter;
    Video video;
    Sound sound;
    Status status;
    BitRate bit_rate;
    for (const int slot : {41, 42}) EXPECT_EQ(CallSlot(splitter, slot), slot);
    for (const int slot : {11, 22, 45}) EXPECT_EQ(CallSlot(video, slot), slot);
    for (const int slot : {17, 36}) EXPECT_EQ(CallSlot(sound, slot), slot);
    for (const int slot : {6, 7, 8}) EXPECT_EQ(CallSlot(status, slot), slot);
    for (const int slot : {3, 4}) EXPECT_EQ(CallSlot(bit_rate, slot), slot);
    EXPECT_EQ(CallSlot(video, 44), E_NOTIMPL) << "a slot that nothing here calls";
}

}  // namespace
}  // namespace Vimbrel::test
