#include "afl/Functions.h"

#include "afl/Value.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <unordered_map>

namespace marlindex::afl {
namespace {

Param Arr(std::string_view name) {
    return {name, ParamKind::Array};
}
Param Per(std::string_view name) {
    return {name, ParamKind::Period};
}
Param Per(std::string_view name, double fallback) {
    return {name, ParamKind::Period, true, fallback};
}
Param Num(std::string_view name) {
    return {name, ParamKind::Number};
}
Param Num(std::string_view name, double fallback) {
    return {name, ParamKind::Number, true, fallback};
}
Param Txt(std::string_view name) {
    return {name, ParamKind::Text};
}
Param Any(std::string_view name) {
    return {name, ParamKind::Any};
}

FunctionSpec MakeFunction(std::string_view name, Family family, std::vector<Param> params,
                          Start start) {
    FunctionSpec entry;
    entry.name = name;
    entry.family = family;
    entry.params = std::move(params);
    entry.start = start;
    return entry;
}

FunctionSpec Unit(std::string_view name, Family family, std::vector<Param> params,
                  std::string_view implicit, Kernel kernel, Start start, int scratch = 0) {
    FunctionSpec entry = MakeFunction(name, family, std::move(params), start);
    entry.implicit = implicit;
    entry.kernel = kernel;
    entry.scratch = scratch;
    return entry;
}

FunctionSpec Own(std::string_view name, Family family, std::vector<Param> params, Native native,
                 Start start = nullptr) {
    FunctionSpec entry = MakeFunction(name, family, std::move(params), start);
    entry.native = native;
    return entry;
}

// Warm-ups, by the options they depend on.
std::size_t None(const double*) {
    return 0;
}
std::size_t FirstLess1(const double* o) {
    return Whole(o[0]) - 1;
}
std::size_t First(const double* o) {
    return Whole(o[0]);
}
std::size_t TwiceFirstLess1(const double* o) {
    return 2 * Whole(o[0]) - 1;
}
std::size_t Momentum(const double* o) {
    return Whole(o[1]) + Whole(o[0]) - 1;
}
std::size_t Second(const double* o) {
    return Whole(o[1]);
}
std::size_t LongerLess1(const double* o) {
    return std::max(Whole(o[0]), Whole(o[1])) - 1;
}
std::size_t SignalStart(const double* o) {
    return std::max(Whole(o[0]), Whole(o[1])) + Whole(o[2]) - 2;
}
std::size_t SlowK(const double* o) {
    return Whole(o[0]) + Whole(o[1]) - 2;
}
std::size_t SlowD(const double* o) {
    return Whole(o[0]) + Whole(o[1]) + Whole(o[2]) - 3;
}
std::size_t TripleSmoothed(const double* o) {
    return 3 * (Whole(o[0]) - 1) + 1;
}
std::size_t Longest3(const double* o) {
    return std::max({Whole(o[0]), Whole(o[1]), Whole(o[2])});
}

std::vector<FunctionSpec> BuildTable() {
    using F = Family;
    const Param array = Arr("array");
    const Param periods = Per("periods");
    return {
        // Averages.
        Unit("MA", F::Averages, {array, periods}, "", kernels::Ma, FirstLess1),
        Unit("EMA", F::Averages, {array, periods}, "", kernels::Ema, FirstLess1),
        Unit("WMA", F::Averages, {array, periods}, "", kernels::Wma, FirstLess1),
        Unit("DEMA", F::Averages, {array, periods}, "", kernels::Dema, None),
        Unit("TEMA", F::Averages, {array, periods}, "", kernels::Tema, None),
        Unit("Wilders", F::Averages, {array, periods}, "", kernels::Wilders, FirstLess1),
        Unit("AMA", F::Averages, {array, Arr("factor")}, "", kernels::Ama, None),
        Unit("AMA2", F::Averages, {array, Arr("smoothingfactor"), Arr("feedbackfactor")}, "",
             kernels::Ama2, None),
        Unit("StDev", F::Averages, {array, periods, Num("population", 1)}, "", kernels::StDev,
             FirstLess1, 1),
        Unit("BBandTop", F::Averages, {array, Per("periods", 15), Num("width", 2)}, "",
             kernels::BBandTop, FirstLess1, 1),
        Unit("BBandBot", F::Averages, {array, Per("periods", 15), Num("width", 2)}, "",
             kernels::BBandBot, FirstLess1, 1),

        // Oscillators and trend.
        Unit("RSIa", F::Oscillators, {array, Per("periods", 14)}, "", kernels::RsiA, First),
        Unit("RSI", F::Oscillators, {Per("periods", 14)}, "C", kernels::RsiA, First),
        Unit("RMI", F::Oscillators, {Per("periods", 20), Per("momentum", 5)}, "C", kernels::Rmi,
             Momentum),
        Unit("CCIa", F::Oscillators, {array, Per("periods", 14)}, "", kernels::CciA, FirstLess1),
        Unit("CCI", F::Oscillators, {Per("periods", 14)}, "A", kernels::CciA, FirstLess1),
        Unit("StochK", F::Oscillators, {Per("periods", 14), Per("Ksmooth", 3)}, "HLC",
             kernels::StochK, SlowK, 2),
        Unit("StochD", F::Oscillators, {Per("periods", 14), Per("Ksmooth", 3), Per("Dsmooth", 3)},
             "HLC", kernels::StochD, SlowD, 3),
        Unit("ROC", F::Oscillators, {array, Per("periods", 12), Num("absmode", 0)}, "",
             kernels::Roc, First),
        Unit("TRIX", F::Oscillators, {Per("periods", 9)}, "C", kernels::Trix, TripleSmoothed, 2),
        Unit("MACD", F::Oscillators, {Per("fast", 12), Per("slow", 26)}, "C", kernels::Macd,
             LongerLess1, 2),
        Unit("Signal", F::Oscillators, {Per("fast", 12), Per("slow", 26), Per("signal", 9)}, "C",
             kernels::Signal, SignalStart, 3),
        Unit("OscP", F::Oscillators, {Per("fast"), Per("slow")}, "C", kernels::OscP, LongerLess1,
             2),
        Unit("OscV", F::Oscillators, {Per("fast"), Per("slow")}, "V", kernels::OscV, LongerLess1,
             2),
        Unit("Ultimate", F::Oscillators, {Per("range1", 7), Per("range2", 14), Per("range3", 28)},
             "HLC", kernels::Ultimate, Longest3, 2),
        Unit("MFI", F::Oscillators, {Per("periods", 14)}, "HLCV", kernels::Mfi, First, 1),
        Unit("SAR", F::Oscillators, {Num("acceleration", 0.02), Num("maxacceleration", 0.2)}, "HL",
             kernels::Sar, None),
        Unit("ADX", F::Oscillators, {Per("periods", 14)}, "HLC", kernels::Adx, TwiceFirstLess1),
        Unit("PDI", F::Oscillators, {Per("periods", 14)}, "HLC", kernels::Pdi, First),
        Unit("MDI", F::Oscillators, {Per("periods", 14)}, "HLC", kernels::Mdi, First),
        Unit("ATR", F::Oscillators, {periods}, "HLC", kernels::Atr, First),
        Unit("RWI", F::Oscillators, {Per("minperiods"), Per("maxperiods")}, "HLC", kernels::Rwi,
             Second, 2),

        // Volume and accumulation.
        Unit("AccDist", F::Volume, {}, "HLCV", kernels::AccDist, None),
        Unit("Chaikin", F::Volume, {Per("fast", 9), Per("slow", 14)}, "HLCV", kernels::Chaikin,
             LongerLess1, 3),
        Unit("OBV", F::Volume, {}, "CV", kernels::Obv, None),
        Unit("NVI", F::Volume, {}, "CV", kernels::Nvi, None),

        // Breadth of the symbol's market.
        Own("ADLine", F::Breadth, {}, natives::ADLine),
        Own("TRIN", F::Breadth, {}, natives::Trin),

        // The trading toolbox.
        Own("Ref", F::Toolbox, {Any("array"), Any("period")}, natives::Ref),
        Own("Cross", F::Toolbox, {Any("array1"), Any("array2")}, natives::Cross, None),
        Own("BarsSince", F::Toolbox, {Any("array")}, natives::BarsSince),
        Own("HHV", F::Toolbox, {array, Any("periods")}, natives::Hhv, FirstLess1),
        Own("LLV", F::Toolbox, {array, Any("periods")}, natives::Llv, FirstLess1),
        Own("Sum", F::Toolbox, {array, Any("periods")}, natives::Sum, FirstLess1),
        Unit("Cum", F::Toolbox, {array}, "", kernels::Cum, None),
        Own("LastValue", F::Toolbox, {Any("array")}, natives::LastValue),
        Own("IIf", F::Toolbox, {Any("condition"), Any("truepart"), Any("falsepart")}, natives::IIf),
        Own("Max", F::Toolbox, {Any("a"), Any("b")}, natives::Max, None),
        Own("Min", F::Toolbox, {Any("a"), Any("b")}, natives::Min, None),
        Own("Abs", F::Toolbox, {Any("x")}, natives::Abs, None),
        Own("sqrt", F::Toolbox, {Any("x")}, natives::Sqrt, None),
        Own("log", F::Toolbox, {Any("x")}, natives::Log, None),
        Own("exp", F::Toolbox, {Any("x")}, natives::Exp, None),
        Own("floor", F::Toolbox, {Any("x")}, natives::Floor, None),
        Own("ceil", F::Toolbox, {Any("x")}, natives::Ceil, None),
        Own("round", F::Toolbox, {Any("x")}, natives::Round, None),
        Own("int", F::Toolbox, {Any("x")}, natives::Int, None),
        Own("IsNull", F::Toolbox, {Any("array")}, natives::IsEmpty, None),
        Own("IsEmpty", F::Toolbox, {Any("array")}, natives::IsEmpty, None),
        Own("IsNan", F::Toolbox, {Any("array")}, natives::IsNan, None),
        Own("IsTrue", F::Toolbox, {Any("array")}, natives::IsTrueValue, None),
        Own("Nz", F::Toolbox, {Any("array"), Num("valueifnull", 0)}, natives::Nz, None),
        Own("BarIndex", F::Toolbox, {}, natives::BarIndex, None),
        Own("ExRem", F::Toolbox, {Any("array1"), Any("array2")}, natives::ExRem, None),

        // The symbol's categories.
        Own("MarketID", F::Categories, {Num("mode", 0)}, natives::MarketId),
        Own("GroupID", F::Categories, {Num("mode", 0)}, natives::GroupId),
        Own("SectorID", F::Categories, {Num("mode", 0)}, natives::SectorId),
        Own("IndustryID", F::Categories, {Num("mode", 0)}, natives::IndustryId),
        Own("InWatchList", F::Categories, {Num("listnum")}, natives::InWatchList),

        // Exploration output.
        [] {
            FunctionSpec entry =
                Own("AddColumn", F::Exploration, {Arr("array"), Txt("name"), Num("format", 1.2)},
                    natives::AddColumn);
            entry.statement = true;
            return entry;
        }(),
    };
}

} // namespace

std::size_t FunctionSpec::Required() const {
    return static_cast<std::size_t>(
        std::count_if(params.begin(), params.end(), [](const Param& p) { return !p.optional; }));
}

const std::vector<FunctionSpec>& Functions() {
    static const std::vector<FunctionSpec> table = BuildTable();
    return table;
}

const FunctionSpec* FindFunction(std::string_view name) {
    static const std::unordered_map<std::string, const FunctionSpec*> index = [] {
        std::unordered_map<std::string, const FunctionSpec*> map;
        for (const FunctionSpec& entry : Functions()) {
            map.emplace(ToLowerAscii(entry.name), &entry);
        }
        return map;
    }();
    const auto found = index.find(ToLowerAscii(name));
    return found == index.end() ? nullptr : found->second;
}

} // namespace marlindex::afl
