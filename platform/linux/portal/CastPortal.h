// The desktop portal's screen cast: asks the user and yields a PipeWire connection.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

namespace Vimbrel {

struct CastWishes {
    bool window = false;       // the user chooses a window rather than a monitor
    bool cursor = true;        // draw the pointer into the picture if it is not reported apart
    bool cursor_apart = true;  // report the pointer apart from the picture if the desktop can
    std::string token;         // of an earlier grant; may spare the user the question
    // Called at least every 100 ms while the user thinks; false gives up. May be empty.
    std::function<bool()> still_wanted;
};

enum class CastAnswer { Granted, Refused, GivenUp, Failed };

// One session on a bus connection of its own. Calls come from one thread at a time; after Open
// that is the thread that watches the descriptor.
class CastPortal {
public:
    CastPortal() = default;
    ~CastPortal();
    CastPortal(const CastPortal&) = delete;
    CastPortal& operator=(const CastPortal&) = delete;

    // Whether a portal that casts screens is on the session's bus. Takes two seconds at most.
    static bool IsThere();

    // Once per object. Waits for the user without a limit.
    CastAnswer Open(const CastWishes& wishes);
    // The stream's node and the descriptor of the connection to PipeWire, which the caller owns.
    std::uint32_t Node() const { return node_; }
    int TakeRemote();
    // For the next session; empty if the portal keeps no grants.
    const std::string& Token() const { return token_; }

    int Descriptor() const;
    // Takes what has arrived. False once the session is closed.
    bool Process();

private:
    struct BusDeleter {
        void operator()(sd_bus* bus) const;
    };
    struct SlotDeleter {
        void operator()(sd_bus_slot* slot) const;
    };
    using Slot = std::unique_ptr<sd_bus_slot, SlotDeleter>;

    bool Connect();
    std::uint32_t ReadNumber(const char* property) const;
    bool WatchForEnd();
    bool CreateSession();
    bool SelectSources(const CastWishes& wishes);
    CastAnswer Start(const std::function<bool()>& still_wanted);
    bool OpenRemote();

    sd_bus_message* NewCall(const char* method);
    // Sends and unreferences `call`; its answer arrives as the signal Response.
    CastAnswer Ask(sd_bus_message* call, const std::function<bool()>& still_wanted);
    // The same for what no user is asked: false after two seconds.
    bool AskAtOnce(sd_bus_message* call);
    // Appends the option by which the path of the answer is known beforehand.
    bool AppendHandleToken(sd_bus_message* call);
    bool ReadResults(sd_bus_message* results);
    bool ReadStreams(sd_bus_message* results);

    static int OnResponse(sd_bus_message* message, void* self);
    static int OnEnd(sd_bus_message* message, void* self);
    static int OnOwnerChange(sd_bus_message* message, void* self);

    std::unique_ptr<sd_bus, BusDeleter> bus_;
    Slot owner_watch_;
    Slot end_watch_;
    std::string request_path_;
    bool responded_ = false;
    std::uint32_t response_ = 0;
    std::string session_;
    std::uint32_t version_ = 0;
    std::uint32_t node_ = 0;
    bool has_node_ = false;
    int remote_ = -1;
    std::string token_;
    bool closed_ = false;
};

}  // namespace Vimbrel
