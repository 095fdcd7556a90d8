// The link to AmiBroker through automation, against broker-standin.exe registered as
// Broker.Application in the test's Wine prefix: attaching, each member with the types it
// arrives with, failures that name the member, AmiBroker gone or busy.
#include "amibroker/DispatchBrokerWin32.h"

#include <chrono>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <objbase.h>
#include <oleauto.h>
#include <string>
#include <vector>
#include <windows.h>

namespace marlindex {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const BrokerError& error) {
        return error.what();
    }
    return "(no BrokerError)";
}

// Waits for a process to end; one still running then is ended and reported.
void ExpectEnds(HANDLE process, const char* what) {
    if (WaitForSingleObject(process, 10000) != WAIT_OBJECT_0) {
        TerminateProcess(process, 1);
        WaitForSingleObject(process, 5000);
        ADD_FAILURE() << what;
    }
}

// A stand-in started as a user starts AmiBroker, its calls logged to a file of this test.
class DispatchBrokerTest : public ::testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        QuitLeftOver();
        char folder[MAX_PATH];
        GetTempPathA(MAX_PATH, folder);
        log_ = std::string(folder) + "standin-" + std::to_string(GetCurrentProcessId()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".log";
        DeleteFileA(log_.c_str());
        SetEnvironmentVariableA("BROKER_STANDIN_LOG", log_.c_str());

        std::string command = "\"" + std::string(BROKER_STANDIN_EXE) + "\"";
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process_));
        CloseHandle(process_.hThread);
        // Running once it is in the running-object table, as AmiBroker is.
        CLSID id{};
        ASSERT_EQ(CLSIDFromProgID(L"Broker.Application", &id), S_OK);
        for (auto until = Clock::now() + 20s; Clock::now() < until;) {
            IUnknown* running = nullptr;
            if (SUCCEEDED(GetActiveObject(id, nullptr, &running)) && running) {
                running->Release();
                return;
            }
            Sleep(100);
        }
        FAIL() << "the stand-in did not start";
    }

    void TearDown() override {
        if (process_.hProcess) {
            if (WaitForSingleObject(process_.hProcess, 0) != WAIT_OBJECT_0) {
                try {
                    DispatchBroker broker;
                    broker.Application().Call("Quit");
                } catch (const BrokerError&) {
                    // it is killed below
                }
            }
            ExpectEnds(process_.hProcess, "the stand-in did not quit when told to");
            CloseHandle(process_.hProcess);
        }
        CoUninitialize();
    }

    // One a crashed test left running would answer in place of this test's own.
    static void QuitLeftOver() {
        CLSID id{};
        for (int tries = 0; tries < 50 && SUCCEEDED(CLSIDFromProgID(L"Broker.Application", &id));
             ++tries) {
            IUnknown* running = nullptr;
            if (FAILED(GetActiveObject(id, nullptr, &running)) || !running) {
                return;
            }
            IDispatch* object = nullptr;
            running->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&object));
            running->Release();
            if (object) {
                try {
                    DispatchObject(object, "left over").Call("Quit");
                } catch (const BrokerError&) {
                    // gone already
                }
            }
            Sleep(100);
        }
    }

    std::vector<std::string> Log() const {
        std::vector<std::string> lines;
        std::ifstream file(log_, std::ios::binary);
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    PROCESS_INFORMATION process_{};
    std::string log_;
};

TEST_F(DispatchBrokerTest, ReadsVersionAndDatabasePathAsAmiBrokerChangesThem) {
    DispatchBroker broker;
    EXPECT_EQ(broker.Version(), "5.00");
    EXPECT_EQ(broker.DatabasePath(), "C:\\Program Files\\AmiBroker\\Data");

    broker.Application().Call("SetVersion", {std::string("4.60")});
    broker.Application().Call("SetDatabasePath", {std::string("C:\\Kurse\\Caf\u00e9 \u20ac")});
    EXPECT_EQ(broker.Version(), "4.60");
    EXPECT_EQ(broker.DatabasePath(), "C:\\Kurse\\Caf\u00e9 \u20ac");
    EXPECT_EQ(Log(), (std::vector<std::string>{"Version get", "DatabasePath get", "Version get",
                                               "DatabasePath get"}));
}

TEST_F(DispatchBrokerTest, EveryAnalysisMemberArrivesByNameWithItsType) {
    DispatchBroker broker;
    Analysis& analysis = broker.Analysis();
    EXPECT_EQ(&broker.Analysis(), &analysis); // read from AmiBroker once and kept
    analysis.LoadFormula("C:\\AmiBroker\\Formulas\\Unnamed \u00e9.afl");
    analysis.ClearFilters();
    analysis.SetApplyTo(1);
    analysis.SetRangeMode(2);
    analysis.SetRangeN(std::int16_t{1});
    analysis.SetRangeN(std::string(" 25"));
    analysis.SetRangeN(std::int16_t{-32768});
    analysis.Explore();
    analysis.Scan();
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "Analysis get",
                         "LoadFormula call VT_BSTR:C:\\AmiBroker\\Formulas\\Unnamed \u00e9.afl",
                         "ClearFilters call",
                         "ApplyTo put VT_I2:1",
                         "RangeMode put VT_I2:2",
                         "RangeN put VT_I2:1",
                         "RangeN put VT_BSTR: 25",
                         "RangeN put VT_I2:-32768",
                         "Explore call",
                         "Scan call",
                     }));
}

