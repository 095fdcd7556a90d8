#include "startup/Codepage.h"

#include <array>

namespace marlindex {

namespace {

// Code points of the bytes 0x80..0x9F; the rest of the code page equals Latin-1.
constexpr std::array<char32_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t Cp1252ToCodePoint(unsigned char byte) {
    if (byte >= 0x80 && byte <= 0x9F) {
        return kHighControls[byte - 0x80u];
    }
    return byte;
}

std::optional<unsigned char> CodePointToCp1252(char32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
        return static_cast<unsigned char>(cp);
    }
    for (std::size_t i = 0; i < kHighControls.size(); ++i) {
        if (kHighControls[i] == cp) {
            return static_cast<unsigned char>(0x80 + i);
        }
    }
    return std::nullopt;
}

// Decodes one UTF-8 sequence at `pos`; returns the code point and advances `pos`, or nullopt
// (leaving `pos`) for a malformed, overlong or surrogate sequence.
std::optional<char32_t> DecodeOne(std::string_view text, std::size_t& pos) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(pos);
    if (lead < 0x80) {
        ++pos;
        return lead;
    }
    std::size_t length = 0;
    char32_t cp = 0;
    char32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, cp = lead & 0x1Fu, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, cp = lead & 0x0Fu, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, cp = lead & 0x07u, minimum = 0x10000;
    } else {
        return std::nullopt;
    }
    if (pos + length > text.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(pos + i) & 0xC0) != 0x80) {
            return std::nullopt;
        }
        cp = (cp << 6) | (byte(pos + i) & 0x3Fu);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        return std::nullopt;
    }
    pos += length;
    return cp;
}

void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

std::string Describe(char32_t cp) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string digits;
    for (char32_t v = cp; v != 0 || digits.size() < 4; v >>= 4) {
        digits.insert(digits.begin(), kHex[v & 0xF]);
    }
    return "the character U+" + digits + " has no Windows-1252 form";
}

} // namespace

std::optional<std::string> Utf8ToCp1252(std::string_view utf8, CodepageError* error) {
    std::string out;
    out.reserve(utf8.size());
    for (std::size_t pos = 0; pos < utf8.size();) {
        const std::size_t start = pos;
        const auto cp = DecodeOne(utf8, pos);
        if (!cp) {
            if (error != nullptr) {
                *error = {start, "malformed UTF-8"};
            }
            return std::nullopt;
        }
        const auto byte = CodePointToCp1252(*cp);
        if (!byte) {
            if (error != nullptr) {
                *error = {start, Describe(*cp)};
            }
            return std::nullopt;
        }
        out += static_cast<char>(*byte);
    }
    return out;
}

std::string Cp1252ToUtf8(std::string_view cp1252) {
    std::string out;
    out.reserve(cp1252.size());
    for (const char c : cp1252) {
        AppendUtf8(out, Cp1252ToCodePoint(static_cast<unsigned char>(c)));
    }
    return out;
}

bool IsValidUtf8(std::string_view text) {
    for (std::size_t pos = 0; pos < text.size();) {
        if (!DecodeOne(text, pos)) {
            return false;
        }
    }
    return true;
}

std::u32string DecodeText(std::string_view text) {
    std::u32string out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        if (const auto cp = DecodeOne(text, pos)) {
            out += *cp;
        } else {
            out += Cp1252ToCodePoint(static_cast<unsigned char>(text[pos]));
            ++pos;
        }
    }
    return out;
}

std::string EncodeUtf8(std::u32string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char32_t cp : text) {
        AppendUtf8(out, cp);
    }
    return out;
}

} // namespace marlindex
