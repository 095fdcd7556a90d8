// Taking the program out of AmiBroker's Custom Tools list, in every hive: the registry on
// Windows, the settings file elsewhere.
#include "amibroker/CustomTools.h"

#include "support/TestHives.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace marlindex {
namespace {

using namespace std::string_literals;

// Passes everything on to the hive under test and counts the writes.
class CountingHive final : public RegistryHive {
public:
    explicit CountingHive(RegistryHive& inner) : inner_(inner) {}
    std::optional<RegistryValue> ReadValue(RegistryRoot root, std::string_view path,
                                           std::string_view name) override {
        return inner_.ReadValue(root, path, name);
    }
    bool WriteValue(RegistryRoot root, std::string_view path, std::string_view name,
                    const RegistryValue& value) override {
        ++writes;
        return inner_.WriteValue(root, path, name, value);
    }
    bool DeleteValue(RegistryRoot root, std::string_view path, std::string_view name) override {
        ++writes;
        return inner_.DeleteValue(root, path, name);
    }
    int writes = 0;

private:
    RegistryHive& inner_;
};

class CustomToolsTest : public ::testing::TestWithParam<test::HiveKind> {
protected:
    // The list lives where the test's own key is, not in AmiBroker's, which other tests of
    // the same run may use at the same time.
    CProgramSettings Tools() {
        CProgramSettings tools = CustomToolsSettings(counting_);
        tools.SetRegBase("MarlindexTests");
        tools.SetProgram(store_->Settings().Program());
        return tools;
    }
    // Entries as AmiBroker stores them: text values and the prompt flag as a number.
    void Fill(const std::vector<std::vector<std::string>>& entries) {
        CProgramSettings tools = Tools();
        tools.WriteDWordEntry("Count", static_cast<std::int32_t>(entries.size()));
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const std::string n = std::to_string(i);
            tools.WriteEntry(n + "Name", entries[i][0]);
            tools.WriteEntry(n + "Command", entries[i][1]);
            tools.WriteEntry(n + "Args", entries[i][2]);
            tools.WriteEntry(n + "InitDir", entries[i][3]);
            tools.WriteDWordEntry(n + "PromptForArgs", std::stoi(entries[i][4]));
        }
        counting_.writes = 0;
    }
    // Every entry that has values, whatever the count says: "n name command args dir prompt".
    std::vector<std::string> Stored(int upTo) {
        const CProgramSettings tools = Tools();
        std::vector<std::string> rows;
        for (int i = 0; i < upTo; ++i) {
            std::string row = std::to_string(i);
            for (const char* word : {"Name", "Command", "Args", "InitDir", "PromptForArgs"}) {
                row += "|" + tools.ReadEntry(std::to_string(i) + word, "-");
            }
            rows.push_back(row);
        }
        return rows;
    }
    std::optional<RegistryValue> Raw(const std::string& name) {
        const CProgramSettings tools = Tools();
        return store_->hive().ReadValue(RegistryRoot::CurrentUser, tools.KeyPath(), name);
    }

    std::unique_ptr<test::TestHive> store_ = GetParam().make();
    CountingHive counting_{store_->hive()};
};

const std::vector<std::string> kMarlindex{"Marlindex", "C:\\AmiBroker\\Marlindex\\Marlindex.exe",
                                          "", "C:\\AmiBroker\\Marlindex", "0"};
const std::vector<std::string> kOther{"Other", "notepad.exe", "%f", "C:\\", "1"};

TEST_P(CustomToolsTest, TheFirstEntryGoesAndTheNextMovesUpValueByValue) {
    Fill({kMarlindex, kOther});
    CProgramSettings tools = Tools();
    EXPECT_EQ(RemoveCustomToolsEntry(tools), 0);
    EXPECT_EQ(Raw("Count"), (RegistryValue{kRegDWord, "\x01\0\0\0"s}));
    EXPECT_EQ(Stored(2), (std::vector<std::string>{"0|Other|notepad.exe|%f|C:\\|1",
                                                   "1|Other|notepad.exe|%f|C:\\|1"}));
    EXPECT_EQ(Raw("0PromptForArgs"), (RegistryValue{kRegDWord, "\x01\0\0\0"s}));
    EXPECT_EQ(ListCustomTools(tools).size(), 1u);
}

