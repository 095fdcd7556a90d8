#include "amibroker/DispatchBrokerWin32.h"

#include <cstdio>
#include <objbase.h>
#include <oleauto.h>
#include <type_traits>
#include <windows.h>

namespace marlindex {

namespace {

using Clock = std::chrono::steady_clock;

std::wstring Wide(const std::string& utf8) {
    if (utf8.empty()) {
        return {};
    }
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), length);
    return wide;
}

std::string Utf8(const wchar_t* text, std::size_t count) {
    if (count == 0) {
        return {};
    }
    const int size = static_cast<int>(count);
    const int length = WideCharToMultiByte(CP_UTF8, 0, text, size, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, size, utf8.data(), length, nullptr, nullptr);
    return utf8;
}

std::string Utf8(BSTR text) {
    return text ? Utf8(text, SysStringLen(text)) : std::string();
}

// A VARIANT that clears itself, so that no BSTR or object leaks when a call throws.
struct OwnedVariant {
    VARIANT value;
    OwnedVariant() { VariantInit(&value); }
    OwnedVariant(const OwnedVariant&) = delete;
    OwnedVariant& operator=(const OwnedVariant&) = delete;
    ~OwnedVariant() { VariantClear(&value); }
};

void ToVariant(const Variant& in, VARIANT& out) {
    std::visit(
        [&out](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, VariantEmpty>) {
                out.vt = VT_EMPTY;
            } else if constexpr (std::is_same_v<T, VariantNull>) {
                out.vt = VT_NULL;
            } else if constexpr (std::is_same_v<T, std::int16_t>) {
                out.vt = VT_I2;
                out.iVal = value;
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                out.vt = VT_I4;
                out.lVal = value;
            } else if constexpr (std::is_same_v<T, float>) {
                out.vt = VT_R4;
                out.fltVal = value;
            } else if constexpr (std::is_same_v<T, double>) {
                out.vt = VT_R8;
                out.dblVal = value;
            } else if constexpr (std::is_same_v<T, std::string>) {
                const std::wstring wide = Wide(value);
                out.vt = VT_BSTR;
                out.bstrVal = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
            } else {
                out.vt = VT_BOOL;
                out.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
            }
        },
        in);
}

std::string HexCode(HRESULT result) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(result));
    return text;
}

// The system's own words for an error result, without the line end it adds.
std::string SystemText(HRESULT result) {
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, static_cast<DWORD>(result), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::string text = length ? Utf8(buffer, length) : std::string();
    LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

bool ServerGone(HRESULT result) {
    return result == RPC_E_DISCONNECTED || result == RPC_E_SERVER_DIED ||
           result == RPC_E_SERVER_DIED_DNE || result == CO_E_OBJNOTCONNECTED ||
           result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) ||
           result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED) ||
           result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED_DNE);
}

bool Busy(HRESULT result) {
    return result == RPC_E_CALL_REJECTED || result == RPC_E_SERVERCALL_RETRYLATER;
}

std::string Reason(HRESULT result) {
    if (ServerGone(result)) {
        return "AmiBroker has gone (" + HexCode(result) + ")";
    }
    if (result == DISP_E_UNKNOWNNAME || result == DISP_E_MEMBERNOTFOUND) {
        return "AmiBroker has no such member (" + HexCode(result) + ")";
    }
    const std::string text = SystemText(result);
    return "error " + HexCode(result) + (text.empty() ? "" : ": " + text);
}

// The error an application raised, with its own description when it gave one.
std::string ExceptionReason(EXCEPINFO& exception) {
    if (exception.pfnDeferredFillIn) {
        exception.pfnDeferredFillIn(&exception);
    }
    std::string description = Utf8(exception.bstrDescription);
    const HRESULT code = exception.scode ? exception.scode : static_cast<HRESULT>(exception.wCode);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    if (description.empty()) {
        description = SystemText(code);
    }
    return "AmiBroker raised error " + HexCode(code) +
           (description.empty() ? "" : ": " + description);
}

// Lets the window's own events run while a refused call waits for its next try.
void WaitPumping(std::chrono::milliseconds wait) {
    const auto until = Clock::now() + wait;
    for (auto now = Clock::now(); now < until; now = Clock::now()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - now);
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(left.count()) + 1,
                                  QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

constexpr std::chrono::milliseconds kRetryPause{100};

// COM objects are released through their interface, never deleted through it: the
// interfaces have no virtual destructor by design.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Asked by COM (where it supports it) when the application refuses a call because it is busy:
// try again shortly until the limit has passed, then cancel so the call fails.
class BusyRetryFilter final : public IMessageFilter {
public:
    explicit BusyRetryFilter(std::chrono::milliseconds limit) : limit_(limit) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IMessageFilter) {
            *object = static_cast<IMessageFilter*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    // Owned by the apartment, which outlives its registration.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override {
        return SERVERCALL_ISHANDLED;
    }
    DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK, DWORD elapsed, DWORD rejectType) override {
        if (rejectType == SERVERCALL_RETRYLATER && elapsed < static_cast<DWORD>(limit_.count())) {
            return static_cast<DWORD>(kRetryPause.count());
        }
        return static_cast<DWORD>(-1);
    }
    DWORD STDMETHODCALLTYPE MessagePending(HTASK, DWORD, DWORD) override {
        return PENDINGMSG_WAITDEFPROCESS;
    }

