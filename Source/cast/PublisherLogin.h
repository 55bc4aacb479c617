// Answers servers that refuse a publisher until it has logged in.
#pragma once

#include <string>

namespace Vimbrel {

class PublisherLogin {
public:
    PublisherLogin(std::string login_user, std::string login_password)
        : user(std::move(login_user)), password(std::move(login_password)) {}

    // `description` is the server's reason to refuse `application`; the application ends in the
    // answers given so far. Returns what the next connection appends to it, or nothing if the
    // login has failed.
    std::string Answer(const std::string& description, const std::string& application) const;

private:
    std::string AnswerAdobe(const std::string& question) const;
    std::string AnswerLlnw(const std::string& question, const std::string& application) const;

    const std::string user;
    const std::string password;
};

}  // namespace Vimbrel
