// The one guard of a window's events. Readers and writers report the failures they expect
// as results (see Problem.h), and the state classes turn those into messages; what is left
// is the unexpected (memory, a broken invariant). Every form runs each user event through
// its Handle, which uses this, so such a failure is shown and the window stays usable
// instead of the exception escaping into the event loop.
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace marlindex {

// Runs `event`; the description of what it threw, none when it completed.
inline std::optional<std::string> RunGuarded(const std::function<void()>& event) {
    try {
        event();
    } catch (const std::exception& error) {
        return std::string(error.what());
    } catch (...) {
        return std::string("an unknown error");
    }
    return std::nullopt;
}

} // namespace marlindex
