#include "tests/fakes/FakeDecodingDevice.h"

#include <va/va_backend.h>
#include <va/va_drm.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

namespace Vimbrel::test {

namespace {

using Fault = FakeDecodingDevice::Fault;

std::atomic<bool> present{false};
std::atomic<Fault> present_fault{Fault::none};
std::atomic<int> good_left{0};

struct Surface {
    unsigned width = 0;
    unsigned height = 0;
    int number = 0;
};

struct Buffer {
    VABufferType type = VABufferTypeMax;
    std::vector<std::uint8_t> bytes;
};

// One per display. All its calls are the streaming thread's, but frames may be freed by another.
struct Driver {
    VADriverContext context{};
    VADisplayContext display{};
    std::mutex lock;
    VAGenericID last = 0;
    std::map<VAGenericID, Surface> surfaces;
    std::map<VAGenericID, Buffer> buffers;
    std::map<VAGenericID, VAGenericID> images;  // their buffers
    VASurfaceID target = VA_INVALID_ID;
};

Driver& Of(VADriverContextP context) { return *static_cast<Driver*>(context->pDriverData); }

bool FailsNow(Fault fault) { return present_fault == fault && --good_left < 0; }

VAStatus Succeed(VADriverContextP, VAGenericID) { return VA_STATUS_SUCCESS; }

VAStatus QueryProfiles(VADriverContextP, VAProfile* profiles, int* count) {
    *count = 0;
    if (present_fault == Fault::profile) return VA_STATUS_SUCCESS;
    for (const VAProfile each : {VAProfileH264Main, VAProfileH264High}) profiles[(*count)++] = each;
    return VA_STATUS_SUCCESS;
}

VAStatus QueryEntrypoints(VADriverContextP, VAProfile, VAEntrypoint* entries, int* count) {
    entries[0] = VAEntrypointVLD;
    *count = 1;
    return VA_STATUS_SUCCESS;
}

VAStatus GetAttributes(VADriverContextP, VAProfile, VAEntrypoint, VAConfigAttrib* attributes,
                       int count) {
    for (int i = 0; i < count; ++i)
        attributes[i].value = attributes[i].type == VAConfigAttribRTFormat
                                  ? VA_RT_FORMAT_YUV420
                                  : VA_ATTRIB_NOT_SUPPORTED;
    return VA_STATUS_SUCCESS;
}

VAStatus CreateConfig(VADriverContextP, VAProfile, VAEntrypoint, VAConfigAttrib*, int,
                      VAConfigID* made) {
    *made = 1;
    return VA_STATUS_SUCCESS;
}

VAStatus QuerySurfaceAttributes(VADriverContextP, VAConfigID, VASurfaceAttrib* attributes,
                                unsigned* count) {
    *count = 1;
    if (!attributes) return VA_STATUS_SUCCESS;
    attributes[0] = {};
    attributes[0].type = VASurfaceAttribPixelFormat;
    attributes[0].flags = VA_SURFACE_ATTRIB_GETTABLE | VA_SURFACE_ATTRIB_SETTABLE;
    attributes[0].value.type = VAGenericValueTypeInteger;
    attributes[0].value.value.i = VA_FOURCC_NV12;
    return VA_STATUS_SUCCESS;
}

VAStatus CreateSurfaces(VADriverContextP context, unsigned, unsigned width, unsigned height,
                        VASurfaceID* made, unsigned count, VASurfaceAttrib*, unsigned) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    for (unsigned i = 0; i < count; ++i) {
        made[i] = ++driver.last;
        driver.surfaces[made[i]] = {width, height, 0};
    }
    return VA_STATUS_SUCCESS;
}

VAStatus DestroySurfaces(VADriverContextP context, VASurfaceID* surfaces, int count) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    for (int i = 0; i < count; ++i) driver.surfaces.erase(surfaces[i]);
    return VA_STATUS_SUCCESS;
}

VAStatus CreateContext(VADriverContextP, VAConfigID, int, int, int, VASurfaceID*, int,
                       VAContextID* made) {
    *made = 2;
    return present_fault == Fault::context ? VA_STATUS_ERROR_OPERATION_FAILED : VA_STATUS_SUCCESS;
}

VAStatus CreateBuffer(VADriverContextP context, VAContextID, VABufferType type, unsigned size,
                      unsigned count, void* data, VABufferID* made) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    *made = ++driver.last;
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    driver.buffers[*made].type = type;
    if (bytes) driver.buffers[*made].bytes.assign(bytes, bytes + std::size_t{size} * count);
    return VA_STATUS_SUCCESS;
}

VAStatus MapBuffer(VADriverContextP context, VABufferID buffer, void** bytes) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    *bytes = driver.buffers[buffer].bytes.data();
    return VA_STATUS_SUCCESS;
}

VAStatus DestroyBuffer(VADriverContextP context, VABufferID buffer) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    driver.buffers.erase(buffer);
    return VA_STATUS_SUCCESS;
}

VAStatus BeginPicture(VADriverContextP context, VAContextID, VASurfaceID target) {
    Of(context).target = target;
    return VA_STATUS_SUCCESS;
}

VAStatus RenderPicture(VADriverContextP context, VAContextID, VABufferID* buffers, int count) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    for (int i = 0; i < count; ++i) {
        const Buffer& buffer = driver.buffers[buffers[i]];
        if (buffer.type != VAPictureParameterBufferType) continue;
        VAPictureParameterBufferH264 picture;
        std::memcpy(&picture, buffer.bytes.data(), sizeof picture);
        // Two fields per picture, from the last key picture on.
        driver.surfaces[driver.target].number = picture.CurrPic.TopFieldOrderCnt / 2;
    }
    return VA_STATUS_SUCCESS;
}

