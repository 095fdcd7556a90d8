// Every reader of the program meets every hostile input we keep: the small files of corpus/
// and whatever scripts/fuzz found (the fuzz-findings folders), plus large inputs made here. A
// reader may accept an input or refuse it; either way it must not crash, and a refusal is bad
// input told in one short line that says where. Files that are no files (a pipe, a device)
// and files beyond a reader's bound are refused before they are read, and left as they were.
#include "afl/Error.h"
#include "afl/Formula.h"
#include "cli/RunTool.h"
#include "filter/FilterFile.h"
#include "library/LibraryFile.h"
#include "quotes/QuoteCsv.h"
#include "scanfile/ScanFile.h"
#include "settings/FileHive.h"
#include "settings/RegeditText.h"
#include "settings/RegistryData.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace marlindex {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;
using test::WriteBytes;

// What a reader said of an input: nullopt when it took it, else its problem.
using Verdict = std::optional<Problem>;

template <class T> Verdict VerdictOf(const Result<T>& result) {
    return result ? std::nullopt : Verdict(result.problem());
}

struct Reader {
    const char* name;
    std::function<Verdict(const std::string&)> read;
};

const std::vector<Reader>& Readers() {
    static const std::vector<Reader> readers = {
        {"settings file",
         [](const std::string& bytes) -> Verdict {
             Result<std::string> text = RegeditFileAsRegedit4(bytes);
             return text ? VerdictOf(RegistryData::FromRegedit4(*text)) : VerdictOf(text);
         }},
        {"filter file", [](const std::string& bytes) { return VerdictOf(ParseFilterFile(bytes)); }},
        {"scan file", [](const std::string& bytes) { return VerdictOf(ParseScan(bytes)); }},
        {"formula library", [](const std::string& bytes) { return VerdictOf(ReadLibrary(bytes)); }},
        {"price file",
         [](const std::string& bytes) { return VerdictOf(ReadPriceFile(bytes, "X.csv")); }},
        {"symbols file",
         [](const std::string& bytes) { return VerdictOf(ReadSymbolsFile(bytes, "s.csv")); }},
        {"formula",
         [](const std::string& bytes) -> Verdict {
             try {
                 (void)afl::Formula::Parse(bytes);
                 return std::nullopt;
             } catch (const afl::Error& error) {
                 return Problem{ProblemKind::BadInput,
                                Place::AtLine(static_cast<std::size_t>(error.where().line),
                                              static_cast<std::size_t>(error.where().column)),
                                error.message()};
             }
         }},
    };
    return readers;
}

// A refusal the user can act on: bad input, somewhere, in one line that floods nothing.
void ExpectClearRefusal(const Problem& problem, const std::string& what) {
    const std::string message = problem.Message();
    EXPECT_EQ(problem.kind, ProblemKind::BadInput) << what << ": " << message;
    EXPECT_FALSE(problem.where.Describe().empty()) << what << ": no place in " << message;
    EXPECT_EQ(message.find_first_of("\r\n"), std::string::npos) << what << ": " << message;
    EXPECT_LE(message.size(), 400u) << what << ": " << message.substr(0, 400);
}

std::string Bytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::vector<fs::path> CorpusFiles() {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    std::vector<fs::path> files;
    if (source == nullptr) {
        return files;
    }
    const fs::path tests = fs::path(source) / "tests";
    std::vector<fs::path> folders{tests / "hostile" / "corpus"};
    for (const auto& entry : fs::directory_iterator(tests)) {
        if (fs::is_directory(entry.path() / "fuzz-findings")) {
            folders.push_back(entry.path() / "fuzz-findings");
        }
    }
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.is_regular_file() && entry.path().extension() != ".md") {
                files.push_back(entry.path());
            }
        }
    }
    return files;
}

TEST(HostileInput, EveryReaderTakesOrClearlyRefusesEveryKeptInput) {
    const std::vector<fs::path> files = CorpusFiles();
    ASSERT_GE(files.size(), 30u) << "the corpus is missing (MARLINDEX_SOURCE_DIR?)";
    for (const fs::path& file : files) {
        const std::string bytes = Bytes(file);
        for (const Reader& reader : Readers()) {
            if (const Verdict refused = reader.read(bytes)) {
                ExpectClearRefusal(*refused,
                                   std::string(reader.name) + " on " + file.filename().string());
            }
        }
    }
}

