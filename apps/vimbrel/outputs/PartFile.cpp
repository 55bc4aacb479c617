#include "outputs/PartFile.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace studio {

namespace {

std::filesystem::path WithPart(std::filesystem::path name) {
    name += ".part";
    return name;
}

}  // namespace

PartFile::PartFile(std::filesystem::path final_name)
    : name(std::move(final_name)), part_name(WithPart(name)) {}

PartFile::~PartFile() {
    std::error_code ignored;
    if (created) std::filesystem::remove(part_name, ignored);
}

bool PartFile::Create(std::string& error) {
    std::error_code code;
    if (std::filesystem::is_directory(name, code)) {
        error = name.string() + ": is a folder";
        return false;
    }
    errno = 0;
    const std::ofstream file(part_name, std::ios::binary | std::ios::trunc);
    if (!file) {
        error = name.string() + ": cannot be written: " + std::generic_category().message(errno);
        return false;
    }
    created = true;
    return true;
}

bool PartFile::Keep(std::string& error) {
    std::error_code code;
    std::filesystem::rename(part_name, name, code);
    if (code) {
        error = name.string() + ": cannot be written: " + code.message();
        return false;
    }
    created = false;
    return true;
}

std::uint64_t PartFile::Size() const {
    std::error_code code;
    const auto size = std::filesystem::file_size(created ? part_name : name, code);
    return code ? 0 : size;
}

}  // namespace studio
