// Registry editor files come in two versions. REGEDIT4 holds code-page text; it is what the
// settings file is written in. "Windows Registry Editor Version 5.00" is what today's
// registry editor exports: UTF-16LE text behind a byte-order mark (or, edited by hand, UTF-8).
// This step turns the second into the first, line for line, so that one parser reads both
// and settings exported on Windows open here.
#pragma once

#include "startup/Problem.h"

#include <string>
#include <string_view>

namespace marlindex {

// The file's text as REGEDIT4 in Windows-1252: a version 5 file converted (its header line
// becomes "REGEDIT4"), any other file unchanged. A problem naming the line when a version 5
// file holds a character Windows-1252 cannot, or its UTF-16 is broken.
Result<std::string> RegeditFileAsRegedit4(std::string_view bytes);

} // namespace marlindex
