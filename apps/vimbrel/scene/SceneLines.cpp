#include "scene/SceneLines.h"

#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

namespace studio {

namespace {

using Json = nlohmann::json;

// Reads the text, and knows how many lines ended before the character that was read last. The
// parser reads one character beyond a number, which may end its line.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* position, int* lines) : at(position), ended(lines) {}
    reference operator*() const { return *at; }
    CountingIterator& operator++() {
        if (ended && was_end) ++*ended;
        was_end = *at == '\n';
        ++at;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return at == other.at; }
    bool operator!=(const CountingIterator& other) const { return at != other.at; }

private:
    const char* at;
    int* ended;
    bool was_end = false;
};

// Walks the document and keeps the line of the longest place that the wanted one begins with.
class Finder : public nlohmann::json_sax<Json> {
public:
    explicit Finder(std::string wanted_place) : wanted(std::move(wanted_place)) {}

    bool null() override { return Value(); }
    bool boolean(bool) override { return Value(); }
    bool number_integer(number_integer_t) override { return Value(); }
    bool number_unsigned(number_unsigned_t) override { return Value(); }
    bool number_float(number_float_t, const string_t&) override { return Value(); }
    bool string(string_t&) override { return Value(); }
    bool binary(binary_t&) override { return Value(); }
    bool start_object(std::size_t) override { return Begin(false); }
    bool start_array(std::size_t) override { return Begin(true); }
    bool end_object() override { return End(); }
    bool end_array() override { return End(); }
    bool key(string_t& name) override {
        levels.back().name = name;
        Look();
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
        return false;
    }

    int lines = 0;  // ended before what was read last
    int line = 1;   // the result

private:
    struct Level {
        bool is_array;
        int index = -1;
        std::string name;
    };

    // An element of an array is at a place of its own; a member was looked at with its name.
    bool Value() {
        if (levels.empty() || !levels.back().is_array) return true;
        ++levels.back().index;
        Look();
        return true;
    }
    bool Begin(bool is_array) {
        Value();
        levels.push_back({is_array, -1, {}});
        return true;
    }
    bool End() {
        levels.pop_back();
        return true;
    }
    void Look() {
        std::string place;
        for (const Level& level : levels) {
            if (level.is_array) {
                place += "[" + std::to_string(level.index) + "]";
            } else {
                place += (place.empty() ? "" : ".") + level.name;
            }
        }
        const bool within = wanted.compare(0, place.size(), place) == 0 &&
                            (wanted.size() == place.size() || wanted[place.size()] == '.' ||
                             wanted[place.size()] == '[');
        if (within) line = lines + 1;
    }

    const std::string wanted;
    std::vector<Level> levels;
};

}  // namespace

int LineOf(const std::string& text, const std::string& place) {
    Finder finder(place);
    Json::sax_parse(CountingIterator(text.data(), &finder.lines),
                    CountingIterator(text.data() + text.size(), nullptr), &finder,
                    nlohmann::detail::input_format_t::json, true, true);
    return finder.line;
}

}  // namespace studio
