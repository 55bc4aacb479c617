#include "platform/linux/pulse/PulseDevices.h"

#include <pulse/introspect.h>

#include <algorithm>
#include <new>

namespace Vimbrel {

namespace {

// What the server's replies are collected into. A callback of libpulse must not throw.
struct Reading {
    PulseDevices& devices;
    bool failed = false;
};

std::string Text(const char* text) { return text ? text : ""; }

template <class Info>
PulseDevice Describe(const Info& info, const char* monitor) {
    const char* description = info.description ? info.description : info.name;
    return {Text(info.name), Text(description), Text(monitor), info.sample_spec.rate,
            info.sample_spec.channels};
}

void OnSink(pa_context*, const pa_sink_info* info, int end, void* data) {
    auto& reading = *static_cast<Reading*>(data);
    if (end != 0) {
        reading.failed |= end < 0;
        return;
    }
    try {
        reading.devices.sinks.push_back(Describe(*info, info->monitor_source_name));
    } catch (const std::bad_alloc&) {
        reading.failed = true;
    }
}

void OnSource(pa_context*, const pa_source_info* info, int end, void* data) {
    auto& reading = *static_cast<Reading*>(data);
    if (end != 0) {
        reading.failed |= end < 0;
        return;
    }
    if (info->monitor_of_sink != PA_INVALID_INDEX) return;
    try {
        reading.devices.sources.push_back(Describe(*info, nullptr));
    } catch (const std::bad_alloc&) {
        reading.failed = true;
    }
}

void OnServer(pa_context*, const pa_server_info* info, void* data) {
    auto& reading = *static_cast<Reading*>(data);
    try {
        reading.devices.default_sink = Text(info ? info->default_sink_name : nullptr);
        reading.devices.default_source = Text(info ? info->default_source_name : nullptr);
    } catch (const std::bad_alloc&) {
        reading.failed = true;
    }
}

void KeepIfListed(std::string& name, const std::vector<PulseDevice>& devices) {
    const auto named = [&](const PulseDevice& device) { return device.name == name; };
    if (std::none_of(devices.begin(), devices.end(), named)) name.clear();
}

}  // namespace

HRESULT PulseDevices::Read(PulseConnection& connection) {
    *this = {};
    Reading reading{*this};
    HRESULT hr = S_OK;
    {
        const PulseLock lock(connection.Loop());
        // Of a server that is gone libpulse only says that the state is bad.
        hr = connection.State();
        if (SUCCEEDED(hr))
            hr = connection.Finish(
                pa_context_get_server_info(connection.Context(), &OnServer, &reading), "server");
        if (SUCCEEDED(hr))
            hr = connection.Finish(
                pa_context_get_sink_info_list(connection.Context(), &OnSink, &reading), "sinks");
        if (SUCCEEDED(hr))
            hr = connection.Finish(
                pa_context_get_source_info_list(connection.Context(), &OnSource, &reading),
                "sources");
    }
    if (SUCCEEDED(hr) && reading.failed) hr = E_FAIL;
    KeepIfListed(default_sink, sinks);
    KeepIfListed(default_source, sources);
    return hr;
}

}  // namespace Vimbrel
