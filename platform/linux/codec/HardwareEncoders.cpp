#include "platform/linux/codec/HardwareEncoders.h"

#include <glob.h>
#include <unistd.h>

namespace Vimbrel {

std::span<const HardwareEncoder> HardwareEncoders() {
    static constexpr HardwareEncoder encoders[] = {
        {"h264_vaapi", "/dev/dri/renderD*", AV_HWDEVICE_TYPE_VAAPI, AV_PIX_FMT_NV12,
         "global_quality", "rc_mode", "QVBR"},
        {"h264_nvenc", "/dev/nvidia[0-9]*", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_YUV420P, "cq", "rc",
         "vbr"},
        {"h264_qsv", "/dev/dri/renderD*", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_NV12, "global_quality"},
        {"h264_v4l2m2m", "/dev/video*", AV_HWDEVICE_TYPE_NONE, AV_PIX_FMT_YUV420P},
    };
    return encoders;
}

std::string FindDevice(const HardwareEncoder& encoder) {
    glob_t found{};
    std::string result;
    if (glob(encoder.devices, 0, nullptr, &found) == 0) {
        for (std::size_t i = 0; i < found.gl_pathc && result.empty(); ++i) {
            if (access(found.gl_pathv[i], R_OK | W_OK) == 0) result = found.gl_pathv[i];
        }
    }
    globfree(&found);
    return result;
}

}  // namespace Vimbrel
