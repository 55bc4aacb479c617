// Result codes: negative is failure.
#pragma once

#include "windef.h"

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)

inline constexpr HRESULT VimbrelResult(std::uint32_t code) { return static_cast<HRESULT>(code); }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = VimbrelResult(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = VimbrelResult(0x80004002u);
inline constexpr HRESULT E_POINTER = VimbrelResult(0x80004003u);
inline constexpr HRESULT E_ABORT = VimbrelResult(0x80004004u);
inline constexpr HRESULT E_FAIL = VimbrelResult(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = VimbrelResult(0x8000FFFFu);
inline constexpr HRESULT E_ACCESSDENIED = VimbrelResult(0x80070005u);
inline constexpr HRESULT E_OUTOFMEMORY = VimbrelResult(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = VimbrelResult(0x80070057u);

inline constexpr HRESULT DISP_E_TYPEMISMATCH = VimbrelResult(0x80020005u);
inline constexpr HRESULT DISP_E_BADVARTYPE = VimbrelResult(0x80020008u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = VimbrelResult(0x80040110u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = VimbrelResult(0x80040154u);
inline constexpr HRESULT CO_E_NOTINITIALIZED = VimbrelResult(0x800401F0u);
inline constexpr HRESULT RPC_E_CHANGED_MODE = VimbrelResult(0x80010106u);

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_TIMEOUT = 1460;

// A code of the system's error list as a result code.
inline constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
    return error == 0 ? S_OK : VimbrelResult((error & 0xFFFFu) | 0x80070000u);
}

// Screens and devices.
inline constexpr HRESULT DXGI_ERROR_INVALID_CALL = VimbrelResult(0x887A0001u);
inline constexpr HRESULT DXGI_ERROR_NOT_FOUND = VimbrelResult(0x887A0002u);
inline constexpr HRESULT DXGI_ERROR_MORE_DATA = VimbrelResult(0x887A0003u);
inline constexpr HRESULT DXGI_ERROR_UNSUPPORTED = VimbrelResult(0x887A0004u);
inline constexpr HRESULT DXGI_ERROR_ACCESS_LOST = VimbrelResult(0x887A0026u);
inline constexpr HRESULT DXGI_ERROR_WAIT_TIMEOUT = VimbrelResult(0x887A0027u);

// Imaging.
inline constexpr HRESULT WINCODEC_ERR_WRONGSTATE = VimbrelResult(0x88982F04u);
inline constexpr HRESULT WINCODEC_ERR_VALUEOUTOFRANGE = VimbrelResult(0x88982F05u);
inline constexpr HRESULT WINCODEC_ERR_UNKNOWNIMAGEFORMAT = VimbrelResult(0x88982F07u);
inline constexpr HRESULT WINCODEC_ERR_NOTINITIALIZED = VimbrelResult(0x88982F0Cu);
inline constexpr HRESULT WINCODEC_ERR_PROPERTYNOTFOUND = VimbrelResult(0x88982F40u);
inline constexpr HRESULT WINCODEC_ERR_CODECTOOMANYSCANLINES = VimbrelResult(0x88982F46u);
inline constexpr HRESULT WINCODEC_ERR_SOURCERECTDOESNOTMATCHDIMENSIONS = VimbrelResult(0x88982F49u);
inline constexpr HRESULT WINCODEC_ERR_PALETTEUNAVAILABLE = VimbrelResult(0x88982F45u);
inline constexpr HRESULT WINCODEC_ERR_IMAGESIZEOUTOFRANGE = VimbrelResult(0x88982F51u);
inline constexpr HRESULT WINCODEC_ERR_COMPONENTNOTFOUND = VimbrelResult(0x88982F50u);
inline constexpr HRESULT WINCODEC_ERR_BADIMAGE = VimbrelResult(0x88982F60u);
inline constexpr HRESULT WINCODEC_ERR_BADHEADER = VimbrelResult(0x88982F61u);
inline constexpr HRESULT WINCODEC_ERR_FRAMEMISSING = VimbrelResult(0x88982F62u);
inline constexpr HRESULT WINCODEC_ERR_BADMETADATAHEADER = VimbrelResult(0x88982F63u);
inline constexpr HRESULT WINCODEC_ERR_BADSTREAMDATA = VimbrelResult(0x88982F70u);
inline constexpr HRESULT WINCODEC_ERR_STREAMWRITE = VimbrelResult(0x88982F71u);
inline constexpr HRESULT WINCODEC_ERR_STREAMREAD = VimbrelResult(0x88982F72u);
inline constexpr HRESULT WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT = VimbrelResult(0x88982F80u);
inline constexpr HRESULT WINCODEC_ERR_UNSUPPORTEDOPERATION = VimbrelResult(0x88982F81u);
inline constexpr HRESULT WINCODEC_ERR_INSUFFICIENTBUFFER = VimbrelResult(0x88982F8Cu);
inline constexpr HRESULT WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE = VimbrelResult(0x88982F8Eu);
inline constexpr HRESULT WINCODEC_ERR_INVALIDQUERYREQUEST = VimbrelResult(0x88982F90u);
inline constexpr HRESULT WINCODEC_ERR_UNEXPECTEDMETADATATYPE = VimbrelResult(0x88982F91u);
inline constexpr HRESULT WINCODEC_ERR_WIN32ERROR = VimbrelResult(0x88982F94u);
