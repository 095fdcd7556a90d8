#include "startup/Problem.h"

#include "startup/Codepage.h"

namespace marlindex {

std::string Place::Describe() const {
    std::string text = file;
    const auto add = [&text](const std::string& part, const char* separator) {
        if (!text.empty()) {
            text += separator;
        }
        text += part;
    };
    if (line > 0) {
        add("line " + std::to_string(line), ", ");
    }
    if (column > 0) {
        add("column " + std::to_string(column), ", ");
    }
    if (!within.empty()) {
        add(within, ", ");
    }
    if (byte) {
        add("at byte " + std::to_string(*byte), within.empty() ? ", " : " ");
    }
    return text;
}

std::string Problem::Message() const {
    const std::string place = where.Describe();
    return place.empty() ? what : place + ": " + what;
}

std::string Problem::FileLineMessage() const {
    if (where.file.empty() || where.line == 0 || !where.within.empty() || where.byte) {
        return Message();
    }
    std::string place = where.file + ":" + std::to_string(where.line);
    if (where.column > 0) {
        place += ":" + std::to_string(where.column);
    }
    return place + ": " + what;
}

std::string Utf8Path(const std::filesystem::path& path) {
    const std::u8string utf8 = path.u8string();
    return {utf8.begin(), utf8.end()};
}

std::string QuoteExcerpt(std::string_view text, std::size_t limit) {
    // No character takes more than four bytes, so the first limit + 1 of them lie in this
    // prefix: a 10 MB value costs no more to quote than a short one.
    const std::size_t enough = (limit + 1) * 4;
    const std::u32string characters =
        DecodeText(text.size() > enough ? text.substr(0, enough) : text);
    std::string quoted = "\"";
    std::size_t shown = 0;
    for (const char32_t c : characters) {
        if (shown == limit) {
            quoted += "...";
            break;
        }
        ++shown;
        if (c == U'\r') {
            quoted += "\\r";
        } else if (c == U'\n') {
            quoted += "\\n";
        } else if (c == U'\t') {
            quoted += "\\t";
        } else if (c < 0x20 || (c >= 0x7F && c <= 0x9F)) { // C0, DEL and the C1 controls
            static constexpr char kDigits[] = "0123456789ABCDEF";
            quoted += "\\x";
            quoted += kDigits[(c >> 4) & 0xF];
            quoted += kDigits[c & 0xF];
        } else {
            quoted += EncodeUtf8(std::u32string_view(&c, 1));
        }
    }
    return quoted + "\"";
}

} // namespace marlindex
