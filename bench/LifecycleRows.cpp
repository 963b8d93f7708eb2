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

void QueryOurs() {
    DeviceText text = {};
    QueryWmiProperty(L"Win32_ComputerSystemProduct", &text);
}

// What else `Init` asks the system for: the usage log, which most machines do not have, and two threads.
void LookForLog() {
    if (const HMODULE module = LoadLibraryExW(L"Orb.dll", nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) FreeLibrary(module);
}

void StartBare() {
    QueryBare();
    LookForLog();
    RunThread();
    RunThread();
}

struct Objects {
    CountingHost host;
    test::Library library;
    std::vector<test::LibraryObject> all;

    void Start() {
        all.push_back(test::Create(library));
        if (all.back()->Init(L"SID-BENCH", &host) != S_OK) throw std::runtime_error("Init failed");
    }
    void End() {
        for (const test::LibraryObject& object : all) object->Uninit();
        all.clear();
    }
};

Pair<TimedStep> Starting(void (*bare)()) {
    const auto objects = std::make_shared<Objects>();
    const auto ours = [objects] {
        const double seconds = TimeOf([&] { objects->Start(); });
        objects->End();
        return seconds;
    };
    return {ours, [bare] { return TimeOf(bare); }};
}

Pair<TimedStep> Ending() {
    const auto objects = std::make_shared<Objects>();
    const auto ours = [objects] {
        objects->Start();
        return TimeOf([&] { objects->End(); });
    };
    return {ours, [] { return TimeOf(RunThread); }};
}

double TimeOfObjects(int count) {
    Objects objects;
    return TimeOf([&] {
        for (int i = 0; i < count; ++i) objects.Start();
        objects.End();
    });
}

}  // namespace

void AddLifecycleRows() {
    AddTimedPair({"init", "create and `Init`", "the WMI query", "the WMI query", 1.1},
                 {.repetitions = 9, .iterations = 3}, [] { return Starting(QueryBare); });
    AddTimedPair({"init-all", "create and `Init`",
                  "the query, the search for the usage log, two threads run and joined", "the same calls", 0},
                 {.repetitions = 9, .iterations = 3}, [] { return Starting(StartBare); });
    AddPair({"init-query", "the library's query", "the WMI query", "the same calls, security set for the process", 0},
            {}, [] {
                return Pair<Step>{QueryOurs, QueryBare};
            });
    AddPair({"init-log", "looking for a DLL that is not there", "a thread, run and joined", "the system's search", 0},
            {}, [] {
                return Pair<Step>{LookForLog, RunThread};
            });
    AddTimedPair(
        {"uninit", "`Uninit` and last `Release`", "a thread, run and joined", "the worker's and the timer's end", 3},
        {.repetitions = 9, .iterations = 3}, Ending);
    AddSeries(
        {"grow-objects", "objects in one process, created, initialised and ended", {1, 3, 10, 30, 100}, TimeOfObjects});
}

}  // namespace qsn::bench
