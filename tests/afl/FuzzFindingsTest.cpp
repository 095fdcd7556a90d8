// Inputs on which scripts/fuzz found the AFL reader or evaluator failing stay here as cases:
// each must now be read and run cleanly, or refused with an error that names its place.
#include "AflTestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace marlindex::afl {
namespace {

TEST(AflFuzzFindings, AreReadAndRunOrRefusedWithTheirPlace) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path findings =
        std::filesystem::path(source) / "tests" / "afl" / "fuzz-findings";
    const test::TestSymbol symbol = test::FromCloses({10, 11, 9, 12});
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(findings)) {
        if (entry.path().extension() == ".md") {
            continue;
        }
        ++count;
        std::ifstream in(entry.path(), std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        const std::string error = test::RunError(bytes.str(), symbol);
        EXPECT_TRUE(error == "(accepted)" || error.rfind("line ", 0) == 0)
            << entry.path() << ": " << error;
    }
    if (count == 0) {
        GTEST_SKIP() << "the fuzzer has found nothing to keep";
    }
}

} // namespace
} // namespace marlindex::afl
