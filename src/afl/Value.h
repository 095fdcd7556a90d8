// Values as the evaluator passes them around: a number, a text, or an array of one double per
// bar. Arrays live in buffers of a pool that a workspace keeps from one symbol to the next,
// shared by reference count, so that evaluating a formula allocates nothing once the pool has
// grown to the formula's needs.
//
// An array knows how many of its first bars are Null (`lead`) and whether a Null may stand
// anywhere after them (`gaps`). Nearly every array has Nulls only at its start (the warm-up of
// an indicator, the bars Ref looks back past), so the operators loop over [lead, size) without
// testing each value; only arrays with gaps take the slower loop that tests every bar.
#pragma once

#include "afl/Null.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace marlindex::afl {

class BufferPool {
public:
    // Makes every buffer free; those handed out from now on hold at least `size` values.
    // Only call when no value refers to a buffer any more.
    void Reset(std::size_t size) {
        size_ = size;
        free_.clear();
        for (std::size_t slot = buffers_.size(); slot-- > 0;) {
            buffers_[slot].refs = 0;
            free_.push_back(static_cast<int>(slot));
        }
    }

    int Acquire() {
        int slot;
        if (free_.empty()) {
            buffers_.emplace_back();
            slot = static_cast<int>(buffers_.size() - 1);
        } else {
            slot = free_.back();
            free_.pop_back();
        }
        Buffer& buffer = buffers_[static_cast<std::size_t>(slot)];
        if (buffer.data.size() < size_) {
            buffer.data.resize(size_);
        }
        buffer.refs = 1;
        return slot;
    }

    double* Data(int slot) { return buffers_[static_cast<std::size_t>(slot)].data.data(); }
    void Retain(int slot) { ++buffers_[static_cast<std::size_t>(slot)].refs; }
    void Release(int slot) {
        if (--buffers_[static_cast<std::size_t>(slot)].refs == 0) {
            free_.push_back(slot);
        }
    }
    bool Unique(int slot) const { return buffers_[static_cast<std::size_t>(slot)].refs == 1; }
    std::size_t BufferCount() const { return buffers_.size(); }

private:
    struct Buffer {
        std::vector<double> data;
        int refs = 0;
    };
    std::vector<Buffer> buffers_;
    std::vector<int> free_;
    std::size_t size_ = 0;
};

enum class ValueKind : unsigned char { Nothing, Number, Text, Array };

class Value {
public:
    Value() = default;
    static Value Number(double number) {
        Value value;
        value.kind_ = ValueKind::Number;
        value.number_ = number;
        return value;
    }
    static Value Text(std::string_view text) {
        Value value;
        value.kind_ = ValueKind::Text;
        value.text_ = text;
        return value;
    }
    // An array that the value does not own (a price column of the symbol).
    static Value Borrowed(const double* data, std::size_t lead, bool gaps) {
        Value value;
        value.kind_ = ValueKind::Array;
        value.data_ = data;
        value.lead_ = lead;
        value.gaps_ = gaps;
        return value;
    }
    // A freshly acquired buffer of `pool`; the value takes over its one reference.
    static Value Owned(BufferPool& pool, int slot) {
        Value value;
        value.kind_ = ValueKind::Array;
        value.pool_ = &pool;
        value.slot_ = slot;
        value.data_ = pool.Data(slot);
        return value;
    }

    Value(const Value& other) { CopyFrom(other); }
    Value(Value&& other) noexcept { MoveFrom(other); }
    Value& operator=(const Value& other) {
        if (this != &other) {
            Drop();
            CopyFrom(other);
        }
        return *this;
    }
    Value& operator=(Value&& other) noexcept {
        if (this != &other) {
            Drop();
            MoveFrom(other);
        }
        return *this;
    }
    ~Value() { Drop(); }

    ValueKind kind() const { return kind_; }
    bool IsNumber() const { return kind_ == ValueKind::Number; }
    bool IsArray() const { return kind_ == ValueKind::Array; }
    bool IsText() const { return kind_ == ValueKind::Text; }
    double number() const { return number_; }
    std::string_view text() const { return text_; }
    const double* data() const { return data_; }
    std::size_t lead() const { return lead_; }
    bool gaps() const { return gaps_; }

    void SetShape(std::size_t lead, bool gaps) {
        lead_ = lead;
        gaps_ = gaps;
    }
    // Sets the shape from the first `size` values, for units that can leave a Null anywhere.
    void ShapeFromValues(std::size_t size) {
        std::size_t lead = 0;
        while (lead < size && IsNull(data_[lead])) {
            ++lead;
        }
        bool gaps = false;
        for (std::size_t i = lead; i < size && !gaps; ++i) {
            gaps = IsNull(data_[i]);
        }
        SetShape(lead, gaps);
    }
    // The buffer to write into, when this value is its only user (so an operator can put its
    // result where its operand was); null otherwise.
    double* Writable() const {
        return slot_ >= 0 && pool_->Unique(slot_) ? pool_->Data(slot_) : nullptr;
    }

private:
    void CopyFrom(const Value& other) {
        CopyFields(other);
        if (slot_ >= 0) {
            pool_->Retain(slot_);
        }
    }
    void MoveFrom(Value& other) {
        CopyFields(other); // takes over `other`'s reference
        other.slot_ = -1;
        other.pool_ = nullptr;
        other.kind_ = ValueKind::Nothing;
    }
    void CopyFields(const Value& other) {
        kind_ = other.kind_;
        number_ = other.number_;
        text_ = other.text_;
        data_ = other.data_;
        lead_ = other.lead_;
        gaps_ = other.gaps_;
        pool_ = other.pool_;
        slot_ = other.slot_;
    }
    void Drop() {
        if (slot_ >= 0) {
            pool_->Release(slot_);
            slot_ = -1;
            pool_ = nullptr;
        }
    }

    ValueKind kind_ = ValueKind::Nothing;
    double number_ = 0;
    std::string_view text_;
    const double* data_ = nullptr;
    std::size_t lead_ = 0;
    bool gaps_ = false;
    BufferPool* pool_ = nullptr;
    int slot_ = -1;
};

} // namespace marlindex::afl
