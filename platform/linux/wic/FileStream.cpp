// A file as a byte stream. Each call goes straight to the system: the encoder hands over whole
// frames, and what is written is there for other readers at once.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "com/ComObject.h"
#include "platform/linux/kernel/ErrnoResult.h"
#include "platform/linux/kernel/NativePath.h"
#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

namespace {

class FileStream final : public ComObject<Implements<IWICStream, IStream, ISequentialStream>> {
public:
    ~FileStream() override {
        if (file_ >= 0) close(file_);
    }

    HRESULT STDMETHODCALLTYPE InitializeFromFilename(LPCWSTR name, DWORD access) override {
        if (!name || (access & ~(GENERIC_READ | GENERIC_WRITE)) != 0 || access == 0)
            return E_INVALIDARG;
        if (file_ >= 0) return WINCODEC_ERR_WRONGSTATE;
        int flags = O_RDONLY;
        if (access & GENERIC_WRITE)
            flags = (access & GENERIC_READ ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        file_ = open(NativePath(name).c_str(), flags | O_CLOEXEC, 0666);
        return file_ >= 0 ? S_OK : ResultFromErrno(errno);
    }

    HRESULT STDMETHODCALLTYPE Read(void* data, ULONG size, ULONG* read) override {
        if (read) *read = 0;
        if (!data) return E_INVALIDARG;
        if (file_ < 0) return WINCODEC_ERR_NOTINITIALIZED;
        ULONG done = 0;
        while (done < size) {
            const ssize_t now = ::read(file_, static_cast<char*>(data) + done, size - done);
            if (now < 0 && errno == EINTR) continue;
            if (now < 0) return ResultFromErrno(errno);
            if (now == 0) break;
            done += static_cast<ULONG>(now);
            if (read) *read = done;
        }
        return done == size ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Write(const void* data, ULONG size, ULONG* written) override {
        if (written) *written = 0;
        if (!data) return E_INVALIDARG;
        if (file_ < 0) return WINCODEC_ERR_NOTINITIALIZED;
        ULONG done = 0;
        while (done < size) {
            const ssize_t now = ::write(file_, static_cast<const char*>(data) + done, size - done);
            if (now < 0 && errno == EINTR) continue;
            if (now < 0) return ResultFromErrno(errno);
            done += static_cast<ULONG>(now);
            if (written) *written = done;
        }
        return S_OK;
    }

private:
    int file_ = -1;
};

}  // namespace

HRESULT CreateFileStream(IWICStream** stream) { return CreateCom<FileStream>(stream); }

}  // namespace Vimbrel
