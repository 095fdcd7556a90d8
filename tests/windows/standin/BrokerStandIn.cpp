// broker-standin.exe: a stand-in for AmiBroker's automation server, for the tests under Wine.
// It registers as "Broker.Application", owns a top-level window titled as AmiBroker's, answers
// the members the program calls and appends one line per call to the file named by the
// environment variable BROKER_STANDIN_LOG: the member, get, put or call, then each argument as
// VT_TYPE:value. Members only tests use are not logged, so a log holds the program's calls only:
//   HideWindow(), ShowWindow(), CloseWindow()      AmiBroker's window
//   SetVersion(text), SetDatabasePath(text)        what Version and DatabasePath answer
//   FailNextCall([member])                         the next call (of that member) fails
//   BusyFor(milliseconds)                          calls are refused as busy for that long
//   ProcessId, Quit()
//
//   broker-standin.exe /regserver   registers it and ends
//   broker-standin.exe [-Embedding] runs it (COM adds -Embedding when it starts the server)
//
// Started by a test (as a user starts AmiBroker) it runs until Quit is called; started by COM
// for a client it also ends when its last client lets go of it, or when none comes. In any
// case it ends after a few minutes, so that a failed test never leaves it behind.
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <objbase.h>
#include <oleauto.h>
#include <string>
#include <vector>
#include <windows.h>

// COM objects are released through their interface, never deleted through it: the
// interfaces have no virtual destructor by design.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

// {1B26EC54-F887-44D0-9032-02F4536099AB}
const CLSID kClassId = {
    0x1b26ec54, 0xf887, 0x44d0, {0x90, 0x32, 0x02, 0xf4, 0x53, 0x60, 0x99, 0xab}};
const wchar_t* const kClassIdText = L"{1B26EC54-F887-44D0-9032-02F4536099AB}";
const wchar_t* const kProgId = L"Broker.Application";
const wchar_t* const kTitle = L"AmiBroker - [stand-in]";
const wchar_t* const kWindowClass = L"Afx:400000:8:StandIn";

constexpr UINT kLifetimeMs = 240000; // past the longest test, short of ctest's timeout
constexpr UINT kFirstClientMs = 60000;
constexpr UINT_PTR kLifetimeTimer = 1;
constexpr UINT_PTR kFirstClientTimer = 2;

struct State {
    std::wstring version = L"5.00";
    std::wstring databasePath = L"C:\\Program Files\\AmiBroker\\Data";
    bool failNext = false;
    std::wstring failMember; // empty: whichever member comes next
    ULONGLONG busyUntil = 0;
    long connections = 0;
    bool hadClient = false;
    bool embedded = false; // started by COM for a client
    HWND window = nullptr;
    DWORD mainThread = 0;
};
State state;

void Quit() {
    PostThreadMessageW(state.mainThread, WM_QUIT, 0, 0);
}

std::string Utf8(const wchar_t* text, UINT count) {
    if (count == 0) {
        return {};
    }
    const int length = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(count), nullptr, 0,
                                           nullptr, nullptr);
    std::string out(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(count), out.data(), length, nullptr,
                        nullptr);
    return out;
}

std::string Describe(const VARIANT& value) {
    char number[64];
    switch (value.vt) {
    case VT_EMPTY:
        return "VT_EMPTY:";
    case VT_NULL:
        return "VT_NULL:";
    case VT_I2:
        std::snprintf(number, sizeof number, "VT_I2:%d", value.iVal);
        return number;
    case VT_I4:
        std::snprintf(number, sizeof number, "VT_I4:%ld", static_cast<long>(value.lVal));
        return number;
    case VT_R4:
        std::snprintf(number, sizeof number, "VT_R4:%g", static_cast<double>(value.fltVal));
        return number;
    case VT_R8:
        std::snprintf(number, sizeof number, "VT_R8:%g", value.dblVal);
        return number;
    case VT_BOOL:
        return value.boolVal ? "VT_BOOL:True" : "VT_BOOL:False";
    case VT_BSTR:
        return "VT_BSTR:" + Utf8(value.bstrVal, value.bstrVal ? SysStringLen(value.bstrVal) : 0);
    default:
        std::snprintf(number, sizeof number, "VT_%u:", static_cast<unsigned>(value.vt));
        return number;
    }
}

