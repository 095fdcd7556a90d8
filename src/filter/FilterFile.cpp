#include "filter/FilterFile.h"

#include "startup/AtomicFile.h"
#include "startup/Codepage.h"

#include <system_error>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

// The file's lines. A line ends at LF, with or without CR before it, so that a file edited
// with a Unix editor still reads; a final line break does not start another line.
std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        lines.push_back(line);
        if (end == std::string_view::npos) {
            break;
        }
        text.remove_prefix(end + 1);
    }
    return lines;
}

std::string_view FirstField(std::string_view line) {
    return line.substr(0, line.find('\t'));
}

Problem Damage(std::size_t line, std::string what) {
    return Problem{ProblemKind::BadInput, Place::AtLine(line), std::move(what)};
}

Problem FileFailure(const fs::path& file, std::string what) {
    return Problem{ProblemKind::Failure, Place::InFile(file.string()), std::move(what)};
}

} // namespace

fs::path FilterFilePath(const fs::path& databaseFolder) {
    return databaseFolder / kFilterFileName;
}

Result<FilterFileContents> ParseFilterFile(std::string_view cp1252Bytes) {
    const std::string text = Cp1252ToUtf8(cp1252Bytes);
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
                                              QuoteExcerpt(line) + " under " +
                                              std::string(kFilterCategories[category].heading));
            }
            const std::string_view mark = line.substr(0, tab);
            std::string_view name = line.substr(tab + 1);
            name = name.substr(0, name.find('\t'));
            contents[category].push_back({mark == "0"   ? kUnmarked
                                          : mark == "1" ? kIncluded
                                                        : kExcluded,
                                          std::string(name)});
        }
    }
    return contents;
}

Result<FilterFileContents> ReadFilterFile(const fs::path& file) {
    std::error_code error;
    const std::optional<std::string> bytes = ReadWholeFile(file, &error);
    if (!bytes) {
        return FileFailure(file, "Cannot read the file: " + error.message());
    }
    Result<FilterFileContents> contents = ParseFilterFile(*bytes);
    if (!contents) {
        contents.problem().where.file = file.string();
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

Result<void> WriteFilterFile(const fs::path& file, const FilterFileContents& contents) {
    CodepageError codepageError;
    const std::optional<std::string> bytes =
        Utf8ToCp1252(FormatFilterFile(contents), &codepageError);
    if (!bytes) {
        return Problem{ProblemKind::BadInput, Place::InFile(file.string()),
                       codepageError.what + ", so the filter was not written"};
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

Result<void> RecreateFilterFile(const fs::path& databaseFolder, bool backup) {
    const fs::path file = FilterFilePath(databaseFolder);
    std::error_code error;
    if (backup && fs::exists(file, error)) {
        const std::optional<std::string> old = ReadWholeFile(file, &error);
        if (!old) {
            return FileFailure(file, "cannot read the old file to back it up: " + error.message());
        }
        const fs::path backupFile = databaseFolder / kFilterBackupName;
        if (const std::error_code written = WriteFileAtomically(backupFile, *old)) {
            return FileFailure(backupFile, "cannot write the backup: " + written.message());
        }
    }
    return WriteFilterFile(file, DefaultFilterContents());
}

} // namespace marlindex
