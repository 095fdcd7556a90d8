#include "formula/ColourRendering.h"

#include "startup/Codepage.h"

#include <algorithm>

namespace marlindex {

namespace {

std::string Hex(std::uint32_t rgb) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out = "#";
    for (int shift = 20; shift >= 0; shift -= 4) {
        out += kDigits[(rgb >> shift) & 0xFu];
    }
    return out;
}

// The characters of one run in UTF-8, with the CR of every CR LF left out. The LF is looked
// for in the whole text, so a pair split between two runs still becomes one line break.
std::string RunText(std::u32string_view text, const FormatRun& run) {
    const std::size_t end = std::min(text.size(), run.start + run.length);
    std::u32string chars;
    for (std::size_t i = std::min(run.start, end); i < end; ++i) {
        if (text[i] == U'\r' && i + 1 < text.size() && text[i + 1] == U'\n') {
            continue;
        }
        chars += text[i];
    }
    return EncodeUtf8(chars);
}

std::string EscapeHtml(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (const char c : utf8) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

} // namespace

std::string RenderRuns(const std::vector<FormatRun>& runs) {
    std::string out;
    for (const FormatRun& run : runs) {
        out += std::to_string(run.start) + ' ' + std::to_string(run.length) + ' ' +
               Hex(run.format.rgb) + (run.format.bold ? " bold\n" : " regular\n");
    }
    return out;
}

std::string RenderAnsi(std::u32string_view text, const std::vector<FormatRun>& runs) {
    std::string out;
    for (const FormatRun& run : runs) {
        std::string style;
        if (run.format.bold) {
            style += "\x1b[1m";
        }
        if (run.format.rgb != kBlack) {
            style += "\x1b[38;2;" + std::to_string((run.format.rgb >> 16) & 0xFFu) + ';' +
                     std::to_string((run.format.rgb >> 8) & 0xFFu) + ';' +
                     std::to_string(run.format.rgb & 0xFFu) + 'm';
        }
        out += style;
        out += RunText(text, run);
        if (!style.empty()) {
            out += "\x1b[0m";
        }
    }
    return out;
}

std::string RenderHtml(std::u32string_view text, const std::vector<FormatRun>& runs) {
    std::string out = "<pre>";
    for (const FormatRun& run : runs) {
        std::string style;
        if (run.format.rgb != kBlack) {
            style = "color:" + Hex(run.format.rgb);
        }
        if (run.format.bold) {
            style += style.empty() ? "font-weight:bold" : ";font-weight:bold";
        }
        const std::string escaped = EscapeHtml(RunText(text, run));
        if (style.empty()) {
            out += escaped;
        } else {
            out += "<span style=\"" + style + "\">" + escaped + "</span>";
        }
    }
    out += "</pre>\n";
    return out;
}

} // namespace marlindex
