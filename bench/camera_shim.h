// A capture device that is none, for programs that preload `camera_shim`: a path that opens as a
// camera of 1920 x 1080 at 30 pictures per second, YUYV or MJPEG, in real time.
#pragma once

#include <cstdint>

// The path, and the file of the JPEG picture that it delivers; without one it delivers YUYV.
inline constexpr char camera_path_variable[] = "VIMBREL_CAMERA_PATH";
inline constexpr char camera_jpeg_variable[] = "VIMBREL_CAMERA_JPEG";

// Of the picture that was taken last: the device's stamp (monotonic) and the processor time of the
// calling thread when it was taken, both in nanoseconds.
struct CameraShimTimes {
    std::int64_t stamp;
    std::int64_t thread_time;
};
inline constexpr char camera_times_symbol[] = "VimbrelCameraShimTimes";
using CameraShimTimesFunction = CameraShimTimes (*)();
