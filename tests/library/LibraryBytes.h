// Library files built byte by byte in the documented layout, independent of the writer, so
// that the tests check the layout itself and not only that the reader and writer agree.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace marlindex::test {

class Bytes {
public:
    Bytes& I16(std::int64_t value) { return Put(static_cast<std::uint64_t>(value), 2); }
    Bytes& I32(std::int64_t value) { return Put(static_cast<std::uint64_t>(value), 4); }
    Bytes& F32(float value) { return Put(std::bit_cast<std::uint32_t>(value), 4); }
    Bytes& F64(double value) { return Put(std::bit_cast<std::uint64_t>(value), 8); }
    // `cp1252` as the file holds it: a 16-bit byte count, then the bytes.
    Bytes& Str(std::string_view cp1252) {
        I16(static_cast<std::int64_t>(cp1252.size()));
        bytes_ += cp1252;
        return *this;
    }
    Bytes& Raw(std::string_view raw) {
        bytes_ += raw;
        return *this;
    }
    Bytes& Empty() { return I16(0); }
    Bytes& TextValue(std::string_view cp1252) { return I16(8).Str(cp1252); }
    Bytes& LongValue(std::int32_t value) { return I16(3).I32(value); }

    // A condition row; `text` and `owner` vary, the rest is fixed and distinct per field.
    Bytes& Row(std::string_view text, std::int32_t owner) {
        TextValue("3");           // comparison id
        Str("RSIa( Close, 14 )"); // code part 1
        Str("< 30");              // code part 2
        Str("");                  // joiner
        TextValue("16");          // indicator 1 id
        Str("");                  // indicator 1 option
        I32(2);                   // time period 1
        I16(-1);                  // modify 1 on
        F64(2.5);                 // modify 1 amount
        Str("Increase");          // modify 1 operation
        Str("Value");             // comparison type
        Empty();                  // indicator 2 id
        Str("");                  // indicator 2 option
        I32(1);                   // time period 2
        I16(0);                   // modify 2 on
        F64(0);                   // modify 2 amount
        Str("");                  // modify 2 operation
        Str("");                  // modify 2 unit
        F64(30);                  // value
        I16(1);                   // row number
        LongValue(owner);         // owner
        Str(text);                // row text
        I16(1);                   // left brackets
        I16(2);                   // right brackets
        return *this;
    }

    // A formula record with `rows` copies of Row(); `folder` is the folder id's text.
    Bytes& Formula(std::int32_t number, std::string_view folder, std::string_view name, int rows) {
        I32(number).I32(rows).I16(2).I16(1).I32(5).I16(1);
        Str(folder).Str(name).Str("d\xE9j\xE0 vu").Str("Buy = x;").Str("x").Str("");
        if (rows == 0) {
            return I16(0);
        }
        I16(1).I32(rows).I32(0);
        for (int i = 0; i < rows; ++i) {
            Row("row " + std::to_string(i), number);
        }
        return *this;
    }

    const std::string& str() const { return bytes_; }

private:
    Bytes& Put(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes_ += static_cast<char>((value >> (8 * i)) & 0xFF);
        }
        return *this;
    }

    std::string bytes_;
};

// Two folders (the second empty) and two formulas in the first, of one and two rows.
inline std::string SampleLibraryBytes() {
    Bytes bytes;
    bytes.I32(2).I32(2);
    bytes.Str("Buy Signals").I32(2).Str("Empty").I32(7);
    bytes.Formula(1, "2", "Dip", 1).Formula(2, "2", "Breakout", 2);
    return bytes.str();
}

} // namespace marlindex::test
