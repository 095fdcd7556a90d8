#include "scanfile/ScanFile.h"

#include "formula/Catalogues.h"
#include "formula/ConditionEditor.h"
#include "formula/Translation.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace marlindex {

namespace {

using nlohmann::json;

// How the checks stop at the first bad value; ParseScan turns it into a Problem. `where` is
// the row and field ("row 2, field \"bars1\""), empty for the file as a whole.
struct ScanError {
    ScanError(std::string place, std::string message)
        : where(std::move(place)), what(std::move(message)) {}
    std::string where;
    std::string what;
};

constexpr int kMaxBrackets = 32767;

// Where a value sits in the file, for messages: "row 2, field \"bars1\"".
struct FieldPlace {
    std::string row; // "" at the top level, else "row N"
    std::string Field(std::string_view name) const {
        std::string text = row;
        if (!text.empty()) {
            text += ", ";
        }
        return text + "field " + QuoteExcerpt(name);
    }
};

std::string Quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

void RejectUnknownFields(const json& object, std::initializer_list<std::string_view> known,
                         const FieldPlace& place, std::string_view objectName = {}) {
    for (const auto& [key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            std::string where = objectName.empty()
                                    ? place.Field(key)
                                    : place.Field(objectName) + "." + QuoteExcerpt(key);
            throw ScanError(
                where, "unknown field; expected one of " + [&] {
                    std::string list;
                    for (const auto name : known) {
                        list += (list.empty() ? "" : ", ") + std::string(name);
                    }
                    return list;
                }());
        }
    }
}

const json* Find(const json& object, std::string_view key) {
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

std::string GetString(const json& value, const std::string& where) {
    if (!value.is_string()) {
        throw ScanError(where, "must be a text");
    }
    return value.get<std::string>();
}

std::string StringOr(const json& object, std::string_view key, const FieldPlace& place,
                     std::string fallback) {
    const json* value = Find(object, key);
    return value ? GetString(*value, place.Field(key)) : std::move(fallback);
}

double GetNumber(const json& value, const std::string& where) {
    if (!value.is_number()) {
        throw ScanError(where, "must be a number");
    }
    const double number = value.get<double>();
    if (!std::isfinite(number)) {
        throw ScanError(where, "must be a finite number");
    }
    return number;
}

std::int64_t GetWholeNumber(const json& value, const std::string& where, std::int64_t minimum,
                            std::int64_t maximum) {
    const std::string range =
        "a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum);
    if (!value.is_number()) {
        throw ScanError(where, "must be " + range);
    }
    const double number = value.get<double>();
    if (!std::isfinite(number) || std::floor(number) != number) {
        throw ScanError(where, "must be " + range);
    }
    if (number < static_cast<double>(minimum) || number > static_cast<double>(maximum)) {
        throw ScanError(where, "is out of range: must be " + range);
    }
    return value.is_number_integer() ? value.get<std::int64_t>()
                                     : static_cast<std::int64_t>(number);
}

// One of a fixed set of words; letter case is forgiven and the canonical spelling returned.
std::string GetChoice(const json& value, const std::string& where,
                      std::initializer_list<std::string_view> choices) {
    const std::string text = GetString(value, where);
    for (const auto choice : choices) {
        if (EqualsIgnoreCase(choice, text)) {
            return std::string(choice);
        }
    }
    std::string list;
    for (const auto choice : choices) {
        list += (list.empty() ? "" : ", ") + Quoted(choice);
    }
    throw ScanError(where, QuoteExcerpt(text) + " is not one of " + list);
}

int GetIndicator(const json& value, const std::string& where) {
    if (value.is_number()) {
        return static_cast<int>(GetWholeNumber(value, where, 0, kIndicatorCount - 1));
    }
    const std::string name = GetString(value, where);
    if (const auto index = FindIndicatorByName(name)) {
        return *index;
    }
    throw ScanError(where, "unknown indicator " + QuoteExcerpt(name));
}

int GetComparison(const json& value, const std::string& where) {
    if (value.is_number()) {
        return static_cast<int>(GetWholeNumber(value, where, 0, kComparisonCount - 1));
    }
    const std::string text = GetString(value, where);
    if (const auto index = FindComparisonByText(text)) {
        return *index;
    }
    throw ScanError(where, "unknown comparison " + QuoteExcerpt(text));
}

std::string GetOption(const json* value, int indicator, const FieldPlace& place,
                      std::string_view field) {
    const std::vector<OptionEntry> options = IndicatorOptions(indicator);
    if (value == nullptr) {
        return options.empty() ? std::string() : options.front().text;
    }
    const std::string where = place.Field(field);
    const std::string text = GetString(*value, where);
    if (options.empty()) {
        if (text.empty()) {
            return text;
        }
        throw ScanError(where, Indicator(indicator).displayName + " has no options");
    }
    std::string list;
    for (const auto& option : options) {
        if (EqualsIgnoreCase(option.text, text)) {
            return option.text;
        }
        list += (list.empty() ? "" : ", ") + Quoted(option.text);
    }
    throw ScanError(where, QuoteExcerpt(text) + " is not an option of " +
                               Indicator(indicator).displayName + " (" + list + ")");
}

struct Modifier {
    bool on = false;
    std::string operation;
    double amount = 0;
    std::string unit;
};

Modifier GetModifier(const json* value, const FieldPlace& place, std::string_view field,
                     bool withUnit) {
    Modifier modifier;
    if (value == nullptr) {
        return modifier;
    }
    const std::string where = place.Field(field);
    if (!value->is_object()) {
        throw ScanError(where, "must be an object with \"op\" and \"amount\"");
    }
    if (withUnit) {
        RejectUnknownFields(*value, {"op", "amount", "unit"}, place, field);
    } else {
        RejectUnknownFields(*value, {"op", "amount"}, place, field);
    }
    modifier.on = true;
    const json* op = Find(*value, "op");
    if (op == nullptr) {
        throw ScanError(where,
                        "needs \"op\": \"Increase\", \"Decrease\", \"Multiply\" or \"Divide\"");
    }
    modifier.operation = GetChoice(
        *op, where + ".op", {kModifyIncrease, kModifyDecrease, kModifyMultiply, kModifyDivide});
    if (const json* amount = Find(*value, "amount")) {
        modifier.amount = GetNumber(*amount, where + ".amount");
    }
    if (withUnit) {
        const json* unit = Find(*value, "unit");
        modifier.unit = unit ? GetChoice(*unit, where + ".unit", {kUnitValue, kUnitPercent})
                             : std::string(kUnitValue);
    }
    return modifier;
}

ScanRow ParseRow(const json& row, std::size_t number, std::vector<std::string>& warnings) {
    const FieldPlace place{"row " + std::to_string(number)};
    if (!row.is_object()) {
        throw ScanError(place.row, "must be an object");
    }
    RejectUnknownFields(row,
                        {"joiner", "open", "close", "indicator1", "option1", "bars1", "modify1",
                         "comparison", "target", "indicator2", "option2", "bars2", "modify2",
                         "value"},
                        place);
    ScanRow result;
    EditorState& s = result.state;
    if (const json* joiner = Find(row, "joiner")) {
        result.joiner = GetChoice(*joiner, place.Field("joiner"), {"AND", "OR"});
    }
    if (const json* open = Find(row, "open")) {
        result.openBrackets =
            static_cast<int>(GetWholeNumber(*open, place.Field("open"), 0, kMaxBrackets));
    }
    if (const json* close = Find(row, "close")) {
        result.closeBrackets =
            static_cast<int>(GetWholeNumber(*close, place.Field("close"), 0, kMaxBrackets));
    }

    constexpr std::int64_t kMaxBars = std::numeric_limits<std::int32_t>::max();
    if (const json* bars = Find(row, "bars1")) {
        s.tp1 = static_cast<std::int32_t>(GetWholeNumber(*bars, place.Field("bars1"), 0, kMaxBars));
    }
    const Modifier modify1 = GetModifier(Find(row, "modify1"), place, "modify1", false);
    s.modify1On = modify1.on;
    s.modify1Operation = modify1.operation;
    s.modify1 = modify1.amount;
    if (const json* bars = Find(row, "bars2")) {
        s.tp2 = static_cast<std::int32_t>(GetWholeNumber(*bars, place.Field("bars2"), 0, kMaxBars));
    }
    if (const json* value = Find(row, "value")) {
        s.value1 = GetNumber(*value, place.Field("value"));
    }

    // What the editor can hold is read, also where it makes an odd formula (with a warning),
    // so that every formula of the library can be exported and generated again. A row
    // without an indicator or a comparison is one the user has not finished.
    const json* indicator1 = Find(row, "indicator1");
    const json* comparison = Find(row, "comparison");
    if (indicator1 == nullptr || comparison == nullptr) {
        // What depends on the missing choice cannot stand without it.
        const std::string missing = indicator1 == nullptr ? "indicator1" : "comparison";
        for (const char* field :
             {"option1", "comparison", "target", "indicator2", "option2", "modify2"}) {
            const bool dependent = indicator1 == nullptr || std::string_view(field) != "option1";
            if (dependent && Find(row, field) != nullptr) {
                throw ScanError(place.Field(field), "needs \"" + missing + "\"");
            }
        }
        if (indicator1 != nullptr) {
            s.indicator1 = GetIndicator(*indicator1, place.Field("indicator1"));
            s.option1 = GetOption(Find(row, "option1"), *s.indicator1, place, "option1");
        }
        warnings.push_back(place.row + ": no \"" + missing +
                           "\" is given; the row is unfinished and adds nothing to the formula");
        return result;
    }
    const int a = GetIndicator(*indicator1, place.Field("indicator1"));
    s.indicator1 = a;
    s.option1 = GetOption(Find(row, "option1"), a, place, "option1");
    const int c = GetComparison(*comparison, place.Field("comparison"));
    const std::vector<int> offered = AvailableComparisons(a);
    if (std::find(offered.begin(), offered.end(), c) == offered.end()) {
        throw ScanError(place.Field("comparison"), Quoted(Comparison(c).text) +
                                                       " is not offered for " +
                                                       Indicator(a).displayName);
    }
    s.comparison = c;

    const ComparisonEntry entry = Comparison(c);
    std::string target;
    if (const json* value = Find(row, "target")) {
        target = GetChoice(*value, place.Field("target"), {kTargetIndicator, kTargetValue});
        const bool allowed =
            target == kTargetIndicator ? TakesIndicator(entry.kind) : TakesValue(entry.kind);
        if (!allowed) {
            throw ScanError(
                place.Field("target"),
                Quoted(entry.text) + " compares with " +
                    (TakesIndicator(entry.kind) ? "an indicator only" : "a value only"));
        }
    } else if (TakesIndicator(entry.kind) && TakesValue(entry.kind)) {
        warnings.push_back(place.row + ": no \"target\" is given for " + Quoted(entry.text) +
                           "; the condition has no second operand");
    } else {
        target = TakesIndicator(entry.kind) ? kTargetIndicator : kTargetValue;
    }
    // The lowest/highest comparisons have no target list in the editor.
    s.comparisonType = HasTargetList(entry.kind) ? target : std::string();

    if (const json* indicator2 = Find(row, "indicator2")) {
        const int b = GetIndicator(*indicator2, place.Field("indicator2"));
        const std::vector<int> paired = PairedIndicators(a);
        if (std::find(paired.begin(), paired.end(), b) == paired.end()) {
            throw ScanError(place.Field("indicator2"), Indicator(b).displayName +
                                                           " cannot be compared with " +
                                                           Indicator(a).displayName);
        }
        s.indicator2 = b;
        s.option2 = GetOption(Find(row, "option2"), b, place, "option2");
        if (target == kTargetValue) {
            warnings.push_back(place.row + ": \"indicator2\" is given while the target is "
                                           "\"Value\"; the formula may compare with it instead "
                                           "of the value");
        }
    } else {
        if (Find(row, "option2") != nullptr) {
            throw ScanError(place.Field("option2"), "needs \"indicator2\"");
        }
        if (target == kTargetIndicator) {
            warnings.push_back(place.row + ": the target is \"Indicator\" but no \"indicator2\" "
                                           "is given; the condition has no second operand");
        }
    }
    // With a second period of 0 the bar-by-bar forms put indicator 2 where the value would
    // go, so the value vanishes from the condition.
    if (s.tp2 == 0 && target == kTargetValue && TakesBars2(entry.group)) {
        warnings.push_back(place.row + ": \"bars2\" is 0 while the target is \"Value\"; a value "
                                       "has no bars ago, and the condition loses it");
    }
    const Modifier modify2 = GetModifier(Find(row, "modify2"), place, "modify2", true);
    s.modify2On = modify2.on;
    s.modify2Operation = modify2.operation;
    s.modify2 = modify2.amount;
    s.modify2Unit = modify2.on ? modify2.unit : std::string();
    return result;
}

// Where a byte offset lies: its line, and its column counted in characters.
marlindex::Place LineAndColumn(std::string_view text, std::size_t offset) {
    offset = std::min(offset, text.size());
    const std::string_view before = text.substr(0, offset);
    const auto line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
    const std::size_t lineStart = before.rfind('\n');
    const std::string_view inLine =
        before.substr(lineStart == std::string_view::npos ? 0 : lineStart + 1);
    // UTF-8 continuation bytes do not start a character.
    const auto column =
        static_cast<std::size_t>(std::count_if(inLine.begin(), inLine.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    return marlindex::Place::AtLine(line, column + 1);
}

// No scan file nests deeper than a few levels (the file, its rows, a row, a modifier); a deeper
// one is refused before its values are built, so that no reader and no destructor recurses
// through a hostile depth.
constexpr std::size_t kMaxNesting = 64;
// A row takes some twenty values; these bounds lie far above any formula a person builds and
// far below what would exhaust the program.
constexpr std::size_t kMaxValues = 1000000;
constexpr std::size_t kMaxRows = 10000;

// Where the first bracket that opens level `limit` + 1 lies, skipping strings; the text's size
// when none does.
std::size_t OffsetOfNesting(std::string_view text, std::size_t limit) {
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) {
                return i;
            }
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return text.size();
}

// The JSON library's own description of a syntax error, without its prefix and without the
// text it last read (which may be the whole rest of a hostile file): "unexpected '}'; expected
// string literal". Empty when the description has not the expected shape.
std::string SyntaxErrorDetail(std::string_view message, const std::string& lastToken) {
    constexpr std::string_view kSyntax = "syntax error ";
    const std::size_t syntax = message.find(kSyntax);
    if (syntax == std::string_view::npos) {
        return {};
    }
    const std::size_t dash = message.find("- ", syntax + kSyntax.size());
    if (dash == std::string_view::npos) {
        return {};
    }
    std::string detail(message.substr(dash + 2));
    const std::string lastRead = "; last read: '" + lastToken + "'";
    if (const std::size_t at = detail.find(lastRead); at != std::string::npos) {
        detail.erase(at, lastRead.size());
    } else if (const std::size_t cut = detail.find("; last read: "); cut != std::string::npos) {
        detail.erase(cut); // the token as read differs from the one given: never quote it raw
    }
    // The descriptions are short fixed texts; anything longer is not one of them.
    constexpr std::size_t kLongest = 160;
    return detail.size() > kLongest ? std::string() : detail;
}

// Builds the document from the JSON library's events, so that a bad file stops with what is
// needed for a message (the place and the text read last, never the library's whole message)
// and so that nesting and repeated keys are refused where they occur.
class DocumentBuilder {
public:
    explicit DocumentBuilder(std::string_view text) : text_(text) {}

    json& Document() { return document_; }
    std::optional<Problem>& Refusal() { return refusal_; }

    bool null() { return Add(json(nullptr)); }
    bool boolean(bool value) { return Add(json(value)); }
    bool number_integer(json::number_integer_t value) { return Add(json(value)); }
    bool number_unsigned(json::number_unsigned_t value) { return Add(json(value)); }
    bool number_float(json::number_float_t value, const json::string_t& /*text*/) {
        return Add(json(value));
    }
    bool string(json::string_t& value) { return Add(json(std::move(value))); }
    bool binary(json::binary_t& /*value*/) { return Add(json()); }
    bool start_object(std::size_t /*elements*/) { return Open(json::object()); }
    bool start_array(std::size_t /*elements*/) { return Open(json::array()); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool key(json::string_t& name) {
        if (open_.back()->contains(name)) {
            Refuse(Place::Within(PathTo(name)), "is given twice; a field is given once");
            return false;
        }
        key_ = std::move(name);
        return true;
    }
    bool parse_error(std::size_t position, const std::string& lastToken,
                     const nlohmann::detail::exception& error) {
        if (error.id == 406) {
            // A number beyond what a double holds: its token was read in full.
            const std::size_t start =
                position >= lastToken.size() ? position - lastToken.size() : 0;
            Refuse(LineAndColumn(text_, start),
                   "the number " + QuoteExcerpt(lastToken) +
                       " is out of range; numbers lie between -1.7e308 and 1.7e308");
            return false;
        }
        std::string what = "not valid JSON";
        const std::string detail = SyntaxErrorDetail(error.what(), lastToken);
        if (!detail.empty()) {
            what += ": " + detail;
        }
        if (!lastToken.empty()) {
            what += " (read: " + QuoteExcerpt(lastToken) + ")";
        }
        Refuse(LineAndColumn(text_, position == 0 ? 0 : position - 1), std::move(what));
        return false;
    }

private:
    // Every value costs memory, however short its text: a file of millions of tiny values is
    // refused while it is read, long before it could exhaust the program.
    bool Count() {
        if (++values_ <= kMaxValues) {
            return true;
        }
        Refuse(Place::Within(PathTo({})), "the file holds more than " + std::to_string(kMaxValues) +
                                              " values, more than any scan file needs");
        return false;
    }
    bool Add(json value) {
        if (!Count()) {
            return false;
        }
        if (open_.empty()) {
            document_ = std::move(value);
            return true;
        }
        json& parent = *open_.back();
        if (parent.is_array()) {
            parent.push_back(std::move(value));
        } else {
            parent[key_] = std::move(value);
        }
        return true;
    }
    bool Open(json container) {
        if (open_.size() >= kMaxNesting) {
            Refuse(LineAndColumn(text_, OffsetOfNesting(text_, kMaxNesting)),
                   "lists and objects nest deeper than " + std::to_string(kMaxNesting) +
                       " levels; a scan file needs four");
            return false;
        }
        if (!Count()) {
            return false;
        }
        json* added = nullptr;
        if (open_.empty()) {
            document_ = std::move(container);
            added = &document_;
        } else if (json& parent = *open_.back(); parent.is_array()) {
            parent.push_back(std::move(container));
            added = &parent.back();
        } else {
            added = &(parent[key_] = std::move(container));
        }
        open_.push_back(added);
        path_.push_back(open_.size() == 1 ? std::string() : Segment());
        return true;
    }
    bool Close() {
        open_.pop_back();
        path_.pop_back();
        return true;
    }
    // Where the value being read goes, as one step of a path: "rows", or "3" in a list.
    std::string Segment() const {
        const json& parent = *open_[open_.size() - 2];
        return parent.is_array() ? std::to_string(parent.size()) : key_;
    }
    // "row 2, field \"bars1\"", "field \"modify1\".\"op\"": the place of a field about to be
    // read (of the list or object being read when `name` is none), in the words the checks use.
    std::string PathTo(const std::optional<std::string>& name) const {
        std::vector<std::string> steps(path_.begin() + (path_.empty() ? 0 : 1), path_.end());
        if (name) {
            steps.push_back(*name);
        }
        std::string text;
        std::size_t first = 0;
        if (steps.size() >= 2 && path_.size() >= 2 && open_[0]->is_object() && steps[0] == "rows" &&
            open_[1]->is_array()) {
            text = "row " + steps[1];
            first = 2;
        }
        for (std::size_t i = first; i < steps.size(); ++i) {
            const bool opening = i == first;
            text += opening ? (text.empty() ? "field " : ", field ") : ".";
            text += QuoteExcerpt(steps[i]);
        }
        return text;
    }
    void Refuse(Place where, std::string what) {
        if (!refusal_) {
            refusal_ = Problem{ProblemKind::BadInput, std::move(where), std::move(what)};
        }
    }

    std::string_view text_;
    json document_;
    std::vector<json*> open_;       // the lists and objects being filled, outermost first
    std::vector<std::string> path_; // how each was reached from its parent
    std::string key_;               // the key of the next value inside an object
    std::size_t values_ = 0;
    std::optional<Problem> refusal_;
};

// The filter expression keeps CR LF line breaks, as the formula box holds it.
std::string WithCrLf(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) {
            result += '\r';
        }
        result += text[i];
    }
    return result;
}

} // namespace

Result<ParsedScan> ParseScan(std::string_view text) try {
    DocumentBuilder builder(text);
    const bool read = json::sax_parse(text.begin(), text.end(), &builder);
    if (builder.Refusal()) {
        return std::move(*builder.Refusal());
    }
    if (!read) {
        return Problem{ProblemKind::BadInput, Place{}, "not valid JSON"};
    }
    const json& document = builder.Document();
    if (!document.is_object()) {
        throw ScanError("", "a scan file must hold one JSON object");
    }
    const FieldPlace top;
    RejectUnknownFields(
        document,
        {"name", "description", "analysis", "applyTo", "range", "rangeN", "filter", "rows"}, top);
    ParsedScan parsed;
    Scan& scan = parsed.scan;
    scan.name = StringOr(document, "name", top, "");
    scan.description = StringOr(document, "description", top, "");
    if (const json* value = Find(document, "analysis")) {
        const std::string analysis =
            GetChoice(*value, top.Field("analysis"), {"exploration", "buy", "sell"});
        scan.analysis = analysis == "buy"    ? AnalysisType::BuyScan
                        : analysis == "sell" ? AnalysisType::SellScan
                                             : AnalysisType::Exploration;
    }
    if (const json* value = Find(document, "applyTo")) {
        const std::string applyTo =
            GetChoice(*value, top.Field("applyTo"), {"all", "current", "filter"});
        scan.applyTo = applyTo == "filter"    ? kApplyToFilter
                       : applyTo == "current" ? kApplyToCurrent
                                              : kApplyToAll;
    }
    if (const json* value = Find(document, "range")) {
        const std::string range =
            GetChoice(*value, top.Field("range"), {"all", "lastBars", "lastDays"});
        scan.range = range == "all"        ? kRangeAllBars
                     : range == "lastDays" ? kRangeLastDays
                                           : kRangeLastBars;
    }
    if (const json* value = Find(document, "rangeN")) {
        scan.rangeN = static_cast<std::int32_t>(GetWholeNumber(
            *value, top.Field("rangeN"), 0, std::numeric_limits<std::int32_t>::max()));
    }
    scan.filter = WithCrLf(StringOr(document, "filter", top, ""));
    if (const json* rows = Find(document, "rows")) {
        if (!rows->is_array()) {
            throw ScanError(top.Field("rows"), "must be a list of rows");
        }
        if (rows->size() > kMaxRows) {
            throw ScanError(top.Field("rows"), "holds " + std::to_string(rows->size()) +
                                                   " rows; a scan file holds at most " +
                                                   std::to_string(kMaxRows));
        }
        std::size_t number = 0;
        for (const json& row : *rows) {
            scan.rows.push_back(ParseRow(row, ++number, parsed.warnings));
        }
    }
    return parsed;
} catch (const ScanError& refused) {
    return Problem{ProblemKind::BadInput, marlindex::Place::Within(refused.where), refused.what};
} catch (const nlohmann::json::exception&) {
    // The checks above test every value's type before they take it, so this is a value they
    // missed; the library's own message would quote the input unbounded.
    return Problem{ProblemKind::BadInput, Place{},
                   "holds a value of a kind the scan file does not allow"};
}

std::string WriteScan(const Scan& scan) {
    using ordered = nlohmann::ordered_json;
    const auto indicator = [](int index) {
        return IsIndicatorIndex(index) ? ordered(Indicator(index).displayName) : ordered(index);
    };
    ordered rows = ordered::array();
    for (const ScanRow& row : scan.rows) {
        const EditorState& s = row.state;
        ordered out = ordered::object();
        if (!rows.empty()) {
            out["joiner"] = row.joiner;
        }
        if (row.openBrackets != 0) {
            out["open"] = row.openBrackets;
        }
        if (row.closeBrackets != 0) {
            out["close"] = row.closeBrackets;
        }
        if (s.indicator1) {
            out["indicator1"] = indicator(*s.indicator1);
        }
        if (!s.option1.empty()) {
            out["option1"] = s.option1;
        }
        out["bars1"] = s.tp1;
        if (s.modify1On) {
            out["modify1"] = {{"op", s.modify1Operation}, {"amount", s.modify1}};
        }
        if (s.comparison) {
            out["comparison"] = IsComparisonIndex(*s.comparison)
                                    ? ordered(Comparison(*s.comparison).text)
                                    : ordered(*s.comparison);
        }
        if (!s.comparisonType.empty()) {
            out["target"] = s.comparisonType;
        }
        if (s.indicator2) {
            out["indicator2"] = indicator(*s.indicator2);
        }
        if (!s.option2.empty()) {
            out["option2"] = s.option2;
        }
        out["bars2"] = s.tp2;
        if (s.modify2On) {
            out["modify2"] = {
                {"op", s.modify2Operation}, {"amount", s.modify2}, {"unit", s.modify2Unit}};
        }
        out["value"] = s.value1;
        rows.push_back(std::move(out));
    }
    static constexpr const char* kAnalyses[] = {"exploration", "buy", "sell"};
    static constexpr const char* kApplyTo[] = {"all", "current", "filter"};
    static constexpr const char* kRanges[] = {"all", "lastBars", "lastDays"};
    const auto pick = [](const char* const(&names)[3], int value) {
        return names[value == 0 ? 0 : value == 1 ? 1 : 2];
    };
    ordered document = ordered::object();
    document["name"] = scan.name;
    document["description"] = scan.description;
    document["analysis"] = pick(kAnalyses, static_cast<int>(scan.analysis));
    document["applyTo"] = pick(kApplyTo, scan.applyTo);
    document["range"] = pick(kRanges, scan.range);
    document["rangeN"] = scan.rangeN;
    document["filter"] = scan.filter;
    document["rows"] = std::move(rows);
    return document.dump(2) + "\n";
}

GeneratedScan GenerateScan(const Scan& scan, const CProgramSettings& settings) {
    // The rows are written one after another, as the editor writes them in add mode.
    ConditionEditor editor(settings);
    GeneratedScan generated;
    int rowCount = 0;
    for (const ScanRow& row : scan.rows) {
        const int target = rowCount++;
        editor.Condition() = row.state;
        editor.SetBrackets(target, row.openBrackets, row.closeBrackets);
        const ConditionTranslation translation = editor.Translate();
        std::string rowText = editor.RowText(target, row.joiner, translation);
        generated.rowTexts.push_back(rowText);
        editor.Store(rowCount, false, 0, row.joiner, translation, std::move(rowText));
    }
    editor.BuildCode(rowCount);
    generated.formula = editor.Assemble(scan.filter, scan.applyTo, scan.analysis);
    generated.conditionCode = editor.ConditionCode();
    generated.records = editor.Records();
    return generated;
}

} // namespace marlindex
