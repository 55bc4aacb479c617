#include "layers/Desktop.h"

#include <algorithm>
#include <cstdio>

#include "scene/WideText.h"

namespace studio {

namespace {

struct Output {
    std::string name;
    Rect area;
    bool primary = false;
};

// A failure's length is below 0.
std::wstring_view Text(const wchar_t* text, int length) {
    return {text, static_cast<std::size_t>(std::max(length, 0))};
}

BOOL CALLBACK AddOutput(HMONITOR monitor, HDC, RECT* place, LPARAM list) {
    MONITORINFOEXW info{};
    info.cbSize = sizeof info;
    GetMonitorInfoW(monitor, &info);
    Output output;
    output.area = {place->left, place->top, place->right - place->left, place->bottom - place->top};
    output.primary = (info.dwFlags & MONITORINFOF_PRIMARY) != 0;
    output.name = Narrow(info.szDevice);
    reinterpret_cast<std::vector<Output>*>(list)->push_back(output);
    return TRUE;
}

std::vector<Output> ListOutputs() {
    std::vector<Output> outputs;
    EnumDisplayMonitors(nullptr, nullptr, AddOutput, reinterpret_cast<LPARAM>(&outputs));
    return outputs;
}

DesktopWindow Describe(HWND handle) {
    DesktopWindow window;
    window.handle = handle;
    RECT client{};
    GetClientRect(handle, &client);
    window.width = client.right;
    window.height = client.bottom;
    window.minimised = IsIconic(handle) != FALSE;
    wchar_t text[512];
    window.title =
        Narrow(Text(text, GetWindowTextW(handle, text, static_cast<int>(std::size(text)))));
    window.window_class =
        Narrow(Text(text, GetClassNameW(handle, text, static_cast<int>(std::size(text)))));
    return window;
}

BOOL CALLBACK AddWindow(HWND handle, LPARAM list) {
    reinterpret_cast<std::vector<DesktopWindow>*>(list)->push_back(Describe(handle));
    return TRUE;
}

// Programs choose their titles: they are neither to break the list's lines nor to command the
// terminal.
std::string Printable(std::string text) {
    const auto is_control = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), is_control, ' ');
    return text;
}

unsigned long long NumberOf(HWND handle) {
    return static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle));
}

}  // namespace

std::vector<DesktopWindow> ListWindows() {
    std::vector<DesktopWindow> windows;
    EnumWindows(AddWindow, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

std::optional<DesktopWindow> FindWindow(const WindowDescription& wanted) {
    if (wanted.number) {
        const DesktopWindow window =
            Describe(reinterpret_cast<HWND>(static_cast<std::uintptr_t>(*wanted.number)));
        return window.width > 0 ? std::optional(window) : std::nullopt;
    }
    const std::vector<DesktopWindow> windows = ListWindows();
    const auto find = [&](const auto& matches) {
        const auto found = std::find_if(windows.begin(), windows.end(), matches);
        return found == windows.end() ? std::nullopt : std::optional(*found);
    };
    if (!wanted.window_class.empty())
        return find([&](const DesktopWindow& window) {
            return window.window_class == wanted.window_class;
        });
    const auto exact =
        find([&](const DesktopWindow& window) { return window.title == wanted.title; });
    return exact ? exact : find([&](const DesktopWindow& window) {
        return window.title.find(wanted.title) != std::string::npos;
    });
}

std::optional<Rect> DesktopArea() {
    const std::vector<Output> outputs = ListOutputs();
    if (outputs.empty()) return std::nullopt;
    Rect all = outputs[0].area;
    for (const Output& output : outputs) {
        const int right = std::max(all.x + all.width, output.area.x + output.area.width);
        const int bottom = std::max(all.y + all.height, output.area.y + output.area.height);
        all.x = std::min(all.x, output.area.x);
        all.y = std::min(all.y, output.area.y);
        all.width = right - all.x;
        all.height = bottom - all.y;
    }
    return all;
}

std::optional<Rect> PrimaryArea() {
    const std::vector<Output> outputs = ListOutputs();
    for (const Output& output : outputs) {
        if (output.primary) return output.area;
    }
    return outputs.empty() ? std::nullopt : std::optional(outputs[0].area);
}

std::string AreaText(const Rect& area) {
    return std::to_string(area.width) + "x" + std::to_string(area.height) + " at " +
           std::to_string(area.x) + "," + std::to_string(area.y);
}

bool PrintScreens() {
    const std::vector<Output> outputs = ListOutputs();
    for (const Output& output : outputs) {
        std::printf("%-12s %s%s\n", output.name.c_str(), AreaText(output.area).c_str(),
                    output.primary ? " (primary)" : "");
    }
    return !outputs.empty();
}

bool PrintWindows() {
    if (!DesktopArea()) return false;
    for (const DesktopWindow& window : ListWindows()) {
        std::printf("0x%-10llx %5dx%-5d %-20s %s%s\n", NumberOf(window.handle), window.width,
                    window.height, Printable(window.window_class).c_str(),
                    Printable(window.title).c_str(), window.minimised ? " (minimised)" : "");
    }
    return true;
}

}  // namespace studio