private:
    std::chrono::milliseconds limit_;
};

#pragma GCC diagnostic pop

} // namespace

DispatchObject::DispatchObject(IDispatch* object, std::string name,
                               std::chrono::milliseconds busyLimit)
    : object_(object), name_(std::move(name)), busyLimit_(busyLimit) {}

DispatchObject::DispatchObject(const DispatchObject& other)
    : object_(other.object_), name_(other.name_), busyLimit_(other.busyLimit_) {
    if (object_) {
        object_->AddRef();
    }
}

DispatchObject::DispatchObject(DispatchObject&& other) noexcept
    : object_(other.object_), name_(std::move(other.name_)), busyLimit_(other.busyLimit_) {
    other.object_ = nullptr;
}

DispatchObject& DispatchObject::operator=(DispatchObject other) noexcept {
    std::swap(object_, other.object_);
    std::swap(name_, other.name_);
    std::swap(busyLimit_, other.busyLimit_);
    return *this;
}

DispatchObject::~DispatchObject() {
    if (object_) {
        object_->Release();
    }
}

namespace {

// One late-bound call: the member's number by its name, then the call itself. Both steps go
// to the application, so both are retried while it is busy, until one deadline.
void Invoke(IDispatch* object, const std::string& objectName, std::chrono::milliseconds busyLimit,
            const std::string& member, WORD flags, const std::vector<Variant>& arguments,
            VARIANT* result) {
    const std::string who = objectName + "." + member;
    if (!object) {
        throw BrokerError(who + ": not attached to AmiBroker");
    }
    const auto deadline = Clock::now() + busyLimit;
    auto retry = [&](HRESULT outcome) {
        if (!Busy(outcome)) {
            return false;
        }
        if (Clock::now() >= deadline) {
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%.1f",
                          static_cast<double>(busyLimit.count()) / 1000.0);
            throw BrokerError(who + ": AmiBroker stayed busy for " + seconds +
                              " s (is one of its dialogs open?)");
        }
        WaitPumping(kRetryPause);
        return true;
    };

    std::wstring wideName = Wide(member);
    LPOLESTR names[] = {wideName.data()};
    DISPID id = DISPID_UNKNOWN;
    HRESULT outcome;
    do {
        outcome = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    } while (retry(outcome));
    if (FAILED(outcome)) {
        throw BrokerError(who + ": " + Reason(outcome));
    }

    // Automation takes the arguments last to first.
    std::vector<OwnedVariant> values(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        ToVariant(arguments[i], values[arguments.size() - 1 - i].value);
    }
    std::vector<VARIANT> raw;
    raw.reserve(values.size());
    for (auto& value : values) {
        raw.push_back(value.value);
    }
    DISPID putId = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{raw.data(), nullptr, static_cast<UINT>(raw.size()), 0};
    if (flags == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &putId;
        parameters.cNamedArgs = 1;
    }
    do {
        EXCEPINFO exception{};
        UINT badArgument = 0;
        VariantClear(result);
        outcome = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result,
                                 &exception, &badArgument);
        if (outcome == DISP_E_EXCEPTION) {
            throw BrokerError(who + ": " + ExceptionReason(exception));
        }
    } while (retry(outcome));
    if (FAILED(outcome)) {
        throw BrokerError(who + ": " + Reason(outcome));
    }
}

Variant FromVariant(const VARIANT& value, const std::string& who) {
    switch (value.vt) {
    case VT_EMPTY:
        return VariantEmpty{};
    case VT_NULL:
        return VariantNull{};
    case VT_I2:
        return value.iVal;
    case VT_I4:
        return static_cast<std::int32_t>(value.lVal);
    case VT_R4:
        return value.fltVal;
    case VT_R8:
        return value.dblVal;
    case VT_BSTR:
        return Utf8(value.bstrVal);
    case VT_BOOL:
        return value.boolVal != VARIANT_FALSE;
    default:
        throw BrokerError(who + ": AmiBroker answered with a value of type " +
                          std::to_string(value.vt) + ", not a number or a text");
    }
}

} // namespace

Variant DispatchObject::Get(const std::string& member) {
    OwnedVariant result;
    Invoke(object_, name_, busyLimit_, member, DISPATCH_PROPERTYGET, {}, &result.value);
    return FromVariant(result.value, name_ + "." + member);
}

