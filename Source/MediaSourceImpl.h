// The private worker of a source that has one.
#pragma once

namespace Vimbrel {

class MediaSource;

class MediaSourceImpl {
public:
    virtual ~MediaSourceImpl() = default;

    virtual bool Open(MediaSource* owner) = 0;
    virtual void Close() = 0;
    virtual bool Run() = 0;
    virtual bool Pause() = 0;
    virtual void Stop() = 0;
};

}  // namespace Vimbrel
