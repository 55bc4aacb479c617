// Stands in until pictures can be brought to a palette.
#include "platform/linux/wic/IndexedRenderer.h"

namespace Vimbrel {

HRESULT RenderIndexed(BitmapSource&, UINT, UINT, IWICPalette*, bool, double, std::uint8_t*, std::size_t) { return E_NOTIMPL; }

}  // namespace Vimbrel
