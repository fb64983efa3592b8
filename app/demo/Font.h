#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace TQ::App {

constexpr int glyphColumns = 5;
constexpr int glyphRows = 9;     // seven above the baseline, two below
constexpr int glyphAdvance = 6;  // from one letter to the next

/// Dots of a letter, row by row from the top; bit 4 is the left column.
using Glyph = std::array<std::uint8_t, glyphRows>;

/// The letter for an ASCII character; that of '?' for any other.
const Glyph& GlyphOf(char character);

/// Width of a text in dots.
inline int TextWidth(std::string_view text) {
    constexpr int gap = glyphAdvance - glyphColumns;
    return text.empty() ? 0 : static_cast<int>(text.size()) * glyphAdvance - gap;
}

}  // namespace TQ::App