TEST_P(CustomToolsTest, AMatchInTheLastPlaceIsOverwrittenWithEmptyValues) {
    Fill({kOther, {"MARL INDEX", "m.exe", "a", "d", "1"}});
    CProgramSettings tools = Tools();
    EXPECT_EQ(RemoveCustomToolsEntry(tools), 1);
    EXPECT_EQ(Tools().ReadEntry("Count", ""), "1");
    // Empty text reads as the default "-"; the prompt flag is a stored 0.
    EXPECT_EQ(Stored(2),
              (std::vector<std::string>{"0|Other|notepad.exe|%f|C:\\|1", "1|-|-|-|-|0"}));
    EXPECT_EQ(Raw("1Name"), (RegistryValue{kRegString, "\0"s}));
    EXPECT_EQ(Raw("1PromptForArgs"), (RegistryValue{kRegDWord, "\0\0\0\0"s}));
}

TEST_P(CustomToolsTest, EntriesAfterAMiddleMatchMoveUpUntilOneHasNoName) {
    Fill({kOther,
          {"marlindex", "m.exe", "", "", "0"},
          {"Third", "3.exe", "", "", "0"},
          {"Fourth", "4.exe", "x", "y", "1"}});
    CProgramSettings tools = Tools();
    EXPECT_EQ(RemoveCustomToolsEntry(tools), 1);
    EXPECT_EQ(Stored(4),
              (std::vector<std::string>{"0|Other|notepad.exe|%f|C:\\|1", "1|Third|3.exe|-|-|0",
                                        "2|Fourth|4.exe|x|y|1", "3|Fourth|4.exe|x|y|1"}));
    EXPECT_EQ(Tools().ReadEntry("Count", ""), "3");
}

TEST_P(CustomToolsTest, NothingIsWrittenWithoutAMatch) {
    // Names match only whole, after lower-casing; entries past the count are not looked at.
    Fill({kOther, {"Marlindex Pro", "p.exe", "", "", "0"}, {"marlindex ", "", "", "", "0"}});
    Tools().WriteDWordEntry("Count", 3);
    CProgramSettings tools = Tools();
    tools.WriteEntry("3Name", "Marlindex");
    counting_.writes = 0;
    EXPECT_FALSE(RemoveCustomToolsEntry(tools));
    EXPECT_EQ(counting_.writes, 0);

    tools.WriteEntry("Count", "none");
    counting_.writes = 0;
    EXPECT_FALSE(RemoveCustomToolsEntry(tools));
    EXPECT_EQ(counting_.writes, 0);
    EXPECT_EQ(Tools().ReadEntry("Count", ""), "none");
}

TEST_P(CustomToolsTest, AnEmptyListIsLeftAsItIs) {
    CProgramSettings tools = Tools();
    EXPECT_FALSE(RemoveCustomToolsEntry(tools));
    EXPECT_EQ(counting_.writes, 0);
    EXPECT_TRUE(ListCustomTools(tools).empty());
}

INSTANTIATE_TEST_SUITE_P(Hives, CustomToolsTest, ::testing::ValuesIn(test::AllHiveKinds()),
                         test::HiveKindName);

TEST(CustomTools, TheListIsAmiBrokersOwnKey) {
    MemoryHive hive;
    const CProgramSettings tools = CustomToolsSettings(hive);
    EXPECT_EQ(tools.RootKey(), RegistryRoot::CurrentUser);
    EXPECT_EQ(tools.KeyPath(), "SOFTWARE\\TJP\\Broker\\Custom Tools");
}

} // namespace
} // namespace marlindex
