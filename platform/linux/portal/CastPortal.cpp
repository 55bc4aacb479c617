#include "platform/linux/portal/CastPortal.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <utility>

#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;

constexpr char portal_name[] = "org.freedesktop.portal.Desktop";
constexpr char portal_path[] = "/org/freedesktop/portal/desktop";
constexpr char cast_interface[] = "org.freedesktop.portal.ScreenCast";
constexpr char request_interface[] = "org.freedesktop.portal.Request";
constexpr char session_interface[] = "org.freedesktop.portal.Session";
constexpr std::uint64_t call_limit_us = 2'000'000;
constexpr std::uint64_t slice_us = 100'000;

constexpr std::uint32_t source_monitor = 1;
constexpr std::uint32_t source_window = 2;
constexpr std::uint32_t cursor_hidden = 1;
constexpr std::uint32_t cursor_embedded = 2;
constexpr std::uint32_t cursor_metadata = 4;
constexpr std::uint32_t persist_until_revoked = 2;
constexpr std::uint32_t first_version_with_tokens = 4;

// Several sessions of one process share no bus connection, but a portal may compare tokens.
std::atomic<unsigned> token_number{0};

std::string NewToken() { return "vimbrel" + std::to_string(++token_number); }

// Logs a call that failed.
bool Succeeded(int result, const char* what) {
    if (result >= 0) return true;
    APPLOG_STREAM(LOG_LEVEL_TRACE, "Portal - " << what << ": " << std::strerror(-result));
    return false;
}

// A handler in the shape that the library calls.
template <int (*handle)(sd_bus_message*, void*)>
int Handler(sd_bus_message* message, void* self, sd_bus_error*) {
    return handle(message, self);
}

bool AppendText(sd_bus_message* call, const char* key, const std::string& value) {
    return sd_bus_message_append(call, "{sv}", key, "s", value.c_str()) >= 0;
}

bool AppendNumber(sd_bus_message* call, const char* key, std::uint32_t value) {
    return sd_bus_message_append(call, "{sv}", key, "u", value) >= 0;
}

}  // namespace

void CastPortal::BusDeleter::operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }

void CastPortal::SlotDeleter::operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }

CastPortal::~CastPortal() {
    if (remote_ >= 0) close(remote_);
    if (!bus_ || session_.empty() || closed_) return;
    sd_bus_message* call = nullptr;
    if (sd_bus_message_new_method_call(bus_.get(), &call, portal_name, session_.c_str(),
                                       session_interface, "Close") < 0)
        return;
    // Sent when the connection is closed, which does not wait for an answer.
    sd_bus_message_set_expect_reply(call, 0);
    sd_bus_send(bus_.get(), call, nullptr);
    sd_bus_message_unref(call);
}

bool CastPortal::IsThere() {
    CastPortal portal;
    return portal.Connect() && portal.version_ > 0;
}

CastAnswer CastPortal::Open(const CastWishes& wishes) {
    if (!Connect() || version_ == 0 || !WatchForEnd() || !CreateSession() || !SelectSources(wishes))
        return CastAnswer::Failed;
    const CastAnswer answer = Start(wishes.still_wanted);
    if (answer != CastAnswer::Granted) return answer;
    return has_node_ && OpenRemote() ? CastAnswer::Granted : CastAnswer::Failed;
}

int CastPortal::TakeRemote() { return std::exchange(remote_, -1); }

int CastPortal::Descriptor() const { return sd_bus_get_fd(bus_.get()); }

bool CastPortal::Process() {
    int result = 1;
    while (result > 0 && !closed_) result = sd_bus_process(bus_.get(), nullptr);
    if (result < 0) closed_ = true;
    return !closed_;
}

bool CastPortal::Connect() {
    sd_bus* bus = nullptr;
    if (!Succeeded(sd_bus_open_user(&bus), "connect to the bus")) return false;
    bus_.reset(bus);
    sd_bus_set_method_call_timeout(bus, call_limit_us);
    version_ = ReadNumber("version");
    return true;
}

// 0 if the portal does not say.
std::uint32_t CastPortal::ReadNumber(const char* property) const {
    std::uint32_t value = 0;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result = sd_bus_get_property_trivial(bus_.get(), portal_name, portal_path,
                                                   cast_interface, property, &error, 'u', &value);
    sd_bus_error_free(&error);
    return Succeeded(result, property) ? value : 0;
}

