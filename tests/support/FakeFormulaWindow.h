// The main window as the library dialog reaches it: remembers what the dialog sets and hands
// out a fixed current formula.
#pragma once

#include "library/LibraryBrowser.h"

#include <string>
#include <vector>

namespace marlindex::test {

class FakeFormulaWindow : public FormulaWindow {
public:
    std::string ScanName() const override { return scanName; }
    void SetScanName(std::string name) override { scanName = std::move(name); }
    LibraryFormula CurrentFormula() override { return current; }
    void RestoreFormula(const LibraryFormula& formula) override { restored.push_back(formula); }
    const LibraryRecordRef& LibraryRecord() const override { return record; }
    void SetLibraryRecord(LibraryRecordRef value) override { record = std::move(value); }

    std::string scanName;
    LibraryFormula current;
    std::vector<LibraryFormula> restored;
    LibraryRecordRef record;
};

} // namespace marlindex::test
