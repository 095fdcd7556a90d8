// AmiBroker through its automation object, as Windows reaches it: the running application
// registered as "Broker.Application", every member called late-bound by name (GetIDsOfNames,
// then Invoke), exactly as the program has always called it. Text crosses as UTF-8 here and
// as UTF-16 in the automation calls.
//
// A call that fails (an error result, an exception the application raises with its
// description, the application gone) is a BrokerError that names the member. AmiBroker
// refuses calls while it shows a dialog; such a call is retried for a bounded time and then
// fails with a BrokerError saying so, so that the window never hangs on a busy AmiBroker.
//
// Everything here lives on one thread, the one that attached: COM joins it as a
// single-threaded apartment (unless it is in one already) for as long as the broker lives.
// While a refused call waits for its next try, the thread's window messages are handled.
#pragma once

#include "amibroker/Broker.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct IDispatch;

namespace marlindex {

// One automation object and its members, reached by name. Holds one reference to it.
class DispatchObject {
public:
    DispatchObject() = default;
    // Takes over the reference the caller holds; `name` names the object in errors. A call
    // the application refuses as busy is retried for `busyLimit`.
    DispatchObject(IDispatch* object, std::string name,
                   std::chrono::milliseconds busyLimit = std::chrono::milliseconds(10000));
    DispatchObject(const DispatchObject& other);
    DispatchObject(DispatchObject&& other) noexcept;
    DispatchObject& operator=(DispatchObject other) noexcept;
    ~DispatchObject();

    // A property's value; an object value is refused (GetDispatch takes those).
    Variant Get(const std::string& member);
    void Put(const std::string& member, const Variant& value);
    // A method with its arguments, first to last; its result (Empty when it has none).
    Variant Call(const std::string& member, const std::vector<Variant>& arguments = {});
    // A property whose value is an automation object.
    DispatchObject GetDispatch(const std::string& member);

    explicit operator bool() const { return object_ != nullptr; }
    IDispatch* Raw() const { return object_; }

private:
    IDispatch* object_ = nullptr;
    std::string name_;
    std::chrono::milliseconds busyLimit_{10000};
};

class DispatchAnalysis final : public Analysis {
public:
    explicit DispatchAnalysis(DispatchObject object) : object_(std::move(object)) {}

    void LoadFormula(const std::string& path) override;
    void ClearFilters() override;
    void SetApplyTo(std::int16_t value) override;
    void SetRangeMode(std::int16_t value) override;
    // Passed on as the variant holds it: a 16-bit integer, or the text as the user typed it.
    void SetRangeN(const Variant& value) override;
    void Explore() override;
    void Scan() override;

    DispatchObject& Object() { return object_; }

private:
    DispatchObject object_;
};

class DispatchBroker final : public Broker {
public:
    struct Options {
        // The application's registered name.
        std::string progId = "Broker.Application";
        // How long a call the application refuses as busy is retried before it fails.
        std::chrono::milliseconds busyLimit{10000};
    };

    // Attaches to the running application: the one registered as running, otherwise one
    // its registered server gives. A BrokerError when neither answers.
    DispatchBroker();
    explicit DispatchBroker(const Options& options);
    DispatchBroker(const DispatchBroker&) = delete;
    DispatchBroker& operator=(const DispatchBroker&) = delete;
    ~DispatchBroker() override;

    std::string Version() override;
    std::string DatabasePath() override;
    // Read from the application on first use and kept, as the program keeps it.
    marlindex::Analysis& Analysis() override;

    // The application object itself, for members beyond the ones above.
    DispatchObject& Application() { return application_; }

private:
    struct Apartment;
    std::unique_ptr<Apartment> apartment_; // first in, last out: COM outlives the objects
    DispatchObject application_;
    std::unique_ptr<DispatchAnalysis> analysis_;
};

} // namespace marlindex
