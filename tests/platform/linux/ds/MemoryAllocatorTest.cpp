#include "platform/linux/ds/media/MemoryAllocator.h"

#include <gtest/gtest.h>

#include <thread>

#include "filters/MediaType.h"
#include "tests/support/AllocationCounter.h"

namespace Vimbrel::test {
namespace {

ComPtr<MemoryAllocator> Make(ALLOCATOR_PROPERTIES wanted) {
    auto allocator = MakeCom<MemoryAllocator>();
    ALLOCATOR_PROPERTIES actual{};
    EXPECT_EQ(allocator->SetProperties(&wanted, &actual), S_OK);
    return allocator;
}

TEST(MemoryAllocator, SamplesAreAlignedApartAndUsedAgainWithoutAnAllocation) {
    const auto allocator = Make({3, 100, 32, 16});
    ComPtr<IMediaSample> samples[3];
    EXPECT_EQ(allocator->GetBuffer(samples[0].Put(), nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(allocator->Commit(), S_OK);
    BYTE* data[3] = {};
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(allocator->GetBuffer(samples[i].Put(), nullptr, nullptr, 0), S_OK);
        samples[i]->GetPointer(&data[i]);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data[i]) % 32, 0u);
        std::fill_n(data[i] - 16, 116, static_cast<BYTE>(i));
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(data[i][-16], i);
        EXPECT_EQ(data[i][99], i);
    }
    ComPtr<IMediaSample> more;
    EXPECT_EQ(allocator->GetBuffer(more.Put(), nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
    REFERENCE_TIME start = 5;
    samples[1]->SetTime(&start, &start);
    CMediaType type;
    samples[1]->SetMediaType(&type);
    EXPECT_EQ(samples[1]->SetActualDataLength(101), VFW_E_BUFFER_OVERFLOW);
    const std::uint64_t before = AllocationCount();
    for (int i = 0; i < 100; ++i) {
        samples[1].Reset();
        ASSERT_EQ(allocator->GetBuffer(samples[1].Put(), nullptr, nullptr, 0), S_OK);
    }
    EXPECT_EQ(AllocationCount(), before);
    REFERENCE_TIME end = 0;
    AM_MEDIA_TYPE* found = nullptr;
    EXPECT_EQ(samples[1]->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET) << "nothing stays";
    EXPECT_EQ(samples[1]->GetMediaType(&found), S_FALSE);
    EXPECT_EQ(samples[1]->GetActualDataLength(), 100);
}

TEST(MemoryAllocator, DecommitFreesWaitersAndMemoryLastsUntilTheLastSample) {
    auto allocator = Make({1, 100, 1, 0});
    allocator->Commit();
    ComPtr<IMediaSample> sample;
    ASSERT_EQ(allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0), S_OK);
    HRESULT waited = S_OK;
    std::thread waiter([&] {
        ComPtr<IMediaSample> next;
        waited = allocator->GetBuffer(next.Put(), nullptr, nullptr, 0);
    });
    ALLOCATOR_PROPERTIES wanted{2, 200, 1, 0};
    EXPECT_EQ(allocator->SetProperties(&wanted, &wanted), VFW_E_ALREADY_COMMITTED);
    allocator->Decommit();
    waiter.join();
    EXPECT_EQ(waited, VFW_E_NOT_COMMITTED);
    EXPECT_EQ(allocator->SetProperties(&wanted, &wanted), VFW_E_BUFFERS_OUTSTANDING);
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    allocator.Reset();
    data[99] = 1;  // the sample keeps all that it needs
    sample.Reset();
}

TEST(MemoryAllocator, RefusesWhatItCannotGive) {
    auto allocator = MakeCom<MemoryAllocator>();
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    ALLOCATOR_PROPERTIES actual{};
    for (ALLOCATOR_PROPERTIES bad :
         {ALLOCATOR_PROPERTIES{1, 1, 0, 0}, {1, 1, 3, 0}, {0, 1, 1, 0}, {1, -1, 1, 0}})
        EXPECT_LT(allocator->SetProperties(&bad, &actual), 0);
}

}  // namespace
}  // namespace Vimbrel::test
