#include "Utility/ComApartment.h"

#include <gmock/gmock.h>
#include <objbase.h>

#include <thread>

#include "SwitchedOnTrace.h"

namespace qsn::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Gives what a further entry to the multithreaded apartment gives: S_FALSE inside it, S_OK outside of any.
HRESULT EnterAgain() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(result)) CoUninitialize();
    return result;
}

class Body : public ThreadBody {
public:
    DWORD ThreadProc() override { return static_cast<DWORD>(EnterAgain()); }
};

TEST(ComApartment, RunsTheBodyInsideAndLeaves) {
    const SwitchedOnTrace trace;
    std::thread([] {
        Body body;
        EXPECT_EQ(static_cast<DWORD>(S_FALSE), RunInComApartment(&body));
        EXPECT_EQ(S_OK, EnterAgain());
    }).join();
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(ComApartment, RunsTheBodyInAnotherKindOfApartmentToo) {
    const SwitchedOnTrace trace;
    std::thread([] {
        ASSERT_EQ(S_OK, CoInitialize(nullptr));
        Body body;
        EXPECT_EQ(static_cast<DWORD>(RPC_E_CHANGED_MODE), RunInComApartment(&body));
        EXPECT_EQ(S_FALSE, CoInitialize(nullptr)) << "still in the thread's own apartment";
        CoUninitialize();
        CoUninitialize();
    }).join();
    EXPECT_THAT(trace.Lines(), ElementsAre("CoInitializeEx failed."));
}

TEST(ComApartment, RefusesANullBody) { EXPECT_EQ(static_cast<DWORD>(E_POINTER), RunInComApartment(nullptr)); }

}  // namespace
}  // namespace qsn::test
