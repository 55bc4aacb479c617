// An imaging factory for the GIF recorder that writes no file: it keeps what the recorder asked
// for, in order, and can be told to fail or to hold the recorder's thread.
#pragma once

#include <wincodec.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "base/ObjectCreation.h"

namespace Vimbrel::test {

// All operations of one test. Locked, since the recorder has a thread.
class ImagingJournal {
public:
    // Notes the operation. Its result is that of FailNext, if `operation` was named there.
    HRESULT Note(const std::string& operation, const std::string& details = {});
    // The next `times` calls of the operation give `result`.
    void FailNext(const std::string& operation, HRESULT result, int times = 1);
    // While it holds, calls of the operation wait.
    void Hold(const std::string& operation);
    void Resume();
    // Until the operation has been called `count` times in all. False if that does not happen for
    // 20 seconds.
    bool WaitFor(const std::string& operation, int count);

    // "operation details" of everything so far; with a name only of that operation.
    std::vector<std::string> Entries() const;
    std::vector<std::string> DetailsOf(const std::string& operation) const;

private:
    mutable std::mutex lock;
    std::condition_variable changed;
    std::vector<std::pair<std::string, std::string>> entries;
    std::map<std::string, std::pair<HRESULT, int>> failures;  // and how often
    std::map<std::string, int> counts;
    std::string held;
};

// Makes CLSID_WICImagingFactory2 give the fake, with a fresh journal, while it lives.
class ScopedFakeImaging {
public:
    ScopedFakeImaging();
    ~ScopedFakeImaging();

    ImagingJournal& Journal() { return journal; }

private:
    ImagingJournal journal;
    ScopedClassOverride class_override;
};

}  // namespace Vimbrel::test
