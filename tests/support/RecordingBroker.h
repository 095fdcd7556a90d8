// A Broker for tests: every member call is recorded as one line ("LoadFormula /x/Unnamed.afl",
// "RangeN text 5"), and any member can be made to fail.
#pragma once

#include "amibroker/Broker.h"

#include <string>
#include <vector>

namespace marlindex::test {

class RecordingAnalysis : public Analysis {
public:
    void LoadFormula(const std::string& path) override { Record("LoadFormula " + path); }
    void ClearFilters() override { Record("ClearFilters"); }
    void SetApplyTo(std::int16_t value) override { Record("ApplyTo " + std::to_string(value)); }
    void SetRangeMode(std::int16_t value) override { Record("RangeMode " + std::to_string(value)); }
    void SetRangeN(const Variant& value) override {
        if (const auto* text = std::get_if<std::string>(&value)) {
            Record("RangeN text " + *text);
        } else if (const auto* number = std::get_if<std::int16_t>(&value)) {
            Record("RangeN int16 " + std::to_string(*number));
        } else {
            Record("RangeN other");
        }
    }
    void Explore() override { Record("Explore"); }
    void Scan() override { Record("Scan"); }

    std::vector<std::string> calls;
    std::string failOn; // the first word of the call that throws

private:
    void Record(std::string call) {
        if (!failOn.empty() && call.rfind(failOn, 0) == 0) {
            throw BrokerError("automation failure in " + failOn);
        }
        calls.push_back(std::move(call));
    }
};

class RecordingBroker : public Broker {
public:
    std::string Version() override {
        analysis.calls.push_back("Version");
        return version;
    }
    std::string DatabasePath() override { return databasePath; }
    marlindex::Analysis& Analysis() override {
        analysis.calls.push_back("Analysis");
        return analysis;
    }

    std::string version = "5.00";
    std::string databasePath;
    RecordingAnalysis analysis;
};

} // namespace marlindex::test
