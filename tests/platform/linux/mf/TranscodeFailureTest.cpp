// What a recording makes of bad arguments and bad disks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/platform/linux/mf/Mp4TestKit.h"

namespace Vimbrel::test {
namespace {

TEST(TranscodeFailure, BadArgumentsMakeNoFile) {
    const struct {
        const char* what;
        Scene scene;
    } cases[] = {
        {"odd width", {.width = 63}},
        {"odd height", {.height = 47}},
        {"no height", {.height = 0}},
        {"too wide", {.width = 20'000}},
        {"no rate", {.fps_num = 0}},
        {"no rate's denominator", {.fps_den = 0}},
        {"no bits for the picture", {.bit_rate = 0}},
        {"no channels", {.channels = 0}},
        {"too many channels", {.channels = 9}},
        {"no samples' size", {.bits = 0}},
        {"12 bits", {.bits = 12}},
        {"16 bits of floating point", {.bits = 16, .is_float = true}},
        {"a rate that AAC does not have", {.out_rate = 44000}},
        {"no channels out", {.out_channels = 0}},
        {"neither picture nor sound", {.width = 0, .sound_rate = 0}},
    };
    const TemporaryFile name;
    std::filesystem::remove(name.Path());
    for (const auto& each : cases) {
        std::unique_ptr<TranscodePipeline> pipeline;
        EXPECT_EQ(Open(name.Path(), each.scene, pipeline), E_INVALIDARG) << each.what;
        EXPECT_FALSE(pipeline) << each.what;
        EXPECT_FALSE(std::filesystem::exists(name.Path())) << each.what;
    }
}

TEST(TranscodeFailure, PlacesThatTakeNoFile) {
    std::unique_ptr<TranscodePipeline> pipeline;
    EXPECT_EQ(Open("/nowhere/a.mp4", {}, pipeline), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Open("", {}, pipeline), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Open("/tmp", {}, pipeline), E_ACCESSDENIED);
    EXPECT_EQ(Open("/dev/full", {}, pipeline), E_ACCESSDENIED);
    EXPECT_EQ(Open("/tmp/" + std::string(300, 'n'), {}, pipeline),
              HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE));
    EXPECT_FALSE(pipeline);
}

TEST(TranscodeFailure, BadBuffersDoNotHurtTheRecording) {
    const TemporaryFile file;
    const Scene scene;
    std::unique_ptr<TranscodePipeline> pipeline;
    ASSERT_EQ(Open(file.Path(), scene, pipeline), S_OK);
    const Bytes frame = Frame(scene, 0);
    const Bytes sound(4096);
    const auto bad = [&] {
        EXPECT_EQ(pipeline->WriteVideo(nullptr, frame.size(), 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteVideo(frame.data(), 0, 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteVideo(frame.data(), frame.size() - 1, 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteVideo(frame.data(), frame.size(), INT64_MAX, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteAudio(nullptr, 4, 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteAudio(sound.data(), 0, 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteAudio(sound.data(), 4095, 0, 0), E_INVALIDARG);
        EXPECT_EQ(pipeline->WriteAudio(sound.data(), 4096, INT64_MAX, 0), E_INVALIDARG);
    };
    bad();
    ASSERT_EQ(Push(*pipeline, scene, 10), S_OK);
    bad();
    ASSERT_EQ(pipeline->Finish(), S_OK);
    EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), "10");
    ExpectDecodes(file.Path());
    EXPECT_EQ(pipeline->Finish(), E_UNEXPECTED);
    EXPECT_EQ(pipeline->WriteVideo(frame.data(), frame.size(), 0, 0), E_UNEXPECTED);
    EXPECT_EQ(pipeline->WriteAudio(sound.data(), sound.size(), 0, 0), E_UNEXPECTED);
}

// Makes the calling process see a disk of that size in the folder; without the right to, its files
// are limited to it.
void MakeSmallDisk(const std::string& folder, unsigned bytes) {
    if (unshare(CLONE_NEWNS) == 0 &&
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount("none", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(bytes)).c_str()) == 0) {
        return;
    }
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

// Copies through a file that was opened before the disk became small.
bool CopyTo(int target, const std::string& path) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const int source = open(path.c_str(), O_RDONLY);
    Bytes bytes(std::size_t{8} << 20);
    const ssize_t size = read(source, bytes.data(), bytes.size());
    return size >= 0 && write(target, bytes.data(), static_cast<std::size_t>(size)) == size;
}

TEST(TranscodeFailure, FullDiskKeepsWhatWasRecorded) {
    char folder[] = "/tmp/mp4_disk.XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const TemporaryFile copy;
    const Scene scene = {.width = 320, .height = 240, .bit_rate = 4'000'000};
    const pid_t child = fork();
    if (child == 0) {
        const int target = open(copy.Path().c_str(), O_WRONLY);
        MakeSmallDisk(folder, 1 << 20);
        const std::string path = std::string(folder) + "/a.mp4";
        std::unique_ptr<TranscodePipeline> pipeline;
        if (FAILED(Open(path, scene, pipeline))) _exit(1);
        constexpr HRESULT full = HRESULT_FROM_WIN32(ERROR_DISK_FULL);
        if (Push(*pipeline, scene, 2000) != full) _exit(2);
        if (Push(*pipeline, scene, 1) != full) _exit(3);
        if (pipeline->Finish() != full) _exit(4);
        if (!CopyTo(target, path)) _exit(5);
        // With no room for even the header an older file stays, and nothing else is left.
        const int older = open(path.c_str(), O_WRONLY | O_TRUNC);
        if (write(older, "old", 3) != 3) _exit(6);
        const int filler =
            open((std::string(folder) + "/filler").c_str(), O_WRONLY | O_CREAT, 0600);
        const Bytes block(std::size_t{64} << 10);
        for (int i = 0; i < 100 && write(filler, block.data(), block.size()) > 0; ++i) continue;
        const rlimit small = {4096, 4096};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        if (Open(path, scene, pipeline) != full) _exit(7);
        if (std::filesystem::file_size(path) != 3) _exit(8);
        const std::filesystem::directory_iterator entries(folder);
        if (std::distance(begin(entries), end(entries)) != 2) _exit(9);
        // Without one, what is made does not look like a recording.
        std::filesystem::remove(path);
        if (Open(path, scene, pipeline) != full) _exit(10);
        _exit(std::filesystem::file_size(path) == 0 ? 0 : 11);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::filesystem::remove_all(folder);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    ExpectDecodes(copy.Path());
    EXPECT_GT(ProbeNumber(copy.Path(), "v", "nb_frames"), 10)
        << "an ordinary file: the room for the index had been taken before";
    EXPECT_GT(std::filesystem::file_size(copy.Path()), 512u << 10);
}

}  // namespace
}  // namespace Vimbrel::test
