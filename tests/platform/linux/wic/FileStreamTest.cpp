#include <gtest/gtest.h>

#include "tests/platform/linux/wic/GifTestKit.h"

namespace Vimbrel::test {
namespace {

ComPtr<IWICStream> MakeStream() {
    ComPtr<IWICStream> stream;
    EXPECT_EQ(Factory()->CreateStream(stream.Put()), S_OK);
    return stream;
}

TEST(FileStream, WritesReplaceWhatWasThereAndAreVisibleAtOnce) {
    const TempFolder folder;
    const std::filesystem::path file = folder.Write("a", Bytes(100, 'x'));
    const auto stream = MakeStream();
    ULONG written = 99;
    EXPECT_EQ(stream->Write("abc", 3, &written), WINCODEC_ERR_NOTINITIALIZED);
    EXPECT_EQ(written, 0u);
    ASSERT_EQ(stream->InitializeFromFilename((L"\\\\?\\" + file.wstring()).c_str(), GENERIC_WRITE),
              S_OK);
    EXPECT_EQ(stream->InitializeFromFilename(file.wstring().c_str(), GENERIC_WRITE),
              WINCODEC_ERR_WRONGSTATE);
    EXPECT_EQ(stream->Write("abc", 3, &written), S_OK);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(stream->Write("de", 2, nullptr), S_OK);
    EXPECT_EQ(ReadText(file), "abcde");

    const auto reader = MakeStream();
    ASSERT_EQ(reader->InitializeFromFilename(file.wstring().c_str(), GENERIC_READ), S_OK);
    char data[8] = {};
    ULONG read = 0;
    EXPECT_EQ(reader->Read(data, 8, &read), S_FALSE);
    EXPECT_EQ(std::string(data, read), "abcde");
}

TEST(FileStream, FailuresTellTheirCause) {
    EXPECT_EQ(MakeStream()->InitializeFromFilename(L"/no/such/folder/a.gif", GENERIC_WRITE),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(MakeStream()->InitializeFromFilename(L"/tmp", GENERIC_WRITE), E_ACCESSDENIED);
    EXPECT_EQ(MakeStream()->InitializeFromFilename(L"/tmp/x", 0), E_INVALIDARG);
    const auto full = MakeStream();
    ASSERT_EQ(full->InitializeFromFilename(L"/dev/full", GENERIC_WRITE), S_OK);
    EXPECT_EQ(full->Write("abc", 3, nullptr), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
}

}  // namespace
}  // namespace Vimbrel::test
