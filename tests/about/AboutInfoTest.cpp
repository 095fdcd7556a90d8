#include "about/AboutInfo.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TEST(AboutInfo, VersionIsTheProjectsDottedVersion) {
    const std::string version = ProgramVersion();
    EXPECT_EQ(std::count(version.begin(), version.end(), '.'), 2) << version;
}

TEST(AboutInfo, SystemInfoToolIsFoundOnThePathInPreferenceOrder) {
#ifdef _WIN32
    constexpr const char* kSeparator = ";"; // "C:\..." holds a colon
#else
    constexpr const char* kSeparator = ":";
#endif
    test::TempFolder first;
    test::TempFolder second;
    const std::string path =
        first.path().string() + kSeparator + kSeparator + second.path().string();
    EXPECT_FALSE(FindSystemInfoTool(path));
    EXPECT_FALSE(FindSystemInfoTool(""));

    const auto& names = SystemInfoToolNames();
    test::WriteBytes(second / names.back(), "");
    EXPECT_EQ(FindSystemInfoTool(path), second / names.back());
    if (names.size() >= 2) {
        // A more preferred tool wins even when it sits in a later folder.
        test::WriteBytes(second / names[0], "");
        test::WriteBytes(first / names[1], "");
        EXPECT_EQ(FindSystemInfoTool(path), second / names[0]);
    }
}

TEST(AboutInfo, HelpFileComesFromTheFirstFolderHoldingIt) {
    test::TempFolder a;
    test::TempFolder b;
    EXPECT_FALSE(FindHelpFile({a.path(), b.path()}, kUserGuideFile));
    test::WriteBytes(b / kUserGuideFile, "<html></html>");
    EXPECT_EQ(FindHelpFile({a.path() / "missing", a.path(), b.path()}, kUserGuideFile),
              b / kUserGuideFile);
}

TEST(AboutInfo, TheShippedHelpPagesExist) {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path docs = std::filesystem::path(source) / "docs";
    EXPECT_TRUE(FindHelpFile({docs}, kUserGuideFile));
    EXPECT_TRUE(FindHelpFile({docs}, kReadMeFile));
}

} // namespace
} // namespace marlindex