void DispatchObject::Put(const std::string& member, const Variant& value) {
    OwnedVariant result;
    Invoke(object_, name_, busyLimit_, member, DISPATCH_PROPERTYPUT, {value}, &result.value);
}

Variant DispatchObject::Call(const std::string& member, const std::vector<Variant>& arguments) {
    OwnedVariant result;
    Invoke(object_, name_, busyLimit_, member, DISPATCH_METHOD, arguments, &result.value);
    return FromVariant(result.value, name_ + "." + member);
}

DispatchObject DispatchObject::GetDispatch(const std::string& member) {
    OwnedVariant result;
    Invoke(object_, name_, busyLimit_, member, DISPATCH_PROPERTYGET, {}, &result.value);
    const std::string who = name_ + "." + member;
    IDispatch* object = nullptr;
    if (result.value.vt == VT_DISPATCH && result.value.pdispVal) {
        object = result.value.pdispVal;
        object->AddRef();
    } else if (result.value.vt == VT_UNKNOWN && result.value.punkVal) {
        result.value.punkVal->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&object));
    }
    if (!object) {
        throw BrokerError(who + ": AmiBroker answered with no automation object");
    }
    return DispatchObject(object, who, busyLimit_);
}

void DispatchAnalysis::LoadFormula(const std::string& path) {
    object_.Call("LoadFormula", {path});
}

void DispatchAnalysis::ClearFilters() {
    object_.Call("ClearFilters");
}

void DispatchAnalysis::SetApplyTo(std::int16_t value) {
    object_.Put("ApplyTo", value);
}

void DispatchAnalysis::SetRangeMode(std::int16_t value) {
    object_.Put("RangeMode", value);
}

void DispatchAnalysis::SetRangeN(const Variant& value) {
    object_.Put("RangeN", value);
}

void DispatchAnalysis::Explore() {
    object_.Call("Explore");
}

void DispatchAnalysis::Scan() {
    object_.Call("Scan");
}

// COM on this thread for as long as the broker lives, with the filter that retries calls a
// busy AmiBroker refuses.
struct DispatchBroker::Apartment {
    explicit Apartment(std::chrono::milliseconds busyLimit) : filter(busyLimit) {
        const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        initialised = SUCCEEDED(result); // S_FALSE too: that call must be balanced as well
        // A thread already in the multithreaded apartment has no message filter; the calls
        // then retry on their own.
        filtered = SUCCEEDED(CoRegisterMessageFilter(&filter, &previous));
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() {
        if (filtered) {
            IMessageFilter* ours = nullptr;
            CoRegisterMessageFilter(previous, &ours);
            if (previous) {
                previous->Release();
            }
        }
        if (initialised) {
            CoUninitialize();
        }
    }

    BusyRetryFilter filter;
    IMessageFilter* previous = nullptr;
    bool initialised = false;
    bool filtered = false;
};

DispatchBroker::DispatchBroker() : DispatchBroker(Options{}) {}

DispatchBroker::DispatchBroker(const Options& options)
    : apartment_(std::make_unique<Apartment>(options.busyLimit)) {
    const std::wstring progId = Wide(options.progId);
    CLSID id{};
    HRESULT result = CLSIDFromProgID(progId.c_str(), &id);
    if (FAILED(result)) {
        throw BrokerError("AmiBroker is not installed: nothing is registered as " + options.progId +
                          " (" + HexCode(result) + ")");
    }
    IDispatch* application = nullptr;
    IUnknown* running = nullptr;
    // The running instance first: AmiBroker is attached to, never started on purpose.
    if (SUCCEEDED(GetActiveObject(id, nullptr, &running)) && running) {
        result = running->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&application));
        running->Release();
    }
    if (!application) {
        result = CoCreateInstance(id, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch,
                                  reinterpret_cast<void**>(&application));
    }
    if (FAILED(result) || !application) {
        throw BrokerError("AmiBroker cannot be reached through " + options.progId + ": " +
                          Reason(result));
    }
    application_ = DispatchObject(application, "AmiBroker", options.busyLimit);
}

DispatchBroker::~DispatchBroker() {
    // The objects go before the apartment they live in.
    analysis_.reset();
    application_ = DispatchObject();
}

std::string DispatchBroker::Version() {
    const Variant value = application_.Get("Version");
    if (const auto* text = std::get_if<std::string>(&value)) {
        return *text;
    }
    throw BrokerError("AmiBroker.Version: AmiBroker answered with no text");
}

std::string DispatchBroker::DatabasePath() {
    const Variant value = application_.Get("DatabasePath");
    if (const auto* text = std::get_if<std::string>(&value)) {
        return *text;
    }
    throw BrokerError("AmiBroker.DatabasePath: AmiBroker answered with no text");
}

marlindex::Analysis& DispatchBroker::Analysis() {
    if (!analysis_) {
        analysis_ = std::make_unique<DispatchAnalysis>(application_.GetDispatch("Analysis"));
    }
    return *analysis_;
}

} // namespace marlindex
