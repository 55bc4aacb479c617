// What a scene document says, checked and with paths made absolute.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace studio {

struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;  // not premultiplied
};

// Canvas pixels.
struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Rect&) const = default;
};

enum class Fit { Contain, Cover, Stretch };

struct PictureDescription {
    std::filesystem::path file;
    Fit fit = Fit::Contain;
};

// Differs from a picture in nothing but that the file must be a GIF.
struct GifDescription {
    std::filesystem::path file;
    Fit fit = Fit::Contain;
};

struct TextDescription {
    std::string text;  // UTF-8
    std::string font;  // as in "Sans Bold 24"
    Color color;
};

struct ColorDescription {
    Color color;
};

struct ScreenDescription {
    std::optional<Rect> region;  // desktop pixels; the primary output without one
    bool cursor = true;
    Fit fit = Fit::Contain;
};

// Found by one of the four.
struct WindowDescription {
    bool choose = false;  // by the user, in a dialog of the desktop
    std::string title;    // UTF-8, as the class
    std::string window_class;
    std::optional<std::uint32_t> number;
    bool cursor = true;
    Fit fit = Fit::Contain;
};

// Seconds and per cent.
struct MediaDescription {
    std::filesystem::path file;
    double start = 0;
    double stop = 0;  // 0: the end
    bool loop = false;
    int rate = 100;
    int pitch = 100;
    int volume = 100;
    int audio_stream = -1;  // of the list of streams; -1: the file's choice
    bool subtitles = false;
    std::string output;  // of the sound, by name; empty for none
    Fit fit = Fit::Contain;
};

struct CameraDescription {
    std::string device;  // its name or path in UTF-8; empty for the first one
    std::string format;  // as "1280x720@30 MJPG"; empty for the device's default one
    Fit fit = Fit::Contain;
};

struct LayerDescription {
    std::string place;  // as in "layers[2]", for messages
    Rect rect;
    double opacity = 1.0;
    std::variant<PictureDescription, GifDescription, TextDescription, ColorDescription,
                 ScreenDescription, WindowDescription, MediaDescription, CameraDescription>
        content;
};

struct SoundFileDescription {
    std::filesystem::path file;
};

struct MicrophoneDescription {
    std::string device;  // UTF-8; empty: the default one
    int pitch = 100;     // percent
    bool mute = false;
};

// What an output device plays.
struct SystemSoundDescription {
    std::string device;  // UTF-8; empty: the default one
};

// What the media layers play.
struct MediaSoundDescription {};

struct SoundDescription {
    std::string place;    // as in "sound[0]", for messages
    double volume = 1.0;  // a factor
    std::variant<SoundFileDescription, MicrophoneDescription, SystemSoundDescription,
                 MediaSoundDescription>
        content;
};

enum class OutputType { Gif, Mp4, Rtmp };

// Of reconnections in a row.
inline constexpr int most_attempts = 1'000'000;

// A publishing target. The key at the end of its URL and the password are not to be shown.
struct StreamDescription {
    std::string url;
    std::string user;
    std::string password;
    bool standard_framing = true;
    int reconnect = 0;  // attempts in a row that may fail after the link was lost
};

// A stream as the command line names it.
struct StreamOptions {
    std::string url;
    std::string user;
    std::string password_file;
    int reconnect = 0;
};

struct OutputDescription {
    std::string place;  // as in "outputs[0]", "--out" or "--url"
    OutputType type = OutputType::Gif;
    std::filesystem::path file;  // of GIF and MP4
    StreamDescription stream;    // of RTMP
    int quality = 1;
};

struct CanvasDescription {
    int width = 0;
    int height = 0;
    int fps = 0;
    Color background;
};

struct Scene {
    CanvasDescription canvas;
    std::vector<LayerDescription> layers;
    std::vector<SoundDescription> sound;  // mixed
    std::vector<OutputDescription> outputs;
};

// Whether a layer shows what is on the desktop.
bool ShowsDesktop(const Scene& scene);

// Reads a document. Null with `error` set to "file: place: what is wrong" if it is not a good
// scene. Whether the files it names are good is seen when they are opened.
std::optional<Scene> ReadScene(const std::filesystem::path& document, std::string& error);

// An output named at `place` of the command line; its type follows from the ending. Null with
// `error` set if there is no such type.
std::optional<OutputDescription> OutputFromFileName(const std::string& name, const char* place,
                                                    std::string& error);

// An output named on the command line by its URL. The password is the first line of
// `password_file`, if that is not empty. Null with `error` set if that cannot be read, or if this
// is no URL.
std::optional<OutputDescription> OutputFromUrl(const StreamOptions& options, std::string& error);

// Whether two outputs would write one file or one stream; then `error` says which.
bool OutputsCollide(const std::vector<OutputDescription>& outputs, std::string& error);

}  // namespace studio