void Log(const char* member, const char* kind, const DISPPARAMS* parameters) {
    wchar_t path[MAX_PATH];
    const DWORD length = GetEnvironmentVariableW(L"BROKER_STANDIN_LOG", path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return;
    }
    std::string line = std::string(member) + " " + kind;
    // Automation hands the arguments over last to first.
    for (UINT i = parameters->cArgs; i-- > 0;) {
        line += " " + Describe(parameters->rgvarg[i]);
    }
    line += "\n";
    // Opened for each line, so a test reads every call made so far.
    if (FILE* file = _wfopen(path, L"ab")) {
        std::fwrite(line.data(), 1, line.size(), file);
        std::fclose(file);
    }
}

enum class Kind { Get, Put, Call };

struct Member {
    const wchar_t* name;
    Kind kind;
    bool logged;
};

// One table per object; a member's DISPID is its place in the table plus one.
const std::vector<Member> kApplicationMembers = {
    {L"Version", Kind::Get, true},           {L"DatabasePath", Kind::Get, true},
    {L"Analysis", Kind::Get, true},          {L"HideWindow", Kind::Call, false},
    {L"ShowWindow", Kind::Call, false},      {L"CloseWindow", Kind::Call, false},
    {L"SetDatabasePath", Kind::Call, false}, {L"SetVersion", Kind::Call, false},
    {L"FailNextCall", Kind::Call, false},    {L"BusyFor", Kind::Call, false},
    {L"ProcessId", Kind::Get, false},        {L"Quit", Kind::Call, false},
};
const std::vector<Member> kAnalysisMembers = {
    {L"LoadFormula", Kind::Call, true}, {L"ClearFilters", Kind::Call, true},
    {L"ApplyTo", Kind::Put, true},      {L"RangeMode", Kind::Put, true},
    {L"RangeN", Kind::Put, true},       {L"Explore", Kind::Call, true},
    {L"Scan", Kind::Call, true},
};

HRESULT Fail(EXCEPINFO* exception, const std::wstring& description) {
    if (exception) {
        *exception = EXCEPINFO{};
        exception->scode = E_FAIL;
        exception->bstrSource = SysAllocString(kProgId);
        exception->bstrDescription = SysAllocString(description.c_str());
    }
    return DISP_E_EXCEPTION;
}

HRESULT Text(VARIANT* result, const std::wstring& text) {
    if (result) {
        result->vt = VT_BSTR;
        result->bstrVal = SysAllocString(text.c_str());
    }
    return S_OK;
}

class Automation;
Automation* analysisObject = nullptr;

