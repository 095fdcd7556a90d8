// The function table: every AFL function the engine knows, listed once with its parameters
// and their defaults, the price arrays it reads by itself, the unit that computes it and its
// warm-up. Name resolution reads it to check calls before anything runs; the evaluator reads
// it to run them; the tests read it to check that every function has test vectors.
#pragma once

#include "afl/Error.h"
#include "afl/Kernels.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace marlindex::afl {

class Evaluator;
class Value;

enum class ParamKind : unsigned char {
    Array,  // an array; a single number stands for the same value on every bar
    Period, // a single number of bars: a fraction is cut off; below 1, or Null, and the
            // result is Null on every bar
    Number, // a single number; Null makes the result Null on every bar
    Text,   // a text
    Any,    // whatever the unit accepts (it checks for itself)
};

struct Param {
    std::string_view name;
    ParamKind kind = ParamKind::Array;
    bool optional = false;
    double fallback = 0; // the default of an optional parameter
};

enum class Family : unsigned char {
    Averages,
    Oscillators, // oscillators and trend
    Volume,      // volume and accumulation
    Breadth,
    Toolbox,    // the trading toolbox and everyday arithmetic
    Categories, // the symbol's market, group, sector, industry and watch lists
    Exploration,
};

// One call as a unit sees it: every parameter's value (defaults filled in, kinds checked as
// the table says), and the places to blame.
struct CallSite {
    std::string_view name;
    SourcePos where;
    std::span<Value> args;
    std::span<const SourcePos> argWhere;
};

using Native = Value (*)(Evaluator&, const CallSite&);
// The bars a kernel leaves Null at the start of a Null-free input, from its checked options.
using Start = std::size_t (*)(const double* options);

struct FunctionSpec {
    std::string_view name; // as the documentation spells it; calls ignore letter case
    Family family = Family::Toolbox;
    std::vector<Param> params;
    // Price arrays the unit reads without being given them, as letters: O H L C V,
    // I (open interest) and A (Avg).
    std::string_view implicit;
    // An array unit: the evaluator cuts off the leading Nulls of its inputs, runs it on the
    // rest with `scratch` spare buffers, and fills in the Nulls around its result.
    Kernel kernel = nullptr;
    Start start = nullptr;
    int scratch = 0;
    // Or a unit that works on the values themselves (Null rules of its own, texts, numbers).
    Native native = nullptr;
    // Gives no value: the call can only stand as a statement (AddColumn).
    bool statement = false;

    std::size_t Required() const;
};

const std::vector<FunctionSpec>& Functions();

// Case-insensitive; null when there is no such function.
const FunctionSpec* FindFunction(std::string_view name);

// The natives, by family (their files say what each does).
namespace natives {
Value Ref(Evaluator&, const CallSite&);
Value Cross(Evaluator&, const CallSite&);
Value BarsSince(Evaluator&, const CallSite&);
Value Hhv(Evaluator&, const CallSite&);
Value Llv(Evaluator&, const CallSite&);
Value Sum(Evaluator&, const CallSite&);
Value LastValue(Evaluator&, const CallSite&);
Value IIf(Evaluator&, const CallSite&);
Value Max(Evaluator&, const CallSite&);
Value Min(Evaluator&, const CallSite&);
Value Abs(Evaluator&, const CallSite&);
Value Sqrt(Evaluator&, const CallSite&);
Value Log(Evaluator&, const CallSite&);
Value Exp(Evaluator&, const CallSite&);
Value Floor(Evaluator&, const CallSite&);
Value Ceil(Evaluator&, const CallSite&);
Value Round(Evaluator&, const CallSite&);
Value Int(Evaluator&, const CallSite&);
Value IsEmpty(Evaluator&, const CallSite&);
Value IsNan(Evaluator&, const CallSite&);
Value IsTrueValue(Evaluator&, const CallSite&);
Value Nz(Evaluator&, const CallSite&);
Value BarIndex(Evaluator&, const CallSite&);
Value ExRem(Evaluator&, const CallSite&);
Value ADLine(Evaluator&, const CallSite&);
Value Trin(Evaluator&, const CallSite&);
Value MarketId(Evaluator&, const CallSite&);
Value GroupId(Evaluator&, const CallSite&);
Value SectorId(Evaluator&, const CallSite&);
Value IndustryId(Evaluator&, const CallSite&);
Value InWatchList(Evaluator&, const CallSite&);
Value AddColumn(Evaluator&, const CallSite&);
} // namespace natives

} // namespace marlindex::afl
