// Stands in until the stills are built.
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

HRESULT CreateStillDecoder(const std::string&, IWICBitmapDecoder** decoder) { return *decoder = nullptr, E_NOTIMPL; }
HRESULT CreateFormatConverter(IWICFormatConverter** converter) { return *converter = nullptr, E_NOTIMPL; }
HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler) { return *scaler = nullptr, E_NOTIMPL; }
HRESULT CreateBitmap(UINT, UINT, UINT, UINT, const BYTE*, IWICBitmap** bitmap) { return *bitmap = nullptr, E_NOTIMPL; }

}  // namespace Vimbrel
