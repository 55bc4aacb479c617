#include "platform/linux/codec/H264Stream.h"

#include <cstring>

namespace Vimbrel {

namespace {

constexpr unsigned unit_sps = 7;
constexpr unsigned unit_pps = 8;
constexpr unsigned unit_delimiter = 9;
constexpr unsigned unit_filler = 12;

using Unit = std::span<const std::uint8_t>;

// Finds the first 00 00 01 at or after `from`, or `end`. It searches for the third byte, which is
// the rarest of the three.
const std::uint8_t* FindStartCode(const std::uint8_t* from, const std::uint8_t* end) {
    if (end - from < 3) return end;
    for (const std::uint8_t* at = from + 2; at < end; ++at) {
        at = static_cast<const std::uint8_t*>(
            std::memchr(at, 1, static_cast<std::size_t>(end - at)));
        if (!at) return end;
        if (at[-1] == 0 && at[-2] == 0) return at - 2;
    }
    return end;
}

template <class Visit>
void ForEachUnit(Unit annex_b, const Visit& visit) {
    const std::uint8_t* const end = annex_b.data() + annex_b.size();
    const std::uint8_t* start = FindStartCode(annex_b.data(), end);
    while (start != end) {
        const std::uint8_t* const unit = start + 3;
        start = FindStartCode(unit, end);
        // Zeros before the next start code belong to it: no unit ends in one.
        const std::uint8_t* last = start;
        while (last > unit && last[-1] == 0) --last;
        if (last > unit) visit(Unit(unit, last));
    }
}

void PutSized(Unit unit, unsigned size_bytes, std::vector<std::uint8_t>& bytes) {
    for (unsigned shift = size_bytes * 8; shift > 0;) {
        shift -= 8;
        bytes.push_back(static_cast<std::uint8_t>(unit.size() >> shift));
    }
    bytes.insert(bytes.end(), unit.begin(), unit.end());
}

}  // namespace

std::vector<std::uint8_t> H264ParameterSets(Unit annex_b) {
    std::vector<std::uint8_t> result;
    for (const unsigned wanted : {unit_sps, unit_pps}) {
        ForEachUnit(annex_b, [&](Unit unit) {
            if ((unit[0] & 31u) != wanted) return;
            result.insert(result.end(), {0, 0, 0, 1});
            result.insert(result.end(), unit.begin(), unit.end());
        });
    }
    return result;
}

std::vector<std::uint8_t> H264Configuration(Unit annex_b) {
    Unit sps;
    Unit pps;
    ForEachUnit(annex_b, [&](Unit unit) {
        const unsigned type = unit[0] & 31u;
        if (type == unit_sps && sps.empty()) sps = unit;
        if (type == unit_pps && pps.empty()) pps = unit;
    });
    if (sps.size() < 4 || pps.empty()) return {};
    // Version, profile, compatibility, level, lengths of 4 bytes, one SPS.
    std::vector<std::uint8_t> result = {1, sps[1], sps[2], sps[3], 0xFF, 0xE1};
    PutSized(sps, 2, result);
    result.push_back(1);
    PutSized(pps, 2, result);
    // For High and above: 4:2:0, 8 bits, 8 bits, no extensions of the SPS.
    if (sps[1] >= 100) result.insert(result.end(), {0xFD, 0xF8, 0xF8, 0});
    return result;
}

void AppendH264Sample(Unit annex_b, std::vector<std::uint8_t>& sample) {
    ForEachUnit(annex_b, [&](Unit unit) {
        const unsigned type = unit[0] & 31u;
        if (type != unit_sps && type != unit_pps && type != unit_delimiter && type != unit_filler)
            PutSized(unit, 4, sample);
    });
}

}  // namespace Vimbrel
