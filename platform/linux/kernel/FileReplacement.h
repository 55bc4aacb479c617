// Making a file in the place of an older one, which goes only when the new one has begun well.
#pragma once

#include <winerror.h>

#include <string>

namespace Vimbrel {

class FileReplacement {
public:
    FileReplacement() = default;
    // Takes away what was not committed.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Opens an empty file for reading and writing. If there is one of that name with something in
    // it, the new one stands beside it until Commit; where the folder allows no new files, it is
    // emptied and used itself. E_ACCESSDENIED for what is no ordinary file. The descriptor is the
    // caller's.
    HRESULT Open(const std::string& path, int& descriptor);
    // Gives the new file its name.
    HRESULT Commit();

private:
    HRESULT OpenBeside(const std::string& path, unsigned mode, int& descriptor);

    std::string name_;
    std::string beside_;  // empty if the file has its name already
};

}  // namespace Vimbrel
