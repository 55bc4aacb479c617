// Bitmaps in plain memory, and a journal of what was drawn.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ScreenCapture/system/Gdi.h"

namespace Vimbrel::test {

class FakeGdi final : public Gdi {
public:
    HWND GetDesktopWindow() override { return nullptr; }
    HDC GetDC(HWND) override { return MakeContext(); }
    HDC GetWindowDC(HWND) override { return MakeContext(); }
    int ReleaseDC(HWND, HDC context) override { return DeleteDC(context); }
    HDC CreateCompatibleDC(HDC) override { return MakeContext(); }
    BOOL DeleteDC(HDC context) override { return static_cast<BOOL>(contexts.erase(context)); }
    int GetDeviceCaps(HDC, int) override { return dpi; }
    HBITMAP CreateDIBSection(HDC, const BITMAPINFO* info, void** bits) override {
        auto bitmap = std::make_unique<Bitmap>();
        bitmap->width = static_cast<int>(info->bmiHeader.biWidth);
        bitmap->height = static_cast<int>(-info->bmiHeader.biHeight);
        bitmap->image_size = info->bmiHeader.biSizeImage;
        bitmap->pixels.resize(static_cast<std::size_t>(bitmap->width * bitmap->height));
        *bits = bitmap->pixels.data();
        bitmaps.push_back(std::move(bitmap));
        return reinterpret_cast<HBITMAP>(bitmaps.back().get());
    }
    HGDIOBJ SelectObject(HDC context, HGDIOBJ object) override {
        contexts[context] = static_cast<Bitmap*>(object);
        return nullptr;
    }
    BOOL DeleteObject(HGDIOBJ object) override {
        std::erase_if(bitmaps, [&](const auto& bitmap) { return bitmap.get() == object; });
        return TRUE;
    }
    BOOL BitBlt(HDC to, int, int, int width, int height, HDC, int x, int y,
                DWORD operation) override {
        journal.push_back("BitBlt " + std::to_string(width) + "x" + std::to_string(height) + " " +
                          std::to_string(x) + "," + std::to_string(y) +
                          (operation & 0x40000000 ? " with layers" : "") + Onto(to));
        return Fill(to);
    }
    int SetStretchBltMode(HDC, int mode) override { return mode; }
    BOOL StretchBlt(HDC to, int, int, int width, int height, HDC, int, int, int from_width,
                    int from_height, DWORD) override {
        journal.push_back("StretchBlt " + std::to_string(from_width) + "x" +
                          std::to_string(from_height) + " to " + std::to_string(width) + "x" +
                          std::to_string(height));
        return Fill(to);
    }
    BOOL PrintWindow(HWND, HDC to, UINT flags) override {
        journal.push_back("PrintWindow " + std::to_string(flags) + Onto(to));
        return Fill(to);
    }
    BOOL GetCursorPos(POINT* position) override {
        *position = cursor;
        return TRUE;
    }
    BOOL GetCursorInfo(CURSORINFO* info) override {
        info->flags = cursor_flags;
        return TRUE;
    }
    BOOL GetIconInfo(HICON, ICONINFO* info) override {
        *info = {};
        info->xHotspot = 1;
        info->yHotspot = 2;
        void* bits = nullptr;
        BITMAPINFO one{};
        one.bmiHeader.biWidth = 1;
        one.bmiHeader.biHeight = -1;
        info->hbmMask = CreateDIBSection(nullptr, &one, &bits);
        info->hbmColor = CreateDIBSection(nullptr, &one, &bits);
        return TRUE;
    }
    BOOL DrawIcon(HDC, int x, int y, HICON) override {
        journal.push_back("DrawIcon " + std::to_string(x) + "," + std::to_string(y));
        return TRUE;
    }

    std::vector<std::string> TakeJournal() { return std::exchange(journal, {}); }

    struct Bitmap {
        int width = 0, height = 0;
        DWORD image_size = 0;
        std::vector<std::uint32_t> pixels;
    };

    int dpi = 96;
    std::uint32_t fill = 0x123456;  // what every copy gives
    POINT cursor{-1, -1};
    DWORD cursor_flags = 1;
    std::vector<std::unique_ptr<Bitmap>> bitmaps;  // alive
    std::map<HDC, Bitmap*> contexts;               // alive, with what is selected

private:
    HDC MakeContext() {
        const HDC context = reinterpret_cast<HDC>(++last_context);
        contexts[context] = nullptr;
        return context;
    }
    std::string Onto(HDC to) {
        const Bitmap* bitmap = contexts[to];
        return bitmap
                   ? " onto " + std::to_string(bitmap->width) + "x" + std::to_string(bitmap->height)
                   : " onto nothing";
    }
    BOOL Fill(HDC to) {
        if (Bitmap* bitmap = contexts[to])
            std::fill(bitmap->pixels.begin(), bitmap->pixels.end(), fill);
        return TRUE;
    }

    std::uintptr_t last_context = 0;
    std::vector<std::string> journal;
};

}  // namespace Vimbrel::test