bool CastPortal::WatchForEnd() {
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_match_signal(bus_.get(), &slot, "org.freedesktop.DBus",
                                           "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                           "NameOwnerChanged", Handler<OnOwnerChange>, this);
    owner_watch_.reset(slot);
    return Succeeded(result, "watch the portal");
}

sd_bus_message* CastPortal::NewCall(const char* method) {
    sd_bus_message* call = nullptr;
    return Succeeded(sd_bus_message_new_method_call(bus_.get(), &call, portal_name, portal_path,
                                                    cast_interface, method),
                     method)
               ? call
               : nullptr;
}

bool CastPortal::AppendHandleToken(sd_bus_message* call) {
    const char* unique = nullptr;
    if (sd_bus_get_unique_name(bus_.get(), &unique) < 0) return false;
    std::string sender(unique + 1);
    std::replace(sender.begin(), sender.end(), '.', '_');
    const std::string token = NewToken();
    request_path_ = std::string(portal_path) + "/request/" + sender + "/" + token;
    return AppendText(call, "handle_token", token);
}

CastAnswer CastPortal::Ask(sd_bus_message* call, const std::function<bool()>& still_wanted) {
    const std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)> owned(
        call, sd_bus_message_unref);
    responded_ = false;
    sd_bus_slot* slot = nullptr;
    // Watched before the call: the answer may come before the call's reply.
    if (!Succeeded(sd_bus_match_signal(bus_.get(), &slot, portal_name, request_path_.c_str(),
                                       request_interface, "Response", Handler<OnResponse>, this),
                   "watch for the answer"))
        return CastAnswer::Failed;
    const Slot watch(slot);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int sent = sd_bus_call(bus_.get(), call, 0, &error, nullptr);
    if (sent < 0 && error.message) APPLOG_STREAM(LOG_LEVEL_TRACE, "Portal - " << error.message);
    sd_bus_error_free(&error);
    if (!Succeeded(sent, sd_bus_message_get_member(call))) return CastAnswer::Failed;
    while (!responded_) {
        const int processed = sd_bus_process(bus_.get(), nullptr);
        if (processed < 0 || closed_) return CastAnswer::Failed;
        if (processed > 0) continue;
        if (still_wanted && !still_wanted()) {
            sd_bus_call_method_async(bus_.get(), nullptr, portal_name, request_path_.c_str(),
                                     request_interface, "Close", nullptr, nullptr, "");
            return CastAnswer::GivenUp;
        }
        sd_bus_wait(bus_.get(), slice_us);
    }
    APPLOG_STREAM(LOG_LEVEL_TRACE, "Portal - " << sd_bus_message_get_member(call)
                                               << " was answered by " << response_);
    if (response_ == 0) return CastAnswer::Granted;
    return response_ == 1 ? CastAnswer::Refused : CastAnswer::Failed;
}

bool CastPortal::AskAtOnce(sd_bus_message* call) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(call_limit_us);
    return Ask(call, [end] { return std::chrono::steady_clock::now() < end; }) ==
           CastAnswer::Granted;
}

bool CastPortal::CreateSession() {
    sd_bus_message* const call = NewCall("CreateSession");
    if (!call) return false;
    if (sd_bus_message_open_container(call, 'a', "{sv}") < 0 || !AppendHandleToken(call) ||
        !AppendText(call, "session_handle_token", NewToken()) ||
        sd_bus_message_close_container(call) < 0) {
        sd_bus_message_unref(call);
        return false;
    }
    if (!AskAtOnce(call) || session_.empty()) return false;
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_match_signal(bus_.get(), &slot, portal_name, session_.c_str(),
                                           session_interface, "Closed", Handler<OnEnd>, this);
    end_watch_.reset(slot);
    return Succeeded(result, "watch the session");
}

bool CastPortal::SelectSources(const CastWishes& wishes) {
    const std::uint32_t cursors = ReadNumber("AvailableCursorModes");
    std::uint32_t cursor = cursor_hidden;
    if (wishes.cursor_apart && (cursors & cursor_metadata)) {
        cursor = cursor_metadata;
    } else if (wishes.cursor && (cursors & cursor_embedded)) {
        cursor = cursor_embedded;
    }
    sd_bus_message* const call = NewCall("SelectSources");
    if (!call) return false;
    bool made = sd_bus_message_append(call, "o", session_.c_str()) >= 0 &&
                sd_bus_message_open_container(call, 'a', "{sv}") >= 0 && AppendHandleToken(call) &&
                AppendNumber(call, "types", wishes.window ? source_window : source_monitor) &&
                sd_bus_message_append(call, "{sv}", "multiple", "b", 0) >= 0 &&
                AppendNumber(call, "cursor_mode", cursor);
    if (version_ >= first_version_with_tokens) {
        made = made && AppendNumber(call, "persist_mode", persist_until_revoked) &&
               (wishes.token.empty() || AppendText(call, "restore_token", wishes.token));
    }
    if (!made || sd_bus_message_close_container(call) < 0) {
        sd_bus_message_unref(call);
        return false;
    }
    return AskAtOnce(call);
}

