// A video capture device on the kernel's calls.
#pragma once

#include <linux/videodev2.h>

#include <memory>
#include <span>

#include "platform/linux/ds/device/V4l2Device.h"

namespace Vimbrel {

class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return descriptor_; }

private:
    const int descriptor_;
};

class V4l2Node final : public V4l2Device {
public:
    // Null with the reason if there is no capture device of that name that streams.
    static std::unique_ptr<V4l2Node> Open(const std::string& node, HRESULT& result);
    ~V4l2Node() override { Stop(); }

    std::vector<V4l2Format> Formats() override;
    HRESULT GetCurrent(V4l2Layout& layout) override;
    HRESULT SetFormat(const V4l2Format& format) override;
    HRESULT Start() override;
    HRESULT Wait(V4l2Picture& picture) override;
    void Return(const V4l2Picture& picture) override;
    void Stop() override;
    void Wake() override;

    const std::string& Card() const { return card_; }
    const std::string& Bus() const { return bus_; }

private:
    static constexpr v4l2_buf_type capture = V4L2_BUF_TYPE_VIDEO_CAPTURE;

    V4l2Node(int descriptor, int wake, const v4l2_capability& capability);

    void AddSizes(std::uint32_t pixel_format, std::vector<V4l2Format>& formats);
    void AddRates(V4l2Format format, std::vector<V4l2Format>& formats);
    HRESULT MapBuffers();
    // S_FALSE for nothing to take, a failure for a device that is gone.
    HRESULT Take(V4l2Picture& picture);
    HRESULT Call(unsigned long request, void* argument) const;
    // The entry's place in a list of the driver, who may never say that the list is over.
    template <std::uint32_t most, class Entry>
    bool IsListed(unsigned long request, Entry& entry) const {
        return entry.index < most && SUCCEEDED(Call(request, &entry));
    }

    const FileDescriptor device_;
    const FileDescriptor wake_;
    const std::string card_;
    const std::string bus_;
    std::vector<std::span<std::uint8_t>> buffers_;
    bool requested_ = false;  // the driver may hold buffers
    bool streaming_ = false;
    int failures_ = 0;  // of taking a picture, one after the other
};

struct V4l2Name {
    std::string node;
    std::string name;
    std::string path;  // by-id or by-path below the folder, else the bus
    std::string bus;
};

// The capture devices below a folder of device files, in the order of their numbers.
std::vector<V4l2Name> ListV4l2Nodes(const std::string& folder);
// Of one that is open, as it is now.
V4l2Name NameOf(const V4l2Node& device, const std::string& node, const std::string& folder);

}  // namespace Vimbrel
