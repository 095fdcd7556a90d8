#include "startup/TextHelpers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace marlindex {

namespace {

std::vector<std::string> SplitAt(std::string_view text, char separator) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        if (end == std::string_view::npos) {
            fields.emplace_back(text.substr(start));
            return fields;
        }
        fields.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
}

} // namespace

std::vector<std::string> SplitEntry(std::string_view text) {
    return SplitAt(text, ';');
}

std::vector<std::string> SplitAtBlanks(std::string_view text) {
    return SplitAt(text, ' ');
}

std::string QuoteApostrophes(std::string_view text) {
    return ReplaceAll(text, "'", "''");
}

std::string_view TrimBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    const std::size_t last = text.find_last_not_of(' ');
    return text.substr(first, last - first + 1);
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty()) {
        return std::string(text);
    }
    std::string result;
    result.reserve(text.size());
    std::size_t start = 0;
    for (std::size_t pos = text.find(from); pos != std::string_view::npos;
         pos = text.find(from, start)) {
        result.append(text.substr(start, pos - start));
        result.append(to);
        start = pos + from.size();
    }
    result.append(text.substr(start));
    return result;
}

char ToLowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string ToLowerAscii(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return ToLowerAscii(c); });
    return result;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return ToLowerAscii(x) == ToLowerAscii(y);
           });
}

bool ContainsIgnoreCase(std::string_view text, std::string_view part) {
    return ToLowerAscii(text).find(ToLowerAscii(part)) != std::string::npos;
}

std::optional<double> ReadTypedNumber(std::string_view text) {
    text = TrimBlanks(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
        !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace marlindex