CastAnswer CastPortal::Start(const std::function<bool()>& still_wanted) {
    sd_bus_message* const call = NewCall("Start");
    if (!call) return CastAnswer::Failed;
    if (sd_bus_message_append(call, "os", session_.c_str(), "") < 0 ||
        sd_bus_message_open_container(call, 'a', "{sv}") < 0 || !AppendHandleToken(call) ||
        sd_bus_message_close_container(call) < 0) {
        sd_bus_message_unref(call);
        return CastAnswer::Failed;
    }
    return Ask(call, still_wanted);
}

bool CastPortal::OpenRemote() {
    sd_bus_message* reply = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result =
        sd_bus_call_method(bus_.get(), portal_name, portal_path, cast_interface,
                           "OpenPipeWireRemote", &error, &reply, "oa{sv}", session_.c_str(), 0);
    sd_bus_error_free(&error);
    int descriptor = -1;
    // The message closes its own descriptor.
    if (result >= 0 && sd_bus_message_read(reply, "h", &descriptor) >= 0)
        remote_ = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    sd_bus_message_unref(reply);
    return Succeeded(result, "open PipeWire") && remote_ >= 0;
}

int CastPortal::OnResponse(sd_bus_message* message, void* self) {
    auto& portal = *static_cast<CastPortal*>(self);
    portal.responded_ = true;
    constexpr std::uint32_t ended_otherwise = 2;
    if (sd_bus_message_read(message, "u", &portal.response_) < 0 || !portal.ReadResults(message))
        portal.response_ = ended_otherwise;
    return 0;
}

int CastPortal::OnEnd(sd_bus_message*, void* self) {
    static_cast<CastPortal*>(self)->closed_ = true;
    return 0;
}

int CastPortal::OnOwnerChange(sd_bus_message* message, void* self) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &before, &after) >= 0 &&
        std::strcmp(name, portal_name) == 0 && *before)
        static_cast<CastPortal*>(self)->closed_ = true;
    return 0;
}

bool CastPortal::ReadResults(sd_bus_message* results) {
    if (sd_bus_message_enter_container(results, 'a', "{sv}") < 0) return false;
    while (sd_bus_message_enter_container(results, 'e', "sv") > 0) {
        const char* key = nullptr;
        if (sd_bus_message_read(results, "s", &key) < 0) return false;
        const char* text = nullptr;
        if (std::strcmp(key, "session_handle") == 0) {
            if (sd_bus_message_read(results, "v", "s", &text) < 0) return false;
            session_ = text;
        } else if (std::strcmp(key, "restore_token") == 0) {
            if (sd_bus_message_read(results, "v", "s", &text) < 0) return false;
            token_ = text;
        } else if (std::strcmp(key, "streams") == 0) {
            if (!ReadStreams(results)) return false;
        } else if (sd_bus_message_skip(results, "v") < 0) {
            return false;
        }
        if (sd_bus_message_exit_container(results) < 0) return false;
    }
    return sd_bus_message_exit_container(results) >= 0;
}

// Only the first stream counts: one was asked for.
bool CastPortal::ReadStreams(sd_bus_message* results) {
    if (sd_bus_message_enter_container(results, 'v', "a(ua{sv})") < 0 ||
        sd_bus_message_enter_container(results, 'a', "(ua{sv})") < 0)
        return false;
    while (sd_bus_message_enter_container(results, 'r', "ua{sv}") > 0) {
        std::uint32_t node = 0;
        if (sd_bus_message_read(results, "u", &node) < 0 ||
            sd_bus_message_skip(results, "a{sv}") < 0 || sd_bus_message_exit_container(results) < 0)
            return false;
        if (!has_node_) node_ = node;
        has_node_ = true;
    }
    const bool list_ended = sd_bus_message_exit_container(results) >= 0;
    return sd_bus_message_exit_container(results) >= 0 && list_ended;
}

}  // namespace Vimbrel
