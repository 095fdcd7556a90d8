#include "formula/IndicatorParameters.h"

#include "afl/Error.h"
#include "afl/Syntax.h"
#include "formula/Catalogues.h"
#include "startup/Problem.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <utility>

namespace marlindex {

namespace {

struct ParameterName {
    int indicator;
    int position;
};

// The adaptive averages' smoothing and feedback factors.
constexpr std::array<ParameterName, 3> kExpressions{{{34, 2}, {35, 2}, {35, 3}}};
// The price arrays; Volume only where the indicator makes sense of it.
constexpr std::array<ParameterName, 14> kArrays{{{3, 1},
                                                 {7, 1},
                                                 {8, 1},
                                                 {9, 1},
                                                 {15, 1},
                                                 {16, 1},
                                                 {27, 1},
                                                 {28, 1},
                                                 {34, 1},
                                                 {35, 1},
                                                 {36, 1},
                                                 {37, 1},
                                                 {38, 1},
                                                 {39, 1}}};
constexpr std::array<int, 5> kWithVolume{3, 15, 16, 34, 35};
constexpr ParameterName kAbsMode{15, 3};

template <std::size_t N>
bool Among(const std::array<ParameterName, N>& names, int indicator, int position) {
    return std::any_of(names.begin(), names.end(), [&](const ParameterName& name) {
        return name.indicator == indicator && name.position == position;
    });
}

// The brackets of the text close within it, so that it cannot close the call it stands in.
bool BracketsNest(std::string_view text) {
    int depth = 0;
    for (const char c : text) {
        depth += c == '(' || c == '[' ? 1 : c == ')' || c == ']' ? -1 : 0;
        if (depth < 0) {
            return false;
        }
    }
    return depth == 0;
}

} // namespace

ParameterKind KindOfParameter(int indicator, int position) {
    if (Among(kExpressions, indicator, position)) {
        return ParameterKind::Expression;
    }
    if (Among(kArrays, indicator, position) ||
        (indicator == kAbsMode.indicator && position == kAbsMode.position)) {
        return ParameterKind::Choice;
    }
    return ParameterKind::Number;
}

std::vector<std::string> ParameterChoices(int indicator, int position) {
    if (indicator == kAbsMode.indicator && position == kAbsMode.position) {
        return {"False", "True"};
    }
    if (!Among(kArrays, indicator, position)) {
        return {};
    }
    std::vector<std::string> list{"Close", "Open", "High", "Low", "Average"};
    if (std::find(kWithVolume.begin(), kWithVolume.end(), indicator) != kWithVolume.end()) {
        list.emplace_back("Volume");
    }
    return list;
}

bool IsNumeric(std::string_view text) {
    text = TrimBlanks(text);
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        text.remove_prefix(1);
    }
    bool digits = false;
    bool point = false;
    for (const char c : text) {
        if (c >= '0' && c <= '9') {
            digits = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    return digits;
}

bool IsSingleAflExpression(std::string_view text) {
    const bool forbidden = std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F || c == ';' || c == '"' || c == '{' || c == '}';
    });
    if (forbidden || text.find("//") != std::string_view::npos ||
        text.find("/*") != std::string_view::npos || TrimBlanks(text).empty() ||
        !BracketsNest(text)) {
        return false;
    }
    try {
        // Wrapped as the value of one assignment: the factor must add no statement and assign
        // nothing of its own (AFL allows an assignment inside brackets).
        const afl::SyntaxTree tree = afl::Parse("x = ( " + std::string(text) + " );");
        const auto assignments =
            std::count_if(tree.nodes.begin(), tree.nodes.end(),
                          [](const afl::Node& node) { return node.kind == afl::NodeKind::Assign; });
        return tree.statements.size() == 1 && assignments == 1;
    } catch (const afl::Error&) {
        return false;
    }
}

std::optional<std::string> ParameterProblem(int indicator, int position, std::string_view value) {
    value = TrimBlanks(value);
    switch (KindOfParameter(indicator, position)) {
    case ParameterKind::Number:
        if (!IsNumeric(value)) {
            return "is not a number";
        }
        return std::nullopt;
    case ParameterKind::Choice: {
        const std::vector<std::string> choices = ParameterChoices(indicator, position);
        const bool listed = std::any_of(choices.begin(), choices.end(), [value](const auto& c) {
            return EqualsIgnoreCase(c, value);
        });
        if (!listed) {
            std::string list;
            for (const std::string& choice : choices) {
                list += (list.empty() ? "" : ", ") + choice;
            }
            return "is not one of " + list;
        }
        return std::nullopt;
    }
    case ParameterKind::Expression:
        if (!IsSingleAflExpression(value)) {
            return "is not one AFL expression (no \";\", comment, string or line break)";
        }
        return std::nullopt;
    }
    return std::nullopt;
}

std::string ParameterSection(int indicator) {
    return "Settings\\Indicator\\" + std::to_string(indicator);
}

std::string ParameterInUse(int indicator, int position, const std::string& fallback,
                           const CProgramSettings& settings) {
    const std::string stored =
        settings.ReadEntry(ParameterSection(indicator), std::to_string(position), fallback);
    if (ParameterProblem(indicator, position, stored)) {
        return fallback;
    }
    return std::string(TrimBlanks(stored));
}

std::vector<std::string> CheckStoredParameters(const CProgramSettings& settings) {
    std::vector<std::string> warnings;
    for (int indicator = 0; indicator < kIndicatorCount; ++indicator) {
        const std::vector<std::string> defaults =
            SplitAtBlanks(Indicator(indicator).defaultParameters);
        for (std::size_t k = 1; k <= defaults.size(); ++k) {
            const int position = static_cast<int>(k);
            const std::string section = ParameterSection(indicator);
            // An empty default never comes back from a stored value, so it marks "not stored".
            const std::string stored = settings.ReadEntry(section, std::to_string(position), "");
            if (stored.empty()) {
                continue;
            }
            if (const auto problem = ParameterProblem(indicator, position, stored)) {
                warnings.push_back(section + "\\" + std::to_string(position) + " holds " +
                                   QuoteExcerpt(stored) + ", which " + *problem + "; the default " +
                                   defaults[k - 1] + " is used instead");
            }
        }
    }
    return warnings;
}

} // namespace marlindex
