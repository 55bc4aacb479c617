// What a publisher answers to a server that refuses its connection until it has logged in. The
// protocol's library could do this, but writes beyond its memory while it does.
#pragma once

#include <string>

namespace Vimbrel {

class PublisherLogin {
public:
    PublisherLogin(std::string login_user, std::string login_password)
        : user(std::move(login_user)), password(std::move(login_password)) {}

    // `description` is the server's reason to refuse `application`, which has what was answered
    // before behind it. What the next connection is to append to it; empty if there is nothing to
    // be said.
    std::string Answer(const std::string& description, const std::string& application) const;

private:
    std::string AnswerAdobe(const std::string& question) const;
    std::string AnswerLlnw(const std::string& question, const std::string& application) const;

    const std::string user;
    const std::string password;
};

}  // namespace Vimbrel