// One automation object of the stand-in: the application or its analysis object. Clients are
// counted through IExternalConnection, which COM calls for each strong client reference.
class Automation final : public IDispatch, public IExternalConnection {
public:
    explicit Automation(const std::vector<Member>& members) : members_(members) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IDispatch) {
            *object = static_cast<IDispatch*>(this);
        } else if (iid == IID_IExternalConnection) {
            *object = static_cast<IExternalConnection*>(this);
        } else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    // Both objects live as long as the process.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    DWORD STDMETHODCALLTYPE AddConnection(DWORD type, DWORD) override {
        if (type & EXTCONN_STRONG) {
            ++state.connections;
            state.hadClient = true;
        }
        return static_cast<DWORD>(state.connections);
    }
    DWORD STDMETHODCALLTYPE ReleaseConnection(DWORD type, DWORD, BOOL) override {
        if ((type & EXTCONN_STRONG) && --state.connections <= 0 && state.embedded) {
            Quit();
        }
        return static_cast<DWORD>(state.connections);
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override {
        HRESULT result = S_OK;
        for (UINT n = 0; n < count; ++n) {
            ids[n] = DISPID_UNKNOWN;
            for (std::size_t i = 0; n == 0 && i < members_.size(); ++i) {
                if (_wcsicmp(names[n], members_[i].name) == 0) {
                    ids[n] = static_cast<DISPID>(i + 1);
                }
            }
            if (ids[n] == DISPID_UNKNOWN) {
                result = DISP_E_UNKNOWNNAME;
            }
        }
        return result;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT*) override {
        if (id < 1 || static_cast<std::size_t>(id) > members_.size()) {
            return DISP_E_MEMBERNOTFOUND;
        }
        const Member& member = members_[static_cast<std::size_t>(id - 1)];
        const bool flagsFit = member.kind == Kind::Put
                                  ? (flags & DISPATCH_PROPERTYPUT) != 0
                                  : (flags & (DISPATCH_PROPERTYGET | DISPATCH_METHOD)) != 0;
        if (!flagsFit) {
            return DISP_E_MEMBERNOTFOUND;
        }
        if (result) {
            VariantInit(result);
        }
        const std::string name = Utf8(member.name, static_cast<UINT>(std::wcslen(member.name)));
        if (member.logged) {
            Log(name.c_str(),
                member.kind == Kind::Get   ? "get"
                : member.kind == Kind::Put ? "put"
                                           : "call",
                parameters);
            if (state.failNext && (state.failMember.empty() ||
                                   _wcsicmp(state.failMember.c_str(), member.name) == 0)) {
                state.failNext = false;
                return Fail(exception,
                            L"The stand-in was told to fail " + std::wstring(member.name));
            }
        }
        return Answer(member.name, parameters, result, exception);
    }

private:
    static HRESULT Answer(const std::wstring& name, DISPPARAMS* parameters, VARIANT* result,
                          EXCEPINFO* exception) {
        auto text = [&](std::wstring& into) {
            if (parameters->cArgs != 1 || parameters->rgvarg[0].vt != VT_BSTR) {
                return Fail(exception, name + L" takes one text");
            }
            const BSTR value = parameters->rgvarg[0].bstrVal;
            into.assign(value ? value : L"", value ? SysStringLen(value) : 0);
            return S_OK;
        };
        if (name == L"Version") {
            return Text(result, state.version);
        }
        if (name == L"DatabasePath") {
            return Text(result, state.databasePath);
        }
        if (name == L"Analysis") {
            if (result) {
                result->vt = VT_DISPATCH;
                result->pdispVal = analysisObject;
                analysisObject->AddRef();
            }
            return S_OK;
        }
        if (name == L"SetVersion") {
            return text(state.version);
        }
        if (name == L"SetDatabasePath") {
            return text(state.databasePath);
        }
        if (name == L"HideWindow" || name == L"ShowWindow") {
            ShowWindow(state.window, name == L"HideWindow" ? SW_HIDE : SW_SHOWNOACTIVATE);
        } else if (name == L"CloseWindow") {
            DestroyWindow(state.window);
        } else if (name == L"FailNextCall") {
            // FailNextCall() fails the next call, FailNextCall("Scan") the next call of Scan.
            state.failMember.clear();
            if (parameters->cArgs > 0 && FAILED(text(state.failMember))) {
                return Fail(exception, L"FailNextCall takes a member's name");
            }
            state.failNext = true;
        } else if (name == L"BusyFor") {
            VARIANT ms;
            VariantInit(&ms);
            if (parameters->cArgs != 1 ||
                FAILED(VariantChangeType(&ms, &parameters->rgvarg[0], 0, VT_I4))) {
                return Fail(exception, L"BusyFor takes milliseconds");
            }
            state.busyUntil = GetTickCount64() + static_cast<ULONGLONG>(ms.lVal);
        } else if (name == L"ProcessId") {
            if (result) {
                result->vt = VT_I4;
                result->lVal = static_cast<LONG>(GetCurrentProcessId());
            }
        } else if (name == L"Quit") {
            Quit(); // after this call has been answered
        }
        // The analysis object's members only take their values, as AmiBroker would.
        return S_OK;
    }

    const std::vector<Member>& members_;
};

// Refuses calls to the automation objects while a test has made the stand-in busy, as
// AmiBroker does while it shows a dialog. Calls COM makes for itself still pass.
class BusyFilter final : public IMessageFilter {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IMessageFilter) {
            *object = static_cast<IMessageFilter*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO info) override {
        if (info && info->iid == IID_IDispatch && GetTickCount64() < state.busyUntil) {
            return SERVERCALL_REJECTED;
        }
        return SERVERCALL_ISHANDLED;
    }
    DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK, DWORD, DWORD) override {
        return static_cast<DWORD>(-1);
    }
    DWORD STDMETHODCALLTYPE MessagePending(HTASK, DWORD, DWORD) override {
        return PENDINGMSG_WAITDEFPROCESS;
    }
};

