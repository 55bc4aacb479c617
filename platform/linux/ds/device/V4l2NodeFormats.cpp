// What a capture device lists, has and takes.
#include "platform/linux/ds/device/V4l2Node.h"

namespace Vimbrel {

namespace {

// Sizes and rates that are offered of a driver that takes any.
constexpr struct {
    std::uint32_t width, height;
} common_sizes[] = {{640, 480}, {1280, 720}, {1920, 1080}};
constexpr v4l2_fract common_rates[] = {{1, 60}, {1, 30}, {1, 25}, {1, 15}};

std::int64_t FrameTime(const v4l2_fract& interval) {
    if (interval.denominator == 0) return 0;
    return std::int64_t{10'000'000} * interval.numerator / interval.denominator;
}

bool IsWithin(const v4l2_frmsize_stepwise& range, std::uint32_t width, std::uint32_t height) {
    return width >= range.min_width && width <= range.max_width && height >= range.min_height &&
           height <= range.max_height &&
           (range.step_width == 0 || (width - range.min_width) % range.step_width == 0) &&
           (range.step_height == 0 || (height - range.min_height) % range.step_height == 0);
}

// Whether both have the same pixels and size.
bool IsSame(const v4l2_pix_format& a, const v4l2_pix_format& b) {
    return a.pixelformat == b.pixelformat && a.width == b.width && a.height == b.height;
}

}  // namespace

std::vector<V4l2Format> V4l2Node::Formats() {
    std::vector<V4l2Format> formats;
    v4l2_fmtdesc description{};
    description.type = capture;
    for (; IsListed<256>(VIDIOC_ENUM_FMT, description); ++description.index)
        AddSizes(description.pixelformat, formats);
    return formats;
}

void V4l2Node::AddSizes(std::uint32_t pixel_format, std::vector<V4l2Format>& formats) {
    v4l2_frmsizeenum size{};
    size.pixel_format = pixel_format;
    const auto add = [&](std::uint32_t width, std::uint32_t height) {
        AddRates(
            {pixel_format, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), 0},
            formats);
    };
    for (; IsListed<1024>(VIDIOC_ENUM_FRAMESIZES, size); ++size.index) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            add(size.discrete.width, size.discrete.height);
            continue;
        }
        for (const auto& [width, height] : common_sizes) {
            if (IsWithin(size.stepwise, width, height)) add(width, height);
        }
        break;
    }
    if (size.index > 0 || size.type == V4L2_FRMSIZE_TYPE_STEPWISE ||
        size.type == V4L2_FRMSIZE_TYPE_CONTINUOUS)
        return;
    // A driver without a list has its current size.
    V4l2Layout current;
    if (SUCCEEDED(GetCurrent(current)) && current.format.pixel_format == pixel_format)
        formats.push_back(current.format);
}

void V4l2Node::AddRates(V4l2Format format, std::vector<V4l2Format>& formats) {
    v4l2_frmivalenum rate{};
    rate.pixel_format = format.pixel_format;
    rate.width = static_cast<std::uint32_t>(format.width);
    rate.height = static_cast<std::uint32_t>(format.height);
    const std::size_t before = formats.size();
    for (; IsListed<1024>(VIDIOC_ENUM_FRAMEINTERVALS, rate); ++rate.index) {
        if (rate.type == V4L2_FRMIVAL_TYPE_DISCRETE) {
            format.frame_time = FrameTime(rate.discrete);
            formats.push_back(format);
            continue;
        }
        for (const v4l2_fract& each : common_rates) {
            format.frame_time = FrameTime(each);
            if (format.frame_time < FrameTime(rate.stepwise.min) ||
                format.frame_time > FrameTime(rate.stepwise.max))
                continue;
            formats.push_back(format);
        }
        break;
    }
    if (formats.size() == before) formats.push_back(format);
}

HRESULT V4l2Node::GetCurrent(V4l2Layout& layout) {
    v4l2_format format{};
    format.type = capture;
    const HRESULT hr = Call(VIDIOC_G_FMT, &format);
    if (FAILED(hr)) return hr;
    const v4l2_pix_format& picture = format.fmt.pix;
    layout = {{picture.pixelformat, static_cast<std::int32_t>(picture.width),
               static_cast<std::int32_t>(picture.height), 0},
              picture.bytesperline,
              picture.sizeimage};
    v4l2_streamparm parameters{};
    parameters.type = capture;
    if (SUCCEEDED(Call(VIDIOC_G_PARM, &parameters)))
        layout.format.frame_time = FrameTime(parameters.parm.capture.timeperframe);
    return S_OK;
}

HRESULT V4l2Node::SetFormat(const V4l2Format& format) {
    v4l2_format wanted{};
    wanted.type = capture;
    wanted.fmt.pix.pixelformat = format.pixel_format;
    wanted.fmt.pix.width = static_cast<std::uint32_t>(format.width);
    wanted.fmt.pix.height = static_cast<std::uint32_t>(format.height);
    wanted.fmt.pix.field = V4L2_FIELD_ANY;
    // Setting would leave the nearest format of the driver on the device. A driver that cannot try
    // is set at once.
    v4l2_format tried = wanted;
    if (SUCCEEDED(Call(VIDIOC_TRY_FMT, &tried)) && !IsSame(tried.fmt.pix, wanted.fmt.pix))
        return E_INVALIDARG;
    HRESULT hr = Call(VIDIOC_S_FMT, &wanted);
    if (FAILED(hr)) return hr;
    if (format.frame_time > 0) {
        // A driver without rates keeps its own.
        v4l2_streamparm parameters{};
        parameters.type = capture;
        parameters.parm.capture.timeperframe = {static_cast<std::uint32_t>(format.frame_time),
                                                10'000'000};
        Call(VIDIOC_S_PARM, &parameters);
    }
    V4l2Layout set;
    hr = GetCurrent(set);
    if (FAILED(hr)) return hr;
    set.format.frame_time = format.frame_time;
    return set.format == format ? S_OK : E_INVALIDARG;
}

}  // namespace Vimbrel
