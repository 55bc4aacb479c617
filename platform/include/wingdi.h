// Bitmap headers, cut to what video formats are described with. Inside the library only.
#pragma once

#include "windef.h"

inline constexpr DWORD BI_RGB = 0;

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;  // negative for rows that go top down
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
