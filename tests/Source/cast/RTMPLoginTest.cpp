// Logins to a server on loopback, checked by a foreign program.
#include <gmock/gmock.h>

#include "tests/fakes/FakeRtmpServer.h"
#include "tests/support/CastSession.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {
namespace {

const std::string head = "[ AccessManager.Reject ] : [ ";

// Returns a value of an application's query.
std::string Value(const std::string& application, const std::string& name) {
    const std::size_t place = application.find("&" + name + "=");
    if (place == std::string::npos) return {};
    const std::size_t start = place + name.size() + 2;
    return application.substr(start, application.find('&', start) - start);
}

// By a foreign program.
std::string Md5Base64(const std::string& text) {
    return TempFolder().Run("printf %s '" + text +
                            "' | openssl dgst -md5 -binary | openssl base64 | tr -d '\\n'");
}
std::string Md5Hex(const std::string& text) {
    return TempFolder().Run("printf %s '" + text +
                            "' | openssl dgst -md5 -r | cut -c1-32 | tr -d '\\n'");
}

struct Login {
    const char* mode;
    const char* question;                                     // after the reason
    std::function<std::string(const std::string&)> response;  // that is right, for an application
};

void PrintTo(const Login& login, std::ostream* out) { *out << login.mode; }

class RTMPLogin : public testing::TestWithParam<Login> {
protected:
    // Refuses once for the user and once for the question, and then checks the reply.
    static std::string Judge(const std::string& application) {
        const Login& login = GetParam();
        const std::string mode = std::string("authmod=") + login.mode;
        if (application.find(mode) == std::string::npos)
            return head + "code=403 need auth; " + mode + " ] : ";
        const std::string response = Value(application, "response");
        if (response.empty())
            return head + mode + " ] : ?reason=needauth&user=" + Value(application, "user") +
                   login.question;
        return response == login.response(application) ? ""
                                                       : head + mode + " ] : ?reason=authfailed";
    }
};

TEST_P(RTMPLogin, IsAnswered) {
    // The login is set on the cast, or in the options of the URL.
    for (const bool in_url : {false, true}) {
        FakeRtmpServer server(Judge);
        const auto cast = MakeCast(server.Url() + " pubUser=joe pubPasswd=secret");
        if (!in_url) cast->SetServer(server.Url() + " pubUser=jim", "joe", "secret");
        EXPECT_EQ(cast->Start(), 0);
        Play(*cast, 5);
        cast->Stop();
        const std::vector<std::string> applications = server.Applications();
        ASSERT_EQ(applications.size(), 3U);
        EXPECT_EQ(applications[0], "live");
        EXPECT_EQ(applications[1], std::string("live?authmod=") + GetParam().mode + "&user=joe");
        EXPECT_EQ(applications[2].rfind(applications[1] + "&", 0), 0U) << applications[2];
        EXPECT_GT(server.media_messages, 5);
    }
}

// With a wrong password, and without one.
TEST_P(RTMPLogin, FailsWithTheStream) {
    for (const std::string password : {"wrong", ""}) {
        FakeRtmpServer server(Judge);
        const auto cast = MakeCast(server.Url());
        cast->SetServer(server.Url(), "joe", password);
        EXPECT_EQ(cast->Start(), RTMPCAST_STREAM_FAILED) << password;
        EXPECT_EQ(server.Applications().size(), password.empty() ? 1U : 3U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Modes, RTMPLogin,
    testing::Values(Login{"adobe", "&salt=c2FsdA==&challenge=Y2hhbGw=&opaque=b3BhcXVl",
                          [](const std::string& application) {
                              return Md5Base64(Md5Base64("joec2FsdA==secret") + "b3BhcXVl" +
                                               Value(application, "challenge"));
                          }},
                    Login{"llnw", "&nonce=abcd",
                          [](const std::string& application) {
                              return Md5Hex(Md5Hex("joe:live:secret") +
                                            ":abcd:" + Value(application, "nc") + ":" +
                                            Value(application, "cnonce") +
                                            ":auth:" + Md5Hex("publish:/live/_definst_"));
                          }}),
    [](const auto& test) { return std::string(test.param.mode); });

}  // namespace
}  // namespace Vimbrel::test
