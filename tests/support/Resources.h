#pragma once

#include <gtest/gtest.h>

#include "support/ProcessState.h"

namespace qsn::test {

// What the process has in use at a moment. Later it must not be more. Two handles of the system's own may come and go.
class Resources {
public:
    void ExpectNoMore() const {
        EXPECT_TRUE(Eventually([&] { return HandleCount() <= m_handles + 2; })) << m_handles << " -> " << HandleCount();
        EXPECT_TRUE(Eventually([&] { return ThreadCount() <= m_threads; })) << m_threads << " -> " << ThreadCount();
        EXPECT_TRUE(Eventually([&] { return FreeTlsIndexes() >= m_indexes; })) << "thread-local indexes are lost";
    }

private:
    int m_handles = HandleCount();
    int m_threads = ThreadCount();
    int m_indexes = FreeTlsIndexes();
};

}  // namespace qsn::test