VAStatus EndPicture(VADriverContextP, VAContextID) {
    return FailsNow(Fault::picture) ? VA_STATUS_ERROR_DECODING_ERROR : VA_STATUS_SUCCESS;
}

VAStatus QueryImageFormats(VADriverContextP, VAImageFormat* formats, int* count) {
    formats[0] = {};
    formats[0].fourcc = VA_FOURCC_NV12;
    formats[0].byte_order = VA_LSB_FIRST;
    formats[0].bits_per_pixel = 12;
    *count = 1;
    return VA_STATUS_SUCCESS;
}

VAStatus CreateImage(VADriverContextP context, VAImageFormat* format, int width, int height,
                     VAImage* image) {
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    *image = {};
    image->image_id = ++driver.last;
    image->format = *format;
    image->buf = driver.images[image->image_id] = ++driver.last;
    image->width = static_cast<std::uint16_t>(width);
    image->height = static_cast<std::uint16_t>(height);
    image->num_planes = 2;
    image->pitches[0] = image->pitches[1] = static_cast<std::uint32_t>(width);
    image->offsets[1] = static_cast<std::uint32_t>(width * height);
    image->data_size = image->offsets[1] * 3 / 2;
    driver.buffers[image->buf].bytes.assign(image->data_size, 128);
    return VA_STATUS_SUCCESS;
}

VAStatus DestroyImage(VADriverContextP context, VAImageID image) {
    return DestroyBuffer(context, Of(context).images[image]);
}

VAStatus GetImage(VADriverContextP context, VASurfaceID surface, int, int, unsigned width, unsigned,
                  VAImageID image) {
    if (FailsNow(Fault::transfer)) return VA_STATUS_ERROR_OPERATION_FAILED;
    Driver& driver = Of(context);
    const std::lock_guard guard(driver.lock);
    std::vector<std::uint8_t>& bytes = driver.buffers[driver.images[image]].bytes;
    const int number = driver.surfaces[surface].number;
    for (std::size_t i = 0; i < bytes.size() * 2 / 3; ++i) {
        const int digit = i % width < width / 2 ? number / 16 : number % 16;
        bytes[i] = static_cast<std::uint8_t>(24 + digit * 13 + FakeDecodingDevice::brighter);
    }
    return VA_STATUS_SUCCESS;
}

void Fill(VADriverVTable& table) {
    table.vaQueryConfigProfiles = QueryProfiles;
    table.vaQueryConfigEntrypoints = QueryEntrypoints;
    table.vaGetConfigAttributes = GetAttributes;
    table.vaCreateConfig = CreateConfig;
    table.vaDestroyConfig = Succeed;
    table.vaQuerySurfaceAttributes = QuerySurfaceAttributes;
    table.vaCreateSurfaces2 = CreateSurfaces;
    table.vaDestroySurfaces = DestroySurfaces;
    table.vaCreateContext = CreateContext;
    table.vaDestroyContext = Succeed;
    table.vaCreateBuffer = CreateBuffer;
    table.vaMapBuffer = MapBuffer;
    table.vaUnmapBuffer = Succeed;
    table.vaDestroyBuffer = DestroyBuffer;
    table.vaBeginPicture = BeginPicture;
    table.vaRenderPicture = RenderPicture;
    table.vaEndPicture = EndPicture;
    table.vaSyncSurface = Succeed;
    table.vaQueryImageFormats = QueryImageFormats;
    table.vaCreateImage = CreateImage;
    // Pictures are copied out instead.
    table.vaDeriveImage = [](VADriverContextP, VASurfaceID, VAImage*) -> VAStatus {
        return VA_STATUS_ERROR_UNIMPLEMENTED;
    };
    table.vaDestroyImage = DestroyImage;
    table.vaGetImage = GetImage;
}

}  // namespace

FakeDecodingDevice::FakeDecodingDevice(Fault fault, int good_pictures) {
    present_fault = fault;
    good_left = good_pictures;
    present = true;
}

FakeDecodingDevice::~FakeDecodingDevice() { present = false; }

}  // namespace Vimbrel::test

extern "C" {

// In place of libva's, which look at the node and load a driver from a file.
__attribute__((visibility("default"))) VADisplay vaGetDisplayDRM(int) {
    using Vimbrel::test::Driver;
    if (!Vimbrel::test::present) return nullptr;
    auto* const driver = new Driver;
    driver->context.pDriverData = driver;
    driver->context.pDisplayContext = &driver->display;
    // libva frees it at its end.
    driver->context.vtable = static_cast<VADriverVTable*>(std::calloc(1, sizeof(VADriverVTable)));
    Vimbrel::test::Fill(*driver->context.vtable);
    driver->context.max_profiles = 2;
    driver->context.max_entrypoints = driver->context.max_image_formats = 1;
    driver->context.str_vendor = "numbers";
    driver->display.vadpy_magic = VA_DISPLAY_MAGIC;
    driver->display.pDriverContext = &driver->context;
    driver->display.vaIsValid = [](VADisplayContextP) { return 1; };
    driver->display.vaDestroy = [](VADisplayContextP display) {
        delete static_cast<Driver*>(display->pDriverContext->pDriverData);
    };
    return &driver->display;
}

__attribute__((visibility("default"))) VAStatus vaInitialize(VADisplay, int* major, int* minor) {
    *major = VA_MAJOR_VERSION;
    *minor = VA_MINOR_VERSION;
    return VA_STATUS_SUCCESS;
}
}
