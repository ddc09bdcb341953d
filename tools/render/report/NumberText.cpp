#include "render/report/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tovix::render {

std::string fixed(double value, int decimals) {
    std::array<char, 512> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
    return {text.data(), result.ptr};
}

std::string numberText(double value) {
    std::array<char, 64> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

double decibelsOf(double magnitude) {
    return 20.0 * std::log10(magnitude);
}

} // namespace tovix::render
