#include "Source/cast/PublisherLogin.h"

#include <array>
#include <cstdint>
#include <random>

#include "Source/cast/Md5.h"

namespace Vimbrel {
namespace {

bool Has(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

template <std::size_t Size>
std::string Base64(const std::array<std::uint8_t, Size>& bytes) {
    static constexpr char digits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < Size; i += 3) {
        std::uint32_t bits = 0;
        for (std::size_t j = i; j < i + 3; ++j) bits = bits << 8 | (j < Size ? bytes[j] : 0U);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += i + digit <= Size ? digits[bits >> (18 - 6 * digit) & 63] : '=';
    }
    return text;
}

template <std::size_t Size>
std::string Hex(const std::array<std::uint8_t, Size>& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
    }
    return text;
}

std::array<std::uint8_t, 4> Random() {
    std::random_device random;
    std::array<std::uint8_t, 4> bytes{};
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

// The value of one name in "?reason=needauth&name=value&…".
std::string Value(const std::string& question, const std::string& name) {
    const std::string key = "&" + name + "=";
    const std::size_t place = question.find(key);
    if (place == std::string::npos) return {};
    const std::size_t start = place + key.size();
    return question.substr(start, question.find('&', start) - start);
}

}  // namespace

std::string PublisherLogin::Answer(const std::string& description,
                                   const std::string& application) const {
    const bool adobe = Has(description, "authmod=adobe");
    if (user.empty() || password.empty() || !(adobe || Has(description, "authmod=llnw"))) return {};
    if (Has(description, "code=403 need auth")) {
        // Asking again means that the user is not accepted.
        if (Has(application, "authmod=")) return {};
        return std::string(adobe ? "?authmod=adobe" : "?authmod=llnw") + "&user=" + user;
    }
    const std::size_t question = description.find("?reason=needauth");
    if (question == std::string::npos || Has(application, "&response=")) return {};
    return adobe ? AnswerAdobe(description.substr(question))
                 : AnswerLlnw(description.substr(question), application);
}

std::string PublisherLogin::AnswerAdobe(const std::string& question) const {
    const std::string opaque = Value(question, "opaque");
    const std::string challenge = Base64(Random());
    const std::string salted = Base64(Md5(user + Value(question, "salt") + password));
    const std::string response =
        Base64(Md5(salted + (opaque.empty() ? Value(question, "challenge") : opaque) + challenge));
    return "&challenge=" + challenge + "&response=" + response + "&opaque=" + opaque;
}

// HTTP's digest authentication with "publish" as its method.
std::string PublisherLogin::AnswerLlnw(const std::string& question,
                                       const std::string& application) const {
    const std::string nonce = Value(question, "nonce");
    const std::string count = "00000001";
    const std::string own_nonce = Hex(Random());
    std::string place = application.substr(0, application.find('?'));
    if (!Has(place, "/")) place += "/_definst_";
    const std::string response =
        Hex(Md5(Hex(Md5(user + ":live:" + password)) + ":" + nonce + ":" + count + ":" + own_nonce +
                ":auth:" + Hex(Md5("publish:/" + place))));
    return "&nonce=" + nonce + "&cnonce=" + own_nonce + "&nc=" + count + "&response=" + response;
}

}  // namespace Vimbrel
