// Conversion between the program's UTF-8 text and Windows-1252, the code page of every file
// and registry value the Windows release wrote. Conversion happens only at those boundaries.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace marlindex {

// Where a text could not be converted: the byte offset in the input and what was found there.
struct CodepageError {
    std::size_t offset = 0;
    std::string what;
};

// UTF-8 to Windows-1252. A character the code page cannot hold, or a malformed UTF-8
// sequence, is refused (never replaced): the result is empty and `error` says where.
std::optional<std::string> Utf8ToCp1252(std::string_view utf8, CodepageError* error = nullptr);

// Windows-1252 to UTF-8. The five byte values the code page leaves undefined (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) map to the C1 controls of the same number, as Windows does.
std::string Cp1252ToUtf8(std::string_view cp1252);

bool IsValidUtf8(std::string_view text);

// Decodes UTF-8 into code points; malformed bytes are taken as Windows-1252 characters, so a
// legacy .afl file still gives one character per byte.
std::u32string DecodeText(std::string_view text);
std::string EncodeUtf8(std::u32string_view text);

} // namespace marlindex
