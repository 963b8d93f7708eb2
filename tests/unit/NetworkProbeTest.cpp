#include "Utility/NetworkProbe.h"

#include <gtest/gtest.h>

#include "support/Fakes.h"

namespace qsn::test {
namespace {

TEST(NetworkProbe, AsksThePlatformEachTime) {
    FakeNetwork network;
    EXPECT_TRUE(IsNetworkAlive());
    network.SetAlive(false);
    EXPECT_FALSE(IsNetworkAlive());
    network.SetAlive(true);
    EXPECT_TRUE(IsNetworkAlive());
}

TEST(NetworkProbe, FreesThePlatformsLibrary) {
    IsNetworkAlive();
    EXPECT_EQ(nullptr, GetModuleHandleW(L"Sensapi.dll"));
}

}  // namespace
}  // namespace qsn::test
