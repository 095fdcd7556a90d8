#include "filter/FilterFile.h"

#include "startup/AtomicFile.h"
#include "startup/Codepage.h"

#include <system_error>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

// The file's lines. A line ends at CR LF, LF or CR alone, so that a file saved by a Unix or an
// old Mac editor still reads; a final line break does not start another line.
std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\r\n");
        lines.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        const bool crlf = text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n';
        text.remove_prefix(end + (crlf ? 2 : 1));
    }
    return lines;
}

std::string_view FirstField(std::string_view line) {
    return line.substr(0, line.find('\t'));
}

Problem Damage(std::size_t line, std::string what, std::size_t column = 0) {
    return Problem{ProblemKind::BadInput, Place::AtLine(line, column), std::move(what)};
}

Problem FileFailure(const fs::path& file, std::string what) {
    return Problem{ProblemKind::Failure, Place::InFile(Utf8Path(file)), std::move(what)};
}

std::string CodePointName(char32_t c) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string digits;
    for (char32_t v = c; v != 0 || digits.size() < 4; v >>= 4) {
        digits.insert(digits.begin(), kHex[v & 0xF]);
    }
    return "U+" + digits;
}

// The file's text in UTF-8. Bytes that are valid UTF-8 were saved as UTF-8 by another tool
// (plain ASCII reads the same either way); any others are the program's Windows-1252.
Result<std::string> DecodeFilterText(std::string_view bytes) {
    const bool marked = bytes.starts_with(kUtf8ByteOrderMark);
    if (marked) {
        bytes.remove_prefix(kUtf8ByteOrderMark.size());
    }
    if (IsValidUtf8(bytes)) {
        return std::string(bytes);
    }
    if (!marked) {
        return Cp1252ToUtf8(bytes);
    }
    // Line ends are ASCII and never inside a UTF-8 sequence, so the first line that is not
    // UTF-8 on its own holds the first bad byte.
    const std::vector<std::string_view> lines = SplitLines(bytes);
    std::size_t line = 0;
    while (line + 1 < lines.size() && IsValidUtf8(lines[line])) {
        ++line;
    }
    return Damage(line + 1, "The file begins with a UTF-8 byte-order mark, but this line is not "
                            "UTF-8: " +
                                QuoteExcerpt(lines.empty() ? bytes : lines[line]));
}

} // namespace

fs::path FilterFilePath(const fs::path& databaseFolder) {
    return databaseFolder / kFilterFileName;
}

std::optional<FilterNameFault> CheckFilterName(std::string_view name) {
    if (!IsValidUtf8(name)) {
        return FilterNameFault{0, "bytes that are not UTF-8"};
    }
    const std::u32string characters = DecodeText(name);
    for (std::size_t position = 0; position < characters.size(); ++position) {
        const char32_t c = characters[position];
        std::string what;
        if (c == '"') {
            what = "a double quote (\"), which would end the quoted name in the filter "
                   "expression";
        } else if (c == '\\') {
            what = "a backslash (\\), which AFL reads as the start of an escape in the quoted "
                   "name";
        } else if (c == '\t') {
            what = "a TAB, which in the filter file separates the mark from the name; a line "
                   "holds only one";
        } else if (c == '\r' || c == '\n') {
            what = "a line break, which would end the item's line in the filter file";
        } else if (c < 0x20 || (c >= 0x7F && c <= 0x9F)) {
            what = "the control character " + CodePointName(c) + ", which no name can hold";
        } else if (c >= 0x80 && !Utf8ToCp1252(EncodeUtf8(std::u32string(1, c)))) {
            what = "the character " + CodePointName(c) +
                   ", which the filter file (Windows-1252) cannot hold";
        } else {
            continue;
        }
        return FilterNameFault{position, std::move(what)};
    }
    return std::nullopt;
}

Result<FilterFileContents> ParseFilterFile(std::string_view bytes) {
    Result<std::string> decoded = DecodeFilterText(bytes);
    if (!decoded) {
        return decoded.problem();
    }
    const std::string& text = *decoded;
    const std::vector<std::string_view> lines = SplitLines(text);
    if (lines.empty()) {
        return Damage(1, "The file is empty: no [Market] heading");
    }
    if (FirstField(lines[0]) != kFilterCategories[0].heading) {
        return Damage(1, "No [Market] heading");
    }

    FilterFileContents contents;
    std::size_t next = 1; // index of the next line to read
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        const std::string heading(kFilterCategories[category].heading);
        const bool last = category + 1 == kFilterCategoryCount;
        const std::string_view ending =
            last ? std::string_view{} : kFilterCategories[category + 1].heading;
        for (;; ++next) {
            const std::size_t lineNumber = next + 1;
            if (next == lines.size()) {
                if (last) {
                    return contents;
                }
                return Damage(lineNumber,
                              "The file ends before the " + std::string(ending) + " heading");
            }
            const std::string_view line = lines[next];
            if (!last && FirstField(line) == ending) {
                ++next;
                break;
            }
            const std::size_t tab = line.find('\t');
            if (tab == std::string_view::npos) {
                return Damage(lineNumber, "No TAB between the mark and the name in " +
                                              QuoteExcerpt(line) + " under " + heading);
            }
            const std::string_view mark = line.substr(0, tab);
            const std::string_view name = line.substr(tab + 1);
            if (const std::optional<FilterNameFault> fault = CheckFilterName(name)) {
                // Columns count characters: the mark's, the TAB, then the name's.
                const std::size_t column = DecodeText(mark).size() + 1 + fault->position + 1;
                return Damage(lineNumber,
                              "The name " + QuoteExcerpt(name) + " under " + heading + " holds " +
                                  fault->what,
                              column);
            }
            contents[category].push_back({mark == "0"   ? kUnmarked
                                          : mark == "1" ? kIncluded
                                                        : kExcluded,
                                          std::string(name)});
        }
    }
    return contents;
}