TEST(HostileInput, LargeInputsAreRefusedOrReadWithoutFloodingTheMessage) {
    const std::string flood(10'000'000, 'A');
    const std::vector<std::string> inputs = {
        // one enormous value in each format
        "REGEDIT4\r\n[HKEY_CURRENT_USER\\A]\r\n\"v\"=" + flood + "\r\n",
        "[Markets]\r\n1\t" + flood + "\"\r\n",
        "{\"name\": \"" + flood + "\", \"rows\": [{\"indicator1\": \"" + flood + "\"}]}",
        "Date,Open,High,Low,Close,Volume\n2018-01-02," + flood + ",1,1,1,1\n",
        "Buy = " + flood + " " + flood + ";",
        // nesting far deeper than any real file
        std::string(200'000, '[') + std::string(200'000, ']'),
        "Buy = " + std::string(100'000, '(') + "1" + std::string(100'000, ')') + ";",
    };
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        for (const Reader& reader : Readers()) {
            if (const Verdict refused = reader.read(inputs[i])) {
                ExpectClearRefusal(*refused, std::string(reader.name) + " on large input " +
                                                 std::to_string(i));
            }
        }
    }
}

#ifndef _WIN32
// The tool on a pipe, a device, a folder and a runaway file in place of each file it reads:
// refused at once (a pipe is never opened), as bad input naming the file, and nothing changed.
TEST(HostileInput, TheToolRefusesWhatIsNoFileAndWhatIsTooLarge) {
    TempFolder temp;
    const fs::path database = temp / "db";
    fs::create_directories(database);
    const fs::path runaway = temp / "runaway";
    {
        std::ofstream out(runaway, std::ios::binary);
        out << "x";
    }
    fs::resize_file(runaway, 300u << 20);

    struct Use {
        std::string what;
        std::function<std::vector<std::string>(const std::string& file)> args;
    };
    const std::vector<Use> uses = {
        {"scan file",
         [](const std::string& f) {
             return std::vector<std::string>{"generate", f};
         }},
        {"settings file",
         [](const std::string& f) {
             return std::vector<std::string>{"preferences", "--registry", f, "set", "I162", "21"};
         }},
        {"formula library",
         [](const std::string& f) {
             return std::vector<std::string>{"library", "--library", f, "list"};
         }},
        {"formula file",
         [&](const std::string& f) {
             return std::vector<std::string>{"scan", "--database", database.string(), f};
         }},
    };
    for (const Use& use : uses) {
        SCOPED_TRACE(use.what);
        {
            test::PipeTrap pipe(temp / ("pipe-" + use.what + ".afl"));
            ASSERT_TRUE(pipe.made());
            const auto result = test::RunTool(use.args(pipe.path().string()));
            EXPECT_FALSE(pipe.Opened()) << "the pipe was opened";
            EXPECT_NE(result.status, 0);
            EXPECT_NE(result.err.find(pipe.path().string()), std::string::npos) << result.err;
            EXPECT_NE(result.err.find("a pipe, not a regular file"), std::string::npos)
                << result.err;
        }
        const auto device = test::RunTool(use.args(test::EndlessDevice()->string()));
        EXPECT_NE(device.status, 0);
        EXPECT_NE(device.err.find("a device"), std::string::npos) << device.err;

        const auto large = test::RunTool(use.args(runaway.string()));
        EXPECT_NE(large.status, 0);
        EXPECT_NE(large.err.find("300 MB, larger than a"), std::string::npos) << large.err;
        EXPECT_EQ(fs::file_size(runaway), 300u << 20);
    }

    // The filter file lives in the database folder under its own name.
    test::PipeTrap filter(database / "tempFilter.txt");
    const auto result = test::RunTool({"filter", database.string()});
    EXPECT_FALSE(filter.Opened());
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_NE(result.err.find("a pipe"), std::string::npos) << result.err;
}
#endif

} // namespace
} // namespace marlindex
