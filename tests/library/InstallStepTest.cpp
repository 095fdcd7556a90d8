// The install step: a backup that never overwrites, and a conversion that leaves a readable
// library as it was and never touches a damaged one.
#include "LibraryBytes.h"
#include "library/LibraryFile.h"
#include "library/LibraryInstall.h"
#include "support/HostileFiles.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace marlindex {
namespace {

class InstallStepTest : public ::testing::Test {
protected:
    int Run(std::string_view time = "093015") {
        err.str("");
        return RunInstallStep(folder.path(), time, err);
    }
    std::size_t FileCount() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder.path()),
                          std::filesystem::directory_iterator()));
    }

    test::TempFolder folder;
    std::filesystem::path library = LibraryPath(folder.path());
    std::ostringstream err;
};

TEST_F(InstallStepTest, WithoutALibraryNothingHappens) {
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(FileCount(), 0u);
}

TEST_F(InstallStepTest, BacksUpAndRewritesTheLibraryUnchanged) {
    const std::string bytes = test::SampleLibraryBytes();
    test::WriteBytes(library, bytes);
    EXPECT_EQ(Run(), 0) << err.str();
    EXPECT_EQ(test::ReadBytes(folder / "MARLX.093015"), bytes);
    EXPECT_EQ(test::ReadBytes(library), bytes);
    EXPECT_EQ(FileCount(), 2u) << "no temporary file is left";

    // A second run in the same second finds its backup name taken and does nothing.
    test::WriteBytes(library, bytes + "tail");
    EXPECT_EQ(Run(), 1);
    EXPECT_NE(err.str().find("MARLX.093015: a file of that name exists already"),
              std::string::npos);
    EXPECT_EQ(test::ReadBytes(folder / "MARLX.093015"), bytes);
    EXPECT_EQ(test::ReadBytes(library), bytes + "tail");

    // The rewrite drops what an old in-place save left behind the last formula; the backup
    // keeps it.
    EXPECT_EQ(Run("093016"), 0);
    EXPECT_EQ(test::ReadBytes(folder / "MARLX.093016"), bytes + "tail");
    EXPECT_EQ(test::ReadBytes(library), bytes);
}

TEST_F(InstallStepTest, ALibraryWithoutFormulasIsNotRewritten) {
    const std::string bytes = *WriteLibrary(DefaultLibrary()) + "tail";
    test::WriteBytes(library, bytes);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(test::ReadBytes(library), bytes);
}

TEST_F(InstallStepTest, ADamagedLibraryIsBackedUpAndLeftAsItIs) {
    const std::string damaged = test::SampleLibraryBytes().substr(0, 120);
    test::WriteBytes(library, damaged);
    EXPECT_EQ(Run(), 2);
    EXPECT_NE(err.str().find("formula 1 (\"Dip\"), field \"rows\" at byte 88: the count 1 needs"),
              std::string::npos)
        << err.str();
    EXPECT_EQ(test::ReadBytes(library), damaged);
    EXPECT_EQ(test::ReadBytes(folder / "MARLX.093015"), damaged);
}

#ifndef _WIN32
// A pipe in the library's place would make the installer wait for ever; it is reported as
// the damage it is, and nothing is backed up or written.
TEST_F(InstallStepTest, APipeInPlaceOfTheLibraryIsNotRead) {
    ASSERT_TRUE(test::MakeFifo(library));
    EXPECT_EQ(Run(), 2);
    EXPECT_EQ(err.str(), library.string() +
                             ": is a pipe, not a regular file; a formula library must be one; "
                             "the library was neither backed up nor converted\n");
    EXPECT_EQ(FileCount(), 1u);
}
#endif

} // namespace
} // namespace marlindex