Result<FilterFileContents> ReadFilterFile(const fs::path& file) {
    Result<std::string> bytes = ReadInputFile(file, kFilterFileKind);
    if (!bytes) {
        return bytes.problem();
    }
    Result<FilterFileContents> contents = ParseFilterFile(*bytes);
    if (!contents) {
        contents.problem().where.file = Utf8Path(file);
    }
    return contents;
}

std::string FormatFilterFile(const FilterFileContents& contents) {
    std::string text;
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        text.append(kFilterCategories[category].heading);
        text += "\r\n";
        for (const FilterFileItem& item : contents[category]) {
            text += std::to_string(item.mark);
            text += '\t';
            text += item.name;
            text += "\r\n";
        }
    }
    return text;
}

Result<std::string> EncodeFilterFile(const FilterFileContents& contents) {
    // Headings are ASCII: only a name can fail, and the problem names it. What is written must
    // read back, so a name is held to the reader's rules.
    for (std::size_t category = 0; category < kFilterCategoryCount; ++category) {
        for (std::size_t position = 0; position < contents[category].size(); ++position) {
            const std::string& name = contents[category][position].name;
            if (const std::optional<FilterNameFault> fault = CheckFilterName(name)) {
                return Problem{ProblemKind::BadInput,
                               Place::Within(std::string(kFilterCategories[category].heading) +
                                             " item " + std::to_string(position + 1)),
                               "the name " + QuoteExcerpt(name) + " holds " + fault->what +
                                   ", so the filter was not written"};
            }
        }
    }
    return *Utf8ToCp1252(FormatFilterFile(contents));
}

Result<void> WriteFilterFile(const fs::path& file, const FilterFileContents& contents) {
    Result<std::string> bytes = EncodeFilterFile(contents);
    if (!bytes) {
        bytes.problem().where.file = Utf8Path(file);
        return bytes.problem();
    }
    if (const std::error_code error = WriteFileAtomically(file, *bytes)) {
        return FileFailure(file, "cannot write the file: " + error.message());
    }
    return {};
}

FilterFileContents DefaultFilterContents() {
    FilterFileContents contents;
    const std::array<std::string_view, kWatchlistCategory> itemWords{"Market", "Group", "Sector",
                                                                     "Industry"};
    for (std::size_t category = 0; category < itemWords.size(); ++category) {
        for (int n = 1; n <= 2; ++n) {
            contents[category].push_back(
                {kUnmarked, std::string(itemWords[category]) + " " + std::to_string(n)});
        }
    }
    for (int n = 0; n < kWatchlistCount; ++n) {
        contents[kWatchlistCategory].push_back({kUnmarked, "Watchlist " + std::to_string(n)});
    }
    return contents;
}

Result<fs::path> BackUpFilterFile(const fs::path& databaseFolder) {
    const fs::path file = FilterFilePath(databaseFolder);
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (error) {
        return FileFailure(file, "cannot back up the file: " + error.message());
    }
    // A pipe or a device holds no lists to keep, and copying one may never end.
    if (status.type() != fs::file_type::regular) {
        return Problem{ProblemKind::BadInput, Place::InFile(Utf8Path(file)),
                       "is not a regular file, so there is nothing to back up; re-create it "
                       "without a backup"};
    }
    const std::string stem = fs::path(kFilterBackupName).stem().string();
    const std::string extension = fs::path(kFilterBackupName).extension().string();
    // The copy fails rather than overwrite, so a backup that appears meanwhile is kept too.
    constexpr int kMostBackups = 10000;
    for (int n = 0; n < kMostBackups; ++n) {
        const fs::path backup =
            databaseFolder /
            (n == 0 ? std::string(kFilterBackupName) : stem + "." + std::to_string(n) + extension);
        if (fs::exists(fs::symlink_status(backup, error))) {
            continue;
        }
        if (fs::copy_file(file, backup, fs::copy_options::none, error)) {
            return backup;
        }
        if (error != std::errc::file_exists) {
            return FileFailure(backup, "cannot write the backup: " + error.message());
        }
    }
    return FileFailure(databaseFolder, "holds " + std::to_string(kMostBackups) +
                                           " backups of the filter file already; remove some");
}

Result<std::optional<fs::path>> RecreateFilterFile(const fs::path& databaseFolder, bool backup) {
    const fs::path file = FilterFilePath(databaseFolder);
    std::optional<fs::path> kept;
    std::error_code error;
    if (backup && fs::exists(file, error)) {
        Result<fs::path> copied = BackUpFilterFile(databaseFolder);
        if (!copied) {
            return copied.problem();
        }
        kept = std::move(*copied);
    }
    if (Result<void> written = WriteFilterFile(file, DefaultFilterContents()); !written) {
        return written.problem();
    }
    return kept;
}

} // namespace marlindex
