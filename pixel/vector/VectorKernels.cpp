// Compiles the vector code once per processor that it may run on. Only Highway's headers are used:
// which variant runs is chosen in KernelSelection.cpp, so that its library is needed nowhere.
#include "pixel/vector/VectorKernels.h"

#include "pixel/vector/Processors.h"
#include "pixel/vector/Targets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/vector/VectorKernels.cpp"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

// Highway's stand-ins without vectors have no part in this: there the reference is faster.
#if HWY_ARCH_X86 && (HWY_TARGET & (HWY_SCALAR | HWY_EMU128)) == 0

#include "pixel/vector/BgraToYuvRows-inl.h"
#include "pixel/vector/PackedRows-inl.h"
#include "pixel/vector/ResizeFloats-inl.h"
#include "pixel/vector/ResizeSixteenths-inl.h"
#include "pixel/vector/YuvRows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vimbrel::pixel::HWY_NAMESPACE {

constexpr Kernels VectorVariant(const char* name) {
    return {
        .name = name,
        .yuy2 = PackedYuvRow<studio_matrix, true>,
        .uyvy = PackedYuvRow<flat_matrix, false>,
        .nv12 = SemiplanarRows<studio_matrix>,
        .i420 = PlanarRows<flat_matrix>,
        .yv12 = PlanarRows<studio_matrix>,
        .copy = CopyRow,
        .expand = ExpandRow,
        .premultiply = PremultiplyRow,
        .copy_as_opaque = CopyAsOpaqueRow,
        .fill_alpha = FillAlphaRow,
        .resize = {FloatColumns, FloatRows},
        .resize_sixteenths = {SixteenthColumns, SixteenthRows},
        .resize_halved = HalveRow,
        .bgra_to_yuv = BgraToYuvRows,
    };
}

}  // namespace Vimbrel::pixel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

#if HWY_ONCE

namespace Vimbrel::pixel {
namespace {

#if HWY_ARCH_X86

constexpr Kernels avx512_kernels = N_AVX3::VectorVariant("avx512");
constexpr Kernels avx2_kernels = N_AVX2::VectorVariant("avx2");
constexpr Kernels sse4_kernels = N_SSE4::VectorVariant("sse4");

constexpr VectorKernels compiled[] = {
    {&avx512_kernels, HasAvx512}, {&avx2_kernels, HasAvx2}, {&sse4_kernels, HasSse4}};
static_assert(std::size(compiled) <= max_vector_kernels);

#else

constexpr std::span<const VectorKernels> compiled;

#endif

}  // namespace

std::span<const VectorKernels> CompiledVectorKernels() { return compiled; }

}  // namespace Vimbrel::pixel

#endif
