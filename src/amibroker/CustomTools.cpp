#include "amibroker/CustomTools.h"

#include "startup/TextHelpers.h"

#include <charconv>

namespace marlindex {

namespace {

// The leading whole number of a stored text ("3", " 3", "3 entries"); none without one.
std::optional<int> LeadingNumber(const std::string& text) {
    const std::string_view trimmed = TrimBlanks(text);
    int value = 0;
    const auto [end, error] =
        std::from_chars(trimmed.data(), trimmed.data() + trimmed.size(), value);
    if (error != std::errc()) {
        return std::nullopt;
    }
    return value;
}

std::string Entry(int index, const char* word) {
    return std::to_string(index) + word;
}

} // namespace

CProgramSettings CustomToolsSettings(RegistryHive& hive) {
    return CProgramSettings::ForUserKey(hive, "TJP", "Broker", "Custom Tools");
}

std::vector<CustomTool> ListCustomTools(const CProgramSettings& tools) {
    std::vector<CustomTool> list;
    const int count = LeadingNumber(tools.ReadEntry("Count", "0")).value_or(0);
    for (int i = 0; i < count; ++i) {
        list.push_back(
            {i, tools.ReadEntry(Entry(i, "Name"), ""), tools.ReadEntry(Entry(i, "Command"), ""),
             tools.ReadEntry(Entry(i, "Args"), ""), tools.ReadEntry(Entry(i, "InitDir"), ""),
             tools.ReadEntry(Entry(i, "PromptForArgs"), "0")});
    }
    return list;
}

std::optional<int> RemoveCustomToolsEntry(CProgramSettings& tools) {
    const auto count = LeadingNumber(tools.ReadEntry("Count", "0"));
    if (!count) {
        return std::nullopt; // a count that is no number: the list is not ours to change
    }
    std::optional<int> match;
    for (int i = 0; i < *count && !match; ++i) {
        const std::string name = ToLowerAscii(tools.ReadEntry(Entry(i, "Name"), ""));
        if (name == "marlindex" || name == "marl index") {
            match = i;
        }
    }
    if (!match) {
        return std::nullopt;
    }
    tools.WriteDWordEntry("Count", *count - 1);
    // The first move always happens; then each next entry moves up until one has no name.
    int i = *match;
    do {
        for (const char* word : {"Args", "Command", "InitDir", "Name"}) {
            tools.WriteEntry(Entry(i, word), tools.ReadEntry(Entry(i + 1, word), ""));
        }
        const auto prompt = LeadingNumber(tools.ReadEntry(Entry(i + 1, "PromptForArgs"), "0"));
        tools.WriteDWordEntry(Entry(i, "PromptForArgs"), prompt.value_or(0));
        ++i;
    } while (!tools.ReadEntry(Entry(i + 1, "Name"), "").empty());
    return match;
}

} // namespace marlindex
