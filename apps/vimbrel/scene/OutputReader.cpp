#include "scene/OutputReader.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>

namespace studio {

namespace {

// The first line, so that the file may be an editor's. Null with `error` set if there is none.
std::optional<std::string> ReadPassword(const std::filesystem::path& file, std::string& error) {
    std::ifstream stream(file);
    if (!stream) {
        error = file.string() + ": cannot be read: " + std::generic_category().message(errno);
        return std::nullopt;
    }
    std::string line;
    std::getline(stream, line);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) return line;
    error = file.string() + ": has no password to read";
    return std::nullopt;
}

bool IsHostWithPort(std::string_view host) {
    const std::size_t colon = host.find(':');
    if (host.empty() || colon == 0 || host.find('@') != host.npos) return false;
    if (colon == host.npos) return true;
    const std::string port(host.substr(colon + 1));
    const bool digits =
        !port.empty() && port.size() <= 5 &&
        std::all_of(port.begin(), port.end(), [](unsigned char c) { return std::isdigit(c); });
    return digits && std::stoi(port) >= 1 && std::stoi(port) <= 65535;
}

// More narrowly than the protocol's library, which takes other protocols, connects to a default
// port instead of a bad one, and publishes without a key.
bool IsStreamUrl(std::string_view url) {
    const std::size_t blank = url.find(' ');
    std::string_view target = url.substr(0, blank);
    const std::size_t scheme = target.find("://");
    if (scheme == target.npos ||
        (target.substr(0, scheme) != "rtmp" && target.substr(0, scheme) != "rtmps"))
        return false;
    target.remove_prefix(scheme + 3);
    const std::size_t application = target.find('/');
    if (!IsHostWithPort(target.substr(0, application))) return false;
    // The options may name application and key.
    if (blank != url.npos) return url.find('=', blank) != url.npos;
    if (application == target.npos) return false;
    const std::size_t key = target.find('/', application + 1);
    return key != target.npos && key > application + 1 && target.back() != '/';
}

constexpr const char* no_url =
    "this is no URL of a stream; one is rtmp://HOST[:PORT]/APPLICATION/KEY, or rtmps";

StreamDescription ReadStream(const SceneNode& node, const std::filesystem::path& folder) {
    node.AllowOnly({"type", "url", "quality", "user", "password-file", "framing", "reconnect"});
    StreamDescription stream;
    stream.url = node.Text("url");
    if (!IsStreamUrl(stream.url)) FailScene(node.PlaceOf("url"), no_url);
    if (node.Has("user")) stream.user = node.Text("user");
    if (node.Has("password-file")) {
        std::string error;
        const auto password = ReadPassword(folder / node.Text("password-file"), error);
        if (!password) FailScene(node.PlaceOf("password-file"), error);
        stream.password = *password;
    }
    if (node.Has("framing")) {
        const std::string framing = node.Text("framing");
        if (framing != "standard" && framing != "native") {
            FailScene(node.PlaceOf("framing"),
                      "unknown framing \"" + framing + "\"; there are standard and native");
        }
        stream.standard_framing = framing == "standard";
    }
    if (node.Has("reconnect")) stream.reconnect = node.Integer("reconnect", 0, most_attempts);
    return stream;
}

}  // namespace

OutputDescription ReadOutput(const SceneNode& node, const std::filesystem::path& folder) {
    OutputDescription output;
    output.place = node.Place();
    const std::string type = node.Text("type");
    if (type == "rtmp") {
        output.type = OutputType::Rtmp;
        output.stream = ReadStream(node, folder);
        if (node.Has("quality")) output.quality = node.Integer("quality", 0, 2);
        return output;
    }
    if (type != "gif" && type != "mp4")
        FailScene(node.PlaceOf("type"),
                  "unknown output type \"" + type + "\"; there are gif, mp4 and rtmp");
    node.AllowOnly({"type", "file", "quality"});
    output.type = type == "gif" ? OutputType::Gif : OutputType::Mp4;
    output.file = node.File(folder);
    if (node.Has("quality")) output.quality = node.Integer("quality", 0, 2);
    return output;
}

std::optional<OutputDescription> OutputFromFileName(const std::string& name, const char* place,
                                                    std::string& error) {
    const std::filesystem::path path(std::u8string(name.begin(), name.end()));
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending != ".gif" && ending != ".mp4") {
        error = std::string(place) + " " + name + ": the ending says what to write, and \"" +
                ending + "\" is none of .gif and .mp4";
        return std::nullopt;
    }
    OutputDescription output;
    output.place = place;
    output.type = ending == ".gif" ? OutputType::Gif : OutputType::Mp4;
    output.file = std::filesystem::absolute(path).lexically_normal();
    return output;
}

std::optional<OutputDescription> OutputFromUrl(const StreamOptions& options, std::string& error) {
    if (!IsStreamUrl(options.url)) {
        error = std::string("--url: ") + no_url;
        return std::nullopt;
    }
    OutputDescription output;
    output.place = "--url";
    output.type = OutputType::Rtmp;
    output.stream.url = options.url;
    output.stream.user = options.user;
    output.stream.reconnect = options.reconnect;
    if (!options.password_file.empty()) {
        const auto password = ReadPassword(options.password_file, error);
        if (!password) return std::nullopt;
        output.stream.password = *password;
    }
    return output;
}

bool OutputsCollide(const std::vector<OutputDescription>& outputs, std::string& error) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (outputs[i].file != outputs[j].file ||
                outputs[i].stream.url != outputs[j].stream.url)
                continue;
            const std::string what =
                outputs[i].type == OutputType::Rtmp ? "that stream" : outputs[i].file.string();
            error = outputs[i].place + ": " + what + " is already written by " + outputs[j].place;
            return true;
        }
    }
    return false;
}

}  // namespace studio
