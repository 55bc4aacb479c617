// Filters from files beside the program, and the video decoder that both kinds of graph use.
#pragma once

#include <string>

#include "com/ComPtr.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// The program's own folder with `name` appended; backslashes separate folders.
std::wstring PathBesideProgram(const wchar_t* name);

// Makes a filter of a library's class without registering it. The library stays loaded for the life
// of the process: nothing tells when its last object is gone.
HRESULT LoadFilterFromFile(const std::wstring& path, REFCLSID clsid, ComPtr<IBaseFilter>& filter);

// From the file, or else the registered one; failures are logged. Null without both. Its settings
// are made: RGB output, and its icon while the Ctrl key is held, a developer's aid.
ComPtr<IBaseFilter> CreateVideoDecoder(const std::wstring& path);

// Whether the Ctrl key is held at this moment.
bool IsControlKeyHeld();

}  // namespace Vimbrel
