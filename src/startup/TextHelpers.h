// Small text routines shared by every layer of the core. They work on UTF-8 std::string and,
// where case matters, fold ASCII letters only: every word the program compares (catalogue
// texts, registry names, AFL keywords) is ASCII.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

// Splits a catalogue record at every ";" into its fields, keeping empty fields, so
// "14;Price;Price;1;" has five fields and the last is empty.
std::vector<std::string> SplitEntry(std::string_view text);

// Doubles every "'" so that a name can stand inside an AFL string built with quotes.
std::string QuoteApostrophes(std::string_view text);

// Removes leading and trailing blanks (spaces only; line breaks stay).
std::string_view TrimBlanks(std::string_view text);

// Replaces every occurrence of `from`, left to right, with exact matching.
std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);

// A number as a user types it in a box: blanks around it and a leading "+" allowed, any form
// from_chars reads ("5", "-5", "2.5", "1e2"), finite. None for anything else.
std::optional<double> ReadTypedNumber(std::string_view text);

char ToLowerAscii(char c);
std::string ToLowerAscii(std::string_view text);
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
bool ContainsIgnoreCase(std::string_view text, std::string_view part);

// Splits at single blanks, keeping empty fields (the default-parameter lists of the catalogue).
std::vector<std::string> SplitAtBlanks(std::string_view text);

} // namespace marlindex
