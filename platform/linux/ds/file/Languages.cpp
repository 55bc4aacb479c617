#include "platform/linux/ds/file/Languages.h"

#include <algorithm>
#include <array>

namespace Vimbrel {

namespace {

struct Language {
    std::string_view codes[3];
    LCID locale;
};

constexpr Language languages[] = {
    {{"ar", "ara", "ara"}, 0x0401}, {{"bg", "bul", "bul"}, 0x0402}, {{"ca", "cat", "cat"}, 0x0403},
    {{"zh", "zho", "chi"}, 0x0804}, {{"cs", "ces", "cze"}, 0x0405}, {{"da", "dan", "dan"}, 0x0406},
    {{"de", "deu", "ger"}, 0x0407}, {{"el", "ell", "gre"}, 0x0408}, {{"en", "eng", "eng"}, 0x0409},
    {{"es", "spa", "spa"}, 0x0C0A}, {{"fi", "fin", "fin"}, 0x040B}, {{"fr", "fra", "fre"}, 0x040C},
    {{"he", "heb", "heb"}, 0x040D}, {{"hu", "hun", "hun"}, 0x040E}, {{"it", "ita", "ita"}, 0x0410},
    {{"ja", "jpn", "jpn"}, 0x0411}, {{"ko", "kor", "kor"}, 0x0412}, {{"nl", "nld", "dut"}, 0x0413},
    {{"no", "nor", "nob"}, 0x0414}, {{"pl", "pol", "pol"}, 0x0415}, {{"pt", "por", "por"}, 0x0416},
    {{"ro", "ron", "rum"}, 0x0418}, {{"ru", "rus", "rus"}, 0x0419}, {{"hr", "hrv", "hrv"}, 0x041A},
    {{"sk", "slk", "slo"}, 0x041B}, {{"sv", "swe", "swe"}, 0x041D}, {{"th", "tha", "tha"}, 0x041E},
    {{"tr", "tur", "tur"}, 0x041F}, {{"id", "ind", "ind"}, 0x0421}, {{"uk", "ukr", "ukr"}, 0x0422},
    {{"vi", "vie", "vie"}, 0x042A}, {{"hi", "hin", "hin"}, 0x0439},
};

}  // namespace

LCID LocaleOfLanguage(std::string_view code) {
    const auto* const found =
        std::find_if(std::begin(languages), std::end(languages), [&](const Language& each) {
            return std::find(std::begin(each.codes), std::end(each.codes), code) !=
                   std::end(each.codes);
        });
    return found == std::end(languages) ? 0 : found->locale;
}

}  // namespace Vimbrel
