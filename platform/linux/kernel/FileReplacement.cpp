#include "platform/linux/kernel/FileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "platform/linux/kernel/ErrnoResult.h"

namespace Vimbrel {

namespace {

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

FileReplacement::~FileReplacement() {
    if (!beside_.empty()) unlink(beside_.c_str());
}

HRESULT FileReplacement::Open(const std::string& path, int& descriptor) {
    // A pipe without a reader must not hold us up. What the file held is let go of only when it is
    // known to be a file.
    const int opened = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (opened < 0) return ResultFromErrno(errno);
    struct stat status {};
    HRESULT hr = fstat(opened, &status) == 0 ? S_OK : ResultFromErrno(errno);
    if (SUCCEEDED(hr) && !S_ISREG(status.st_mode)) hr = E_ACCESSDENIED;
    if (SUCCEEDED(hr) && status.st_size != 0) {
        hr = OpenBeside(path, status.st_mode & 07777, descriptor);
        if (SUCCEEDED(hr)) {
            close(opened);
            return S_OK;
        }
        hr = ftruncate(opened, 0) == 0 ? S_OK : ResultFromErrno(errno);
    }
    if (FAILED(hr)) {
        close(opened);
        return hr;
    }
    descriptor = opened;
    return S_OK;
}

HRESULT FileReplacement::OpenBeside(const std::string& path, unsigned mode, int& descriptor) {
    // A symbolic link stays; the file that it names is replaced.
    const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
    if (!real) return ResultFromErrno(errno);
    const std::string name = real.get();
    const std::string folder = name.substr(0, name.rfind('/') + 1);
    std::random_device random;
    constexpr int tries = 10;
    for (int i = 0; i < tries; ++i) {
        const std::string beside = folder + ".vimbrel-" + std::to_string(random());
        descriptor = open(beside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (descriptor < 0 && errno == EEXIST) continue;
        if (descriptor < 0) return ResultFromErrno(errno);
        static_cast<void>(fchmod(descriptor, mode));
        name_ = name;
        beside_ = beside;
        return S_OK;
    }
    return E_FAIL;
}

HRESULT FileReplacement::Commit() {
    if (beside_.empty()) return S_OK;
    if (rename(beside_.c_str(), name_.c_str()) != 0) return ResultFromErrno(errno);
    beside_.clear();
    return S_OK;
}

}  // namespace Vimbrel