class Factory final : public IClassFactory {
public:
    explicit Factory(Automation& application) : application_(application) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory) {
            *object = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    // Every client gets the one application, as AmiBroker's single instance.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer) {
            *object = nullptr;
            return CLASS_E_NOAGGREGATION;
        }
        return application_.QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    Automation& application_;
};

bool SetDefault(HKEY root, const std::wstring& key, const std::wstring& value) {
    HKEY handle = nullptr;
    if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    const bool written =
        RegSetValueExW(handle, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       bytes) == ERROR_SUCCESS;
    RegCloseKey(handle);
    return written;
}

bool RegisterIn(HKEY root) {
    wchar_t exe[MAX_PATH];
    GetModuleFileNameW(nullptr, exe, MAX_PATH);
    const std::wstring classes = L"Software\\Classes\\";
    const std::wstring clsidKey = classes + L"CLSID\\" + kClassIdText;
    return SetDefault(root, classes + kProgId, L"AmiBroker stand-in") &&
           SetDefault(root, classes + kProgId + L"\\CLSID", kClassIdText) &&
           SetDefault(root, clsidKey, L"AmiBroker stand-in") &&
           SetDefault(root, clsidKey + L"\\ProgID", kProgId) &&
           SetDefault(root, clsidKey + L"\\LocalServer32", L"\"" + std::wstring(exe) + L"\"");
}

// For the machine where that is allowed: Wine's class lookups read only the machine's classes,
// not the user's. A user who may not write there still gets the user's classes, as Windows
// merges them.
int Register() {
    const bool ok = RegisterIn(HKEY_LOCAL_MACHINE) || RegisterIn(HKEY_CURRENT_USER);
    std::fputs(ok ? "registered Broker.Application\n" : "registration failed\n",
               ok ? stdout : stderr);
    return ok ? 0 : 1;
}

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_TIMER) {
        Quit(); // the lifetime cap, or no client came
        return 0;
    }
    if (message == WM_DESTROY && window == state.window) {
        state.window = nullptr; // AmiBroker "closed": the server stays for its clients
    }
    return DefWindowProcW(window, message, w, l);
}

int Serve() {
    state.mainThread = GetCurrentThreadId();
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 2;
    }
    BusyFilter filter;
    CoRegisterMessageFilter(&filter, nullptr);

    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = kWindowClass;
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    RegisterClassW(&windowClass);
    state.window = CreateWindowExW(0, kWindowClass, kTitle, WS_OVERLAPPEDWINDOW, 40, 40, 640, 480,
                                   nullptr, nullptr, windowClass.hInstance, nullptr);
    // Timers on a window of their own, so that closing the "AmiBroker" window keeps them.
    HWND timers = CreateWindowExW(0, kWindowClass, L"stand-in timers", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                  nullptr, windowClass.hInstance, nullptr);
    ShowWindow(state.window, SW_SHOWNOACTIVATE);
    SetTimer(timers, kLifetimeTimer, kLifetimeMs, nullptr);
    if (state.embedded) {
        SetTimer(timers, kFirstClientTimer, kFirstClientMs, nullptr);
    }

    static Automation application(kApplicationMembers);
    static Automation analysis(kAnalysisMembers);
    analysisObject = &analysis;
    Factory factory(application);
    DWORD classCookie = 0;
    DWORD activeCookie = 0;
    CoRegisterClassObject(kClassId, &factory, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE,
                          &classCookie);
    RegisterActiveObject(static_cast<IDispatch*>(&application), kClassId, ACTIVEOBJECT_WEAK,
                         &activeCookie);

    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message == WM_TIMER && message.hwnd == timers &&
            message.wParam == kFirstClientTimer && state.hadClient) {
            KillTimer(timers, kFirstClientTimer);
            continue;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }

    RevokeActiveObject(activeCookie, nullptr);
    CoRevokeClassObject(classCookie);
    CoDisconnectObject(static_cast<IDispatch*>(&application), 0);
    CoDisconnectObject(static_cast<IDispatch*>(&analysis), 0);
    if (state.window) {
        DestroyWindow(state.window);
    }
    DestroyWindow(timers);
    CoRegisterMessageFilter(nullptr, nullptr);
    CoUninitialize();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "/regserver" || argument == "-regserver") {
            return Register();
        }
        state.embedded = state.embedded || argument == "-Embedding" || argument == "/Embedding";
    }
    return Serve();
}
