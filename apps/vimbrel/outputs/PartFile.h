// A file that takes its name only when it is whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace studio {

// While the file is being made it stands beside its place as "<name>.part", so that what is cut off
// never looks finished, and a finished file from before is lost only to a new one. Removed at
// destruction unless kept.
class PartFile {
public:
    explicit PartFile(std::filesystem::path final_name);
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    // Makes it, empty. False with `error` set if it cannot be written.
    bool Create(std::string& error);
    // Gives it its name.
    bool Keep(std::string& error);

    const std::filesystem::path& Name() const { return name; }
    const std::filesystem::path& PartName() const { return part_name; }
    std::uint64_t Size() const;  // bytes; 0 if there is none

private:
    std::filesystem::path name;
    std::filesystem::path part_name;
    bool created = false;
};

}  // namespace studio
