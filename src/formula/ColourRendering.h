// The ways the command-line tool shows coloured formula text: as a list of runs, for a terminal,
// and as HTML to paste into a page or a mail.
#pragma once

#include "formula/Colouring.h"

#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// One line per run: "START LENGTH #rrggbb bold|regular", offsets in characters.
std::string RenderRuns(const std::vector<FormatRun>& runs);

// The text with 24-bit colour escapes, in UTF-8. Black stands in the terminal's own colour, so
// that the text stays readable on a dark background. CR LF becomes LF.
std::string RenderAnsi(std::u32string_view text, const std::vector<FormatRun>& runs);

// The text as one <pre> block with inline-styled spans, in UTF-8. Black stands in the page's
// own colour. CR LF becomes LF.
std::string RenderHtml(std::u32string_view text, const std::vector<FormatRun>& runs);

} // namespace marlindex
