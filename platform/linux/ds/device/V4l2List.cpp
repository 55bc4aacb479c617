// The capture devices of the system and their lasting names.
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "platform/linux/ds/device/V4l2Node.h"

namespace Vimbrel {

namespace {

namespace fs = std::filesystem;

// The files of a folder in the order of their names; none if it cannot be read.
std::vector<fs::path> FilesOf(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    fs::directory_iterator each(folder, error);
    for (; !error && each != fs::directory_iterator(); each.increment(error))
        files.push_back(each->path());
    std::sort(files.begin(), files.end());
    return files;
}

// The first link of the folder that leads to the node.
std::string LinkTo(const fs::path& node, const fs::path& folder) {
    std::error_code error;
    for (const fs::path& link : FilesOf(folder)) {
        if (fs::equivalent(link, node, error) && !error) return link.string();
    }
    return {};
}

// The number in "video<number>"; -1 for another name.
int NumberOf(const fs::path& node) {
    const std::string name = node.filename().string();
    const std::string start = "video";
    int number = -1;
    if (name.size() <= start.size() || name.compare(0, start.size(), start) != 0) return -1;
    const char* const end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + start.size(), end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? number : -1;
}

}  // namespace

V4l2Name NameOf(const V4l2Node& device, const std::string& node, const std::string& folder) {
    std::string path = LinkTo(node, fs::path(folder) / "v4l/by-id");
    if (path.empty()) path = LinkTo(node, fs::path(folder) / "v4l/by-path");
    if (path.empty()) path = device.Bus();
    return {node, device.Card(), path, device.Bus()};
}

std::vector<V4l2Name> ListV4l2Nodes(const std::string& folder) {
    std::vector<fs::path> nodes = FilesOf(folder);
    std::erase_if(nodes, [](const fs::path& node) { return NumberOf(node) < 0; });
    std::sort(nodes.begin(), nodes.end(),
              [](const auto& a, const auto& b) { return NumberOf(a) < NumberOf(b); });
    std::vector<V4l2Name> names;
    for (const fs::path& node : nodes) {
        HRESULT hr = S_OK;
        const auto device = V4l2Node::Open(node.string(), hr);
        if (device) names.push_back(NameOf(*device, node.string(), folder));
    }
    return names;
}

}  // namespace Vimbrel
