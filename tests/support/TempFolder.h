// A folder that goes with the test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Vimbrel::test {

class TempFolder {
public:
    TempFolder() {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("vimbrel-") + info->test_suite_name() + "-" + info->name();
        for (char& c : name) {
            if (c == '/') c = '-';
        }
        path = std::filesystem::absolute(std::filesystem::temp_directory_path() / name);
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }

    // The file's absolute path.
    std::filesystem::path Write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
        std::ofstream(path / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path / name;
    }
    std::filesystem::path Write(const std::string& name, const std::string& text) const {
        return Write(name, std::vector<std::uint8_t>(text.begin(), text.end()));
    }

    std::filesystem::path path;
};

inline std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace Vimbrel::test
