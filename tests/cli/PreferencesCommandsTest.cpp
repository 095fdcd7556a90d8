// marlindex-cli preferences: list, set and reset against a settings file.
#include "cli/RunTool.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

using test::Result;
using test::RunTool;

class PreferencesCommandsTest : public ::testing::Test {
protected:
    Result Preferences(std::vector<std::string> args) {
        args.insert(args.begin(), {"preferences", "--registry", registry_.string()});
        return RunTool(args);
    }
    // The line of `list` that starts with the field's name and a TAB.
    std::string Listed(const std::string& field) {
        const std::string out = Preferences({"list"}).out;
        const std::size_t at = out.find("\n" + field + "\t");
        return at == std::string::npos ? "" : out.substr(at + 1, out.find('\n', at + 1) - at - 1);
    }

    test::TempFolder folder_;
    std::filesystem::path registry_ = folder_ / "registry.reg";
};

TEST_F(PreferencesCommandsTest, ListWritesEveryFieldWithoutCreatingTheFile) {
    const Result result = Preferences({"list"});
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind("I21\t2\t1\t14\t14\n", 0), 0u) << result.out;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 62);
    EXPECT_EQ(Listed("I282"), "I282\t28\t2\t5\t5");
    EXPECT_FALSE(std::filesystem::exists(registry_));
}

TEST_F(PreferencesCommandsTest, SetAppliesTheDialogRulesAndTheFormulaFollows) {
    Result result = Preferences({"set", "i162", " 21 "});
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, "I162\t16\t2\t21\t14\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(Listed("I161"), "I161\t16\t1\tClose\tClose");

    const Result rsi = RunTool({"generate", "--registry", registry_.string(), "-"},
                               R"j({"rows": [{"indicator1": "RSI", "comparison": 3,
                                              "target": "Value", "value": 30}]})j");
    EXPECT_EQ(rsi.out.substr(0, 34), "Filter = RSIa( Close, 21 ) < 30;\r\n") << rsi.err;

    result = Preferences({"set", "I21", "abc"});
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out, "I21\t2\t1\t14\t14\n");
    EXPECT_NE(result.err.find("not a number"), std::string::npos) << result.err;

    result = Preferences({"set", "I91", "Typical"});
    EXPECT_EQ(result.status, kExitOk);
    EXPECT_EQ(result.out, "I91\t9\t1\tTypical\tClose\n");
    EXPECT_NE(result.err.find("none of Close, Open, High, Low, Average; it was stored as given, "
                              "but formulas use the default Close"),
              std::string::npos)
        << result.err;
}

TEST_F(PreferencesCommandsTest, AStoredParameterThatBreaksTheRulesNeverReachesTheFormula) {
    test::WriteBytes(registry_,
                     "REGEDIT4\r\n\r\n"
                     "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings\\Indicator\\16]\r\n"
                     "\"2\"=\"14 ); Buy = 1; //\"\r\n");
    const Result rsi = RunTool({"generate", "--registry", registry_.string(), "-"},
                               R"j({"rows": [{"indicator1": "RSI", "comparison": 3,
                                              "target": "Value", "value": 30}]})j");
    EXPECT_EQ(rsi.status, kExitOk) << rsi.err;
    EXPECT_EQ(rsi.out.substr(0, 34), "Filter = RSIa( Close, 14 ) < 30;\r\n") << rsi.out;
    EXPECT_EQ(rsi.err, "warning: " + registry_.string() +
                           ": Settings\\Indicator\\16\\2 holds \"14 ); Buy = 1; //\", which is "
                           "not a number; the default 14 is used instead\n");
    EXPECT_EQ(Listed("I162"), "I162\t16\t2\t14\t14") << "the dialog shows what is used";
}

TEST_F(PreferencesCommandsTest, BadFieldsAndValuesChangeNothing) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"set", "I99", "5"}, {"set", "I162", "\u65e5"}, {"set", "I162"}, {}}) {
        const Result result = Preferences(args);
        EXPECT_EQ(result.status, kExitBadInput) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
    }
    EXPECT_FALSE(std::filesystem::exists(registry_));
}

TEST_F(PreferencesCommandsTest, ResetBringsTheDefaultsBackAndKeepsOtherSettings) {
    test::WriteBytes(registry_,
                     "REGEDIT4\r\n\r\n"
                     "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings]\r\n"
                     "\"ApplyTo\"=\"2\"\r\n\r\n"
                     "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings\\Indicator\\16]\r\n"
                     "\"2\"=\"21\"\r\n");
    EXPECT_EQ(Listed("I162"), "I162\t16\t2\t21\t14");
    const Result result = Preferences({"reset"});
    EXPECT_EQ(result.status, kExitOk) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Listed("I162"), "I162\t16\t2\t14\t14");
    const std::string text = test::ReadBytes(registry_);
    EXPECT_NE(text.find("\"ApplyTo\"=\"2\""), std::string::npos) << text;
    EXPECT_EQ(text.find("\"2\"="), std::string::npos) << text;
}

TEST_F(PreferencesCommandsTest, ASettingsFileThatCannotBeWrittenIsAFailure) {
    std::filesystem::create_directory(registry_); // a folder where the file should be
    const Result set = Preferences({"set", "I162", "21"});
    EXPECT_EQ(set.status, kExitFailure);
    EXPECT_EQ(set.out, "");
    EXPECT_NE(set.err.find("could not be saved"), std::string::npos) << set.err;
}

} // namespace
} // namespace marlindex
