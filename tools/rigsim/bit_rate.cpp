#include "tools/rigsim/bit_rate.h"

#include <algorithm>
#include <cmath>

namespace rigsim
{
namespace
{

constexpr double kTolerance = 0.03;
constexpr int kDataBits = 8;

/// The line over time, one entry a bit: start bit, data from the lowest bit on, stop bit.
std::vector<bool> levelsOf(const Bytes& bytes)
{
    std::vector<bool> levels;
    for (const uint8_t byte : bytes) {
        levels.push_back(false);
        for (int bit = 0; bit < kDataBits; ++bit) levels.push_back((byte >> bit & 1) != 0);
        levels.push_back(true);
    }
    return levels;
}

}  // namespace

Bytes asHeard(const Bytes& bytes, unsigned sentAt, unsigned heardAt)
{
    const double step = static_cast<double>(sentAt) / heardAt;  // bits sent per bit heard
    if (std::abs(step - 1) <= kTolerance) return bytes;

    const std::vector<bool> levels = levelsOf(bytes);
    const auto levelAt = [&](double at) {
        const auto bit = static_cast<size_t>(at);
        return bit >= levels.size() || levels[bit];  // a line at rest is high
    };
    Bytes heard;
    for (double at = 0; at < static_cast<double>(levels.size());) {
        if (levelAt(at)) {
            at = std::floor(at) + 1;
            continue;
        }
        // A start bit. Each bit after it is looked at in its middle.
        unsigned byte = 0;
        for (int bit = 0; bit < kDataBits; ++bit)
            byte |= static_cast<unsigned>(levelAt(at + (bit + 1.5) * step)) << bit;
        at += (kDataBits + 1.5) * step;
        heard.push_back(static_cast<uint8_t>(levelAt(at) ? byte : 0));
    }
    return heard;
}

}  // namespace rigsim
