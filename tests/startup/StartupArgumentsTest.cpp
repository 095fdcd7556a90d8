#include "startup/StartupArguments.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using Args = std::vector<std::string>;

TEST(StartupArguments, StepsNeedTheExactWholeArgument) {
    EXPECT_EQ(ParseStartupArguments({"U"}).action, StartupAction::Uninstall);
    EXPECT_EQ(ParseStartupArguments({"I"}).action, StartupAction::Install);
    for (const Args& normal : {Args{}, Args{"u"}, Args{" U"}, Args{"i"}, Args{"U", "I"},
                               Args{"U", "--database", "/d"}}) {
        EXPECT_EQ(ParseStartupArguments(normal).action, StartupAction::ShowMainWindow)
            << (normal.empty() ? "" : normal[0]);
    }
}

TEST(StartupArguments, WindowOptions) {
    const StartupArguments parsed =
        ParseStartupArguments({"--database", "/data/db", "--registry=/tmp/r.reg",
                               "--program-folder", "/p/Marlindex", "x"});
    EXPECT_EQ(parsed.databaseFolder, "/data/db");
    EXPECT_EQ(parsed.registryFile, "/tmp/r.reg");
    EXPECT_EQ(parsed.programFolder, "/p/Marlindex");
    EXPECT_EQ(parsed.rest, Args{"x"});
    EXPECT_FALSE(ParseStartupArguments({}).databaseFolder);

    EXPECT_THROW(ParseStartupArguments({"--database"}), std::invalid_argument);
    EXPECT_THROW(ParseStartupArguments({"--registry="}), std::invalid_argument);
}

TEST(StartupArguments, InternalErrorLinesAreJoinedByCrLf) {
    EXPECT_EQ(
        InternalErrorText("frmMain Load", 5, "boom"),
        "An internal application error occured. This could be the result of some\r\n"
        "instability within AmiBroker. Please lodge a bug report noting the following "
        "details:\r\nObject/Event: frmMain Load\r\nError Number: 5\r\nError Description: boom");
}

} // namespace
} // namespace marlindex