TEST_F(DispatchBrokerTest, AFailedCallNamesItsMemberAndAmiBrokersDescription) {
    DispatchBroker broker;
    Analysis& analysis = broker.Analysis();
    broker.Application().Call("FailNextCall");
    const std::string error = ErrorOf([&] { analysis.Explore(); });
    EXPECT_NE(error.find("AmiBroker.Analysis.Explore"), std::string::npos) << error;
    EXPECT_NE(error.find("told to fail Explore"), std::string::npos) << error;
    EXPECT_NO_THROW(analysis.Scan()); // only that one call failed

    broker.Application().Call("FailNextCall", {std::string("ClearFilters")});
    EXPECT_NO_THROW(analysis.LoadFormula("C:\\f.afl"));
    const std::string clear = ErrorOf([&] { analysis.ClearFilters(); });
    EXPECT_NE(clear.find("AmiBroker.Analysis.ClearFilters"), std::string::npos) << clear;

    const std::string unknown = ErrorOf([&] { broker.Application().Call("Backtest"); });
    EXPECT_NE(unknown.find("AmiBroker.Backtest"), std::string::npos) << unknown;
    EXPECT_NE(unknown.find("no such member"), std::string::npos) << unknown;
    EXPECT_EQ(Log(), (std::vector<std::string>{"Analysis get", "Explore call", "Scan call",
                                               "LoadFormula call VT_BSTR:C:\\f.afl",
                                               "ClearFilters call"}));
}

TEST_F(DispatchBrokerTest, CallsAfterAmiBrokerHasGoneFailNamingTheMember) {
    DispatchBroker broker;
    Analysis& analysis = broker.Analysis();
    broker.Application().Call("Quit");
    ASSERT_EQ(WaitForSingleObject(process_.hProcess, 10000), WAIT_OBJECT_0);

    const auto started = Clock::now();
    const std::string version = ErrorOf([&] { broker.Version(); });
    EXPECT_NE(version.find("AmiBroker.Version: AmiBroker has gone"), std::string::npos) << version;
    const std::string scan = ErrorOf([&] { analysis.Scan(); });
    EXPECT_NE(scan.find("AmiBroker.Analysis.Scan: AmiBroker has gone"), std::string::npos) << scan;
    EXPECT_LT(Clock::now() - started, 5s); // a dead server is not retried as a busy one
}

TEST_F(DispatchBrokerTest, ABusyAmiBrokerIsRetriedUntilTheLimitThenGivenUpOn) {
    DispatchBroker patient({"Broker.Application", 8000ms});
    DispatchBroker hasty({"Broker.Application", 300ms});
    patient.Application().Call("BusyFor", {std::int32_t{1500}});
    const auto busySince = Clock::now();

    const std::string error = ErrorOf([&] { hasty.Version(); });
    EXPECT_NE(error.find("AmiBroker.Version: AmiBroker stayed busy for 0.3 s"), std::string::npos)
        << error;
    EXPECT_LT(Clock::now() - busySince, 1400ms);

    EXPECT_EQ(patient.DatabasePath(), "C:\\Program Files\\AmiBroker\\Data");
    EXPECT_GE(Clock::now() - busySince, 1400ms);
    EXPECT_EQ(Log(), (std::vector<std::string>{"DatabasePath get"})); // refused calls never ran
}

// The window the program finds and docks to: titled and classed as AmiBroker's main window.
TEST_F(DispatchBrokerTest, TheStandInsWindowCanBeHiddenAndClosedWhileItStillAnswers) {
    DispatchBroker broker;
    HWND window = FindWindowW(nullptr, L"AmiBroker - [stand-in]");
    if (!window) {
        HWND ours = CreateWindowExW(0, L"STATIC", L"probe", WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                    nullptr, nullptr, nullptr);
        if (!ours) {
            GTEST_SKIP() << "this Wine makes no windows (no display and no null driver)";
        }
        DestroyWindow(ours);
    }
    ASSERT_NE(window, nullptr);
    char className[64] = {};
    GetClassNameA(window, className, sizeof className);
    EXPECT_EQ(std::string(className).substr(0, 4), "Afx:");
    EXPECT_TRUE(IsWindowVisible(window));

    broker.Application().Call("HideWindow");
    EXPECT_FALSE(IsWindowVisible(window));
    broker.Application().Call("ShowWindow");
    EXPECT_TRUE(IsWindowVisible(window));
    broker.Application().Call("CloseWindow");
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(broker.Version(), "5.00");
}

TEST(DispatchBrokerStart, WithNoAmiBrokerRunningTheRegisteredServerIsStartedAndEndsWithUs) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    SetEnvironmentVariableA("BROKER_STANDIN_LOG", nullptr);
    HANDLE process = nullptr;
    {
        DispatchBroker broker;
        EXPECT_EQ(broker.Version(), "5.00");
        const Variant id = broker.Application().Get("ProcessId");
        ASSERT_TRUE(std::holds_alternative<std::int32_t>(id));
        process = OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE,
                              static_cast<DWORD>(std::get<std::int32_t>(id)));
        ASSERT_NE(process, nullptr);
    }
    ExpectEnds(process, "a server started for us did not end with its last client");
    CloseHandle(process);

    const std::string error = ErrorOf([] { DispatchBroker({"Broker.NoSuchApplication"}); });
    EXPECT_NE(error.find("AmiBroker is not installed"), std::string::npos) << error;
    CoUninitialize();
}

} // namespace
} // namespace marlindex
