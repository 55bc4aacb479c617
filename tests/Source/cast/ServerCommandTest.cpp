// What is read of a server's commands, and that no form of them does harm.
#include "Source/cast/ServerCommand.h"

#include <gtest/gtest.h>

#include "tests/support/AmfText.h"

namespace Vimbrel::test {
namespace {

std::optional<ServerCommand> Read(const std::string& bytes) {
    return ServerCommand::Read({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

TEST(ServerCommand, ReadsNameAndStatusAmongOtherValues) {
    const std::string whole = AmfCommand("onStatus", AmfStatus("error", "No."));
    const std::string nested = "\x03" + AmfName("level") + AmfText("inner") + AmfEnd();
    const struct {
        const char* what;
        std::string body;
        ServerCommand expected;
    } cases[] = {
        {"whole", whole, {"onStatus", true, "error", "No."}},
        {"without the last end",
         whole.substr(0, whole.size() - 3),
         {"onStatus", true, "error", "No."}},
        {"no status",
         AmfText("_result") + AmfZero() + AmfNull() + AmfZero(),
         {"_result", false, "", ""}},
        {"all kinds of values",
         AmfText("x") + "\x01\x01" + std::string("\x08\0\0\0\1", 5) + AmfName("a") + AmfZero() +
             AmfEnd() + "\x03" + AmfName("n") + nested + AmfName("s") +
             std::string("\x0A\0\0\0\2\5\5", 7) + AmfName("d") + "\x0B" + std::string(10, 'd') +
             AmfName("l") + std::string("\x0C\0\0\0\1z", 6) + AmfName("level") + AmfText("status") +
             AmfEnd(),
         {"x", true, "status", ""}},
        {"a form of a later version", AmfText("y") + "\x11 anything", {"y", false, "", ""}},
        {"empty", "", {"", false, "", ""}},
    };
    for (const auto& row : cases) {
        const auto command = Read(row.body);
        ASSERT_TRUE(command) << row.what;
        EXPECT_EQ(command->name, row.expected.name) << row.what;
        EXPECT_EQ(command->has_status, row.expected.has_status) << row.what;
        EXPECT_EQ(command->level, row.expected.level) << row.what;
        EXPECT_EQ(command->description, row.expected.description) << row.what;
    }
}

TEST(ServerCommand, CutOffOrNestedWithoutEndIsNothing) {
    const std::string text = AmfCommand("onStatus", "\x03" + AmfName("level"));
    for (std::size_t size = 1; size <= text.size(); ++size) {
        // Between two values the rest is not missed.
        const bool between = size == 11 || size == 20 || size == 21 || size == 22;
        EXPECT_EQ(Read(text.substr(0, size)).has_value(), between) << size;
    }
    std::string deep = AmfText("x");
    for (int i = 0; i < 1'000'000; ++i) deep += "\x03" + AmfName("o");
    EXPECT_FALSE(Read(deep));
    EXPECT_FALSE(Read(std::string("\x0A\xFF\xFF\xFF\xFF", 5)));
}

}  // namespace
}  // namespace Vimbrel::test
