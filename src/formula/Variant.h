// The variant values that condition records and the library file carry: Empty, Null, 16- and
// 32-bit integers, single and double floats, text and a boolean.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace marlindex {

struct VariantEmpty {
    bool operator==(const VariantEmpty&) const = default;
};
struct VariantNull {
    bool operator==(const VariantNull&) const = default;
};

using Variant = std::variant<VariantEmpty, VariantNull, std::int16_t, std::int32_t, float, double,
                             std::string, bool>;

} // namespace marlindex
