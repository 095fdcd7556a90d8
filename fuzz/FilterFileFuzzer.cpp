// libFuzzer target for the filter file reader. Whatever the bytes, the reader either returns
// the lists or a problem placed at a line with a short message; it never crashes or hangs.
// Lists it returns hold only names the filter expression can quote: both forms of the
// expression have exactly two double quotes per marked named item, no backslash and no control
// character but their CR LF line breaks. The lists can always be written, and what is written
// reads back to the same lists and writes to the same bytes.
#include "filter/FilterExpression.h"
#include "filter/FilterFile.h"
#include "startup/Codepage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace marlindex;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The expression's only control characters are its line breaks, CR LF.
bool OnlyCrLfControls(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            ++i;
        } else if (c < 0x20 || c == 0x7F) {
            return false;
        }
    }
    // C1 controls in UTF-8 are C2 80 to C2 9F.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) == 0xC2 &&
            static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(text[i + 1]) <= 0x9F) {
            return false;
        }
    }
    return true;
}

void CheckExpression(const FilterFileContents& contents, ExpressionForm form) {
    std::size_t quotedNames = 0;
    for (std::size_t category = 0; category < kWatchlistCategory; ++category) {
        quotedNames += static_cast<std::size_t>(
            std::count_if(contents[category].begin(), contents[category].end(),
                          [](const FilterFileItem& item) { return item.mark != kUnmarked; }));
    }
    const std::string expression = BuildFilterExpression(contents, form);
    Require(IsValidUtf8(expression));
    Require(static_cast<std::size_t>(std::count(expression.begin(), expression.end(), '"')) ==
            2 * quotedNames);
    Require(expression.find('\\') == std::string::npos);
    Require(OnlyCrLfControls(expression));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const Result<FilterFileContents> contents = ParseFilterFile(bytes);
    if (!contents) {
        // Placed at a line, and short whatever the input: quotes are cut at 60 characters.
        Require(contents.problem().where.line >= 1);
        Require(!contents.problem().what.empty() && contents.problem().what.size() < 1000);
        return 0;
    }
    for (const auto& items : *contents) {
        for (const FilterFileItem& item : items) {
            Require(!CheckFilterName(item.name));
            Require(item.mark == kUnmarked || item.mark == kIncluded || item.mark == kExcluded);
        }
    }
    CheckExpression(*contents, ExpressionForm::Load);
    CheckExpression(*contents, ExpressionForm::SaveData);

    const Result<std::string> written = EncodeFilterFile(*contents);
    Require(written.ok());
    // Windows-1252 bytes that also form UTF-8 beyond ASCII ("Ã©") read back as UTF-8: the one
    // ambiguity of accepting both encodings. Such a file must still read without harm, but
    // may read as other names.
    const bool ambiguous =
        IsValidUtf8(*written) && std::any_of(written->begin(), written->end(), [](char c) {
            return static_cast<unsigned char>(c) >= 0x80;
        });
    const Result<FilterFileContents> again = ParseFilterFile(*written);
    if (ambiguous) {
        return 0;
    }
    Require(again.ok() && *again == *contents);
    const Result<std::string> rewritten = EncodeFilterFile(*again);
    Require(rewritten.ok() && *rewritten == *written);
    return 0;
}
