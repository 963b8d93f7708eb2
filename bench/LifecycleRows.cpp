#include <windows.h>

#include <objbase.h>
#include <wbemidl.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "BareThread.h"
#include "Rows.h"
#include "Sections.h"
#include "Session.h"
#include "Utility/AutomationOwners.h"
#include "Utility/ComOwners.h"
#include "Utility/DeviceIdentity.h"

namespace qsn::bench {
namespace {

void QueryBare() {
    CoInitialize(nullptr);
    {
        UniqueCom<IWbemLocator> locator;
        UniqueCom<IWbemServices> services;
        UniqueCom<IEnumWbemClassObject> instances;
        UniqueCom<IWbemClassObject> instance;
        const UniqueBstr space(SysAllocString(L"ROOT\\CIMV2"));
        const UniqueBstr language(SysAllocString(L"WQL"));
        const UniqueBstr query(SysAllocString(L"SELECT * FROM Win32_ComputerSystemProduct"));
        CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, Out(locator));
        if (!locator) throw std::runtime_error("no WMI");
        locator->ConnectServer(space.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, Out(services));
        services->ExecQuery(language.get(), query.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                            Out(instances));
        ULONG count = 0;
        instances->Next(static_cast<LONG>(WBEM_INFINITE), 1, Out(instance), &count);
        VARIANT value{};
        if (instance && SUCCEEDED(instance->Get(L"UUID", 0, &value, nullptr, nullptr))) VariantClear(&value);
    }
    CoUninitialize();
}

void QueryOurs() { QueryWmiProperty(L"Win32_ComputerSystemProduct"); }

// Starts two threads, like the worker and the timer. Their ends are not timed.
double StartTwoThreads() {
    UniqueHandle threads[2];
    const double seconds = TimeOf([&] {
        for (UniqueHandle& thread : threads)
            thread.Reset(CreateThread(
                nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr));
    });
    for (const UniqueHandle& thread : threads) WaitForSingleObject(thread.Get(), INFINITE);
    return seconds;
}

struct Objects {
    CountingHost host;
    test::Library library;
    std::vector<test::LibraryObject> all;

    void Create() { all.push_back(test::Create(library)); }
    void Start() { Require(all.back()->Init(L"SID-BENCH", &host) == S_OK, "Init failed"); }
    // By then they have done their first work, such as the WMI query.
    void WaitForWorkers() {
        char url[1024];
        uint32_t length = 0;
        for (const test::LibraryObject& object : all) object->GetSignInURL(url, sizeof(url), &length);
    }
    void End() {
        for (const test::LibraryObject& object : all) object->Uninit();
        all.clear();
    }
};

Pair<TimedStep> Starting() {
    const auto objects = std::make_shared<Objects>();
    const auto ours = [objects] {
        objects->Create();
        const double seconds = TimeOf([&] { objects->Start(); });
        objects->End();
        return seconds;
    };
    return {ours, StartTwoThreads};
}

Pair<TimedStep> Ending() {
    const auto objects = std::make_shared<Objects>();
    const auto ours = [objects] {
        objects->Create();
        objects->Start();
        objects->WaitForWorkers();
        return TimeOf([&] { objects->End(); });
    };
    return {ours, [] { return TimeOf(RunThread); }};
}

double TimeOfObjects(int count) {
    Objects objects;
    return TimeOf([&] {
        for (int i = 0; i < count; ++i) {
            objects.Create();
            objects.Start();
        }
        objects.End();
    });
}

}  // namespace

void AddLifecycleRows() {
    AddTimedPair({"init", "`Init`", "two threads, started", "the worker's and the timer's start", 1.3},
                 {.repetitions = 15, .iterations = 10}, Starting);
    AddPair({"init-query", "the library's query, on the worker thread", "the WMI query",
             "the same calls, security set for the process", 0},
            {}, [] {
                return Pair<Step>{QueryOurs, QueryBare};
            });
    AddTimedPair(
        {"uninit", "`Uninit` and last `Release`", "a thread, run and joined", "the worker's and the timer's end", 3},
        {.repetitions = 9, .iterations = 3}, Ending);
    AddSeries(
        {"grow-objects", "objects in one process, created, initialised and ended", {1, 3, 10, 30, 100}, TimeOfObjects});
}

}  // namespace qsn::bench
