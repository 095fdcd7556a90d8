// Between scan files and library records: a scan stored as the library dialog stores the main
// window's formula, and a stored formula written out as a scan file again.
#pragma once

#include "library/LibraryFile.h"
#include "scanfile/ScanFile.h"

#include <string>

namespace marlindex {

// The record of a generated scan: run options, formula text, condition code, filter, and the
// rows with their code parts and row texts. The library fills number, folder and owner fields.
LibraryFormula FormulaFromScan(const Scan& scan, const GeneratedScan& generated);

// The scan file of a stored formula. Bad input, naming the row and field, when a row holds
// something a scan file cannot describe (so import would refuse what export wrote).
Result<std::string> ExportScan(const LibraryFormula& formula);

} // namespace marlindex
