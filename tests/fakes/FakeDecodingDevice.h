// A decoding device below FFmpeg's and libva's own code: the program exports the two functions by
// which FFmpeg gets a device's driver. It decodes nothing: its pictures show the number that the
// H.264 stream gives them, in the form of WriteNumberedPictures but a little brighter.
#pragma once

#include <string>

namespace Vimbrel::test {

// While one lives, every device node that can be opened is such a device.
class FakeDecodingDevice {
public:
    enum class Fault { none, profile, context, picture, transfer };

    static constexpr int brighter = 4;

    // With `picture` and `transfer`, so many pictures succeed before.
    explicit FakeDecodingDevice(Fault fault = Fault::none, int good_pictures = 0);
    ~FakeDecodingDevice();
    FakeDecodingDevice(const FakeDecodingDevice&) = delete;
    FakeDecodingDevice& operator=(const FakeDecodingDevice&) = delete;
};

}  // namespace Vimbrel::test
