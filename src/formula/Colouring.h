// Colouring of formula text by token class: numbers, keywords, operators, built-in functions
// and quoted strings. The result is data (a format per character, or runs of equal format);
// the formula box only applies it, so the colouring can be tested and used without a window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace marlindex {

// The character formatting the colouring sets. rgb is 0xRRGGBB.
struct CharFormat {
    std::uint32_t rgb = 0x000000;
    bool bold = false;
    bool operator==(const CharFormat&) const = default;
};

// What text no pass touches looks like: the box's default, black and regular.
inline constexpr CharFormat kDefaultFormat{};

inline constexpr std::uint32_t kMagenta = 0xFF00FF;
inline constexpr std::uint32_t kBlue = 0x0000FF;
inline constexpr std::uint32_t kBlack = 0x000000;

// `length` characters from `start` (offsets in characters, not bytes) share one format.
struct FormatRun {
    std::size_t start = 0;
    std::size_t length = 0;
    CharFormat format;
    bool operator==(const FormatRun&) const = default;
};

// One format per character of `text`.
std::vector<CharFormat> ColourCharacters(std::u32string_view text);

// Maximal runs of equal format covering the whole text, in order; none for an empty text.
std::vector<FormatRun> ColourRuns(std::u32string_view text);

// As above for UTF-8 text; malformed bytes count as one Windows-1252 character each.
std::vector<FormatRun> ColourRuns(std::string_view utf8);

} // namespace marlindex
