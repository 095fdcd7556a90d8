// The analysis application as the program uses it: exactly the members it calls, by the names
// AmiBroker's automation object gives them. A host implements them: the local host (a
// database folder on disk), AmiBroker through automation, a recording fake in the tests.
//
// Every member may fail (the application has gone, a file cannot be written): it then throws
// BrokerError, and the caller ends what it was doing.
#pragma once

#include "formula/Variant.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace marlindex {

class BrokerError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The analysis window: loads a formula and runs it over symbols and bars.
class Analysis {
public:
    virtual ~Analysis() = default;

    virtual void LoadFormula(const std::string& path) = 0;
    virtual void ClearFilters() = 0;
    // 0 all symbols, 1 the current symbol.
    virtual void SetApplyTo(std::int16_t value) = 0;
    // 0 all quotes, 1 the last n quotes, 2 the last n days.
    virtual void SetRangeMode(std::int16_t value) = 0;
    // n: a 16-bit integer or the text the user typed, passed on as it is.
    virtual void SetRangeN(const Variant& value) = 0;
    virtual void Explore() = 0;
    virtual void Scan() = 0;
};

class Broker {
public:
    virtual ~Broker() = default;

    // The version text, for example "4.80.1".
    virtual std::string Version() = 0;
    // The current database's folder.
    virtual std::string DatabasePath() = 0;
    // The analysis object; it lives as long as the broker.
    virtual marlindex::Analysis& Analysis() = 0;
};

} // namespace marlindex
