#include "settings/RegeditText.h"

#include "startup/Codepage.h"

#include <algorithm>

namespace marlindex {

namespace {

constexpr std::string_view kVersion5Header = "Windows Registry Editor Version 5.00";
constexpr std::string_view kUtf16Bom = "\xFF\xFE";
constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

std::size_t LineAt(std::string_view text, std::size_t offset) {
    return 1 + static_cast<std::size_t>(std::count(
                   text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n'));
}

Problem DamagedAt(std::size_t line, std::string what) {
    return Problem{ProblemKind::BadInput, Place::AtLine(line), std::move(what)};
}

// UTF-16LE to UTF-8; a problem naming the line for half a character or a lone surrogate.
Result<std::string> Utf16ToUtf8(std::string_view bytes) {
    std::u32string text;
    const auto unit = [&](std::size_t i) {
        return static_cast<char32_t>(static_cast<unsigned char>(bytes[i]) |
                                     (static_cast<unsigned char>(bytes[i + 1]) << 8));
    };
    const auto fail = [&](const char* what) {
        const std::string sofar = EncodeUtf8(text);
        return DamagedAt(LineAt(sofar, sofar.size()), what);
    };
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        if (i + 1 == bytes.size()) {
            return fail("the UTF-16 text ends in half a character");
        }
        const char32_t first = unit(i);
        if (first >= 0xDC00 && first <= 0xDFFF) {
            return fail("broken UTF-16 text (a lone low surrogate)");
        }
        if (first >= 0xD800 && first <= 0xDBFF) {
            const char32_t second = i + 3 < bytes.size() ? unit(i + 2) : 0;
            if (second < 0xDC00 || second > 0xDFFF) {
                return fail("broken UTF-16 text (a lone high surrogate)");
            }
            text += 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
            i += 2;
            continue;
        }
        text += first;
    }
    return EncodeUtf8(text);
}

// The first line that is neither empty nor a comment, without blanks and CR.
std::pair<std::size_t, std::size_t> HeaderLine(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::size_t first = start;
        std::size_t last = end;
        while (first < last && (text[first] == ' ' || text[first] == '\t')) {
            ++first;
        }
        while (last > first &&
               (text[last - 1] == '\r' || text[last - 1] == ' ' || text[last - 1] == '\t')) {
            --last;
        }
        if (last > first && text[first] != ';') {
            return {first, last - first};
        }
        start = end + 1;
    }
    return {text.size(), 0};
}

} // namespace

Result<std::string> RegeditFileAsRegedit4(std::string_view bytes) {
    std::string utf8;
    if (bytes.substr(0, kUtf16Bom.size()) == kUtf16Bom) {
        Result<std::string> decoded = Utf16ToUtf8(bytes.substr(kUtf16Bom.size()));
        if (!decoded) {
            return std::move(decoded.problem());
        }
        utf8 = std::move(*decoded);
    } else {
        utf8 = bytes.substr(0, kUtf8Bom.size()) == kUtf8Bom ? bytes.substr(kUtf8Bom.size()) : bytes;
    }
    const auto [at, length] = HeaderLine(utf8);
    if (std::string_view(utf8).substr(at, length) != kVersion5Header) {
        return std::string(bytes); // REGEDIT4, or something the parser will name
    }
    utf8.replace(at, length, "REGEDIT4");
    // A hand-edited version 5 file saved in the code page is taken as it stands.
    if (!IsValidUtf8(utf8)) {
        return utf8;
    }
    CodepageError codepage;
    auto text = Utf8ToCp1252(utf8, &codepage);
    if (!text) {
        return DamagedAt(LineAt(utf8, codepage.offset), codepage.what);
    }
    return std::move(*text);
}

} // namespace marlindex
