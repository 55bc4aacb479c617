#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/portal/TestPortal.h"

namespace test_portal {

namespace {

constexpr char object_path[] = "/org/freedesktop/portal/desktop";
constexpr char cast_name[] = "org.freedesktop.portal.ScreenCast";

std::string PathOf(sd_bus_message* message, const char* kind, const std::string& token) {
    std::string sender(sd_bus_message_get_sender(message) + 1);
    for (char& c : sender) c = c == '.' ? '_' : c;
    return std::string(object_path) + "/" + kind + "/" + sender + "/" + token;
}

// The options of a call as words, as in "types=1".
std::vector<std::string> ReadOptions(sd_bus_message* message) {
    std::vector<std::string> options;
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        const char* contents = nullptr;
        char type = 0;
        sd_bus_message_read(message, "s", &key);
        sd_bus_message_peek_type(message, &type, &contents);
        std::string value;
        if (*contents == 's') {
            const char* text = nullptr;
            sd_bus_message_read(message, "v", "s", &text);
            value = text;
        } else if (*contents == 'u' || *contents == 'b') {
            std::uint32_t number = 0;
            sd_bus_message_read(message, "v", contents, &number);
            value = std::to_string(number);
        } else {
            sd_bus_message_skip(message, "v");
        }
        options.push_back(std::string(key) + "=" + value);
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    return options;
}

std::string Find(const std::vector<std::string>& options, const std::string& key) {
    for (const std::string& option : options) {
        if (option.rfind(key + "=", 0) == 0) return option.substr(key.size() + 1);
    }
    return "";
}

sd_bus_message* NewResponse(const std::string& path, std::uint32_t code) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(portal.bus, &signal, path.c_str(), "org.freedesktop.portal.Request",
                              "Response");
    sd_bus_message_set_destination(signal, portal.caller.c_str());
    sd_bus_message_append(signal, "u", code);
    sd_bus_message_open_container(signal, 'a', "{sv}");
    return signal;
}

void SendResponse(sd_bus_message* signal) {
    sd_bus_message_close_container(signal);
    sd_bus_send(portal.bus, signal, nullptr);
    sd_bus_message_unref(signal);
}

// The answer comes before the reply of the call, which callers must be ready for.
int CreateSession(sd_bus_message* message, void*, sd_bus_error*) {
    const auto options = ReadOptions(message);
    portal.caller = sd_bus_message_get_sender(message);
    portal.session = PathOf(message, "session", Find(options, "session_handle_token"));
    const std::string path = PathOf(message, "request", Find(options, "handle_token"));
    sd_bus_message* const response = NewResponse(path, 0);
    sd_bus_message_append(response, "{sv}", "session_handle", "s", portal.session.c_str());
    if (portal.answer != "never") SendResponse(response);
    return sd_bus_reply_method_return(message, "o", path.c_str());
}

int SelectSources(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_skip(message, "o");
    const auto options = ReadOptions(message);
    portal.asked.clear();
    for (const char* key : {"types", "cursor_mode", "persist_mode", "restore_token"})
        portal.asked += std::string(key) + "=" + Find(options, key) + " ";
    const std::string path = PathOf(message, "request", Find(options, "handle_token"));
    SendResponse(NewResponse(path, 0));
    return sd_bus_reply_method_return(message, "o", path.c_str());
}

}  // namespace

void AnswerStart() {
    if (portal.request.empty()) return;
    const std::string path = portal.request;
    if (portal.answer == "refuse" || portal.answer == "end") {
        SendResponse(NewResponse(path, portal.answer == "refuse" ? 1 : 2));
    } else if ((portal.answer == "grant" && portal.stream) || portal.compositor_node) {
        sd_bus_message* const response = NewResponse(path, 0);
        sd_bus_message_append(
            response, "{sv}", "streams", "a(ua{sv})", 1,
            portal.compositor_node ? portal.compositor_node : pw_stream_get_node_id(portal.stream),
            0);
        if (portal.version >= 4) {
            portal.token_given = "token" + std::to_string(++portal.tokens);
            sd_bus_message_append(response, "{sv}", "restore_token", "s",
                                  portal.token_given.c_str());
        }
        SendResponse(response);
    } else {
        return;
    }
    portal.request.clear();
}

void Answer() {
    if (portal.answer == "compositor" && !portal.request.empty()) {
        if (!CastCompositor()) {
            SendResponse(NewResponse(portal.request, 2));
            portal.request.clear();
        }
    } else if (portal.answer == "grant" && !portal.request.empty()) {
        DropStream();
        MakeStream();  // its node is known in OnState
    } else {
        AnswerStart();
    }
}

namespace {

int Start(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_skip(message, "os");
    portal.request = PathOf(message, "request", Find(ReadOptions(message), "handle_token"));
    ++portal.starts;
    const int sent = sd_bus_reply_method_return(message, "o", portal.request.c_str());
    Answer();
    return sent;
}

int OpenRemote(sd_bus_message* message, void*, sd_bus_error*) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/pipewire-0",
                  std::getenv("XDG_RUNTIME_DIR"));
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return -ECONNREFUSED;
    const int sent = sd_bus_reply_method_return(message, "h", descriptor);
    close(descriptor);
    return sent;
}

int Close(sd_bus_message* message, void*, sd_bus_error*) {
    if (portal.session == sd_bus_message_get_path(message)) portal.session.clear();
    return sd_bus_reply_method_return(message, "");
}

int NumberProperty(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply,
                   void*, sd_bus_error*) {
    const std::string property = name;
    const std::uint32_t value = property == "version"                ? portal.version
                                : property == "AvailableCursorModes" ? portal.cursor_modes
                                                                     : 3;
    return sd_bus_message_append(reply, "u", value);
}

const sd_bus_vtable cast_table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CreateSession", "a{sv}", "o", CreateSession, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SelectSources", "oa{sv}", "o", SelectSources, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Start", "osa{sv}", "o", Start, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("OpenPipeWireRemote", "oa{sv}", "h", OpenRemote, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("version", "u", NumberProperty, 0, 0),
    SD_BUS_PROPERTY("AvailableCursorModes", "u", NumberProperty, 0, 0),
    SD_BUS_PROPERTY("AvailableSourceTypes", "u", NumberProperty, 0, 0),
    SD_BUS_VTABLE_END};

int OnAnyCall(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_message_is_method_call(message, nullptr, "Close") > 0
               ? Close(message, nullptr, nullptr)
               : 0;
}

}  // namespace

bool Publish() {
    if (sd_bus_open_user(&portal.bus) < 0) return false;
    sd_bus_add_object_vtable(portal.bus, nullptr, object_path, cast_name, cast_table, nullptr);
    sd_bus_add_filter(portal.bus, nullptr, OnAnyCall, nullptr);
    return sd_bus_request_name(portal.bus, "org.freedesktop.portal.Desktop", 0) >= 0;
}

void EmitClosed() {
    sd_bus_emit_signal(portal.bus, portal.session.c_str(), "org.freedesktop.portal.Session",
                       "Closed", "a{sv}", 0);
}

}  // namespace test_portal
