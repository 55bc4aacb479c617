// Stands in until GIF reading and writing are built.
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

HRESULT CreateGifDecoder(const std::string&, IWICBitmapDecoder** decoder) { return *decoder = nullptr, E_NOTIMPL; }
HRESULT CreateGifEncoder(IWICBitmapEncoder** encoder) { return *encoder = nullptr, E_NOTIMPL; }
HRESULT CreatePalette(IWICPalette** palette) { return *palette = nullptr, E_NOTIMPL; }
HRESULT CreateFileStream(IWICStream** stream) { return *stream = nullptr, E_NOTIMPL; }

}  // namespace Vimbrel
