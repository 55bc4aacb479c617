// A folder that goes with the test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace Vimbrel::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes ReadBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline std::string ReadText(const std::filesystem::path& file) {
    const Bytes bytes = ReadBytes(file);
    return {bytes.begin(), bytes.end()};
}

class TempFolder {
public:
    TempFolder() {
        // By chance, since builds of several kinds may be tested at once.
        std::random_device random;
        do {
            path = std::filesystem::absolute(std::filesystem::temp_directory_path()) /
                   ("vimbrel-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path));
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }

    // The file's absolute path.
    std::filesystem::path Write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(path / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return path / name;
    }
    std::filesystem::path Write(const std::string& name, const std::string& text) const {
        return Write(name, Bytes(text.begin(), text.end()));
    }

    // Runs shell commands within the folder and gives what they print; a failure fails the test.
    std::string Run(const std::string& command) const {
        const std::string line =
            "cd \"" + path.string() + "\" && ( " + command + " ) > printed 2>&1 < /dev/null";
        EXPECT_EQ(std::system(line.c_str()), 0) << command << "\n" << ReadText(path / "printed");
        return ReadText(path / "printed");
    }

    std::filesystem::path path;
};

}  // namespace Vimbrel::test
