#include "Utility/Guard.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using qsn::Guarded;

TEST(Guard, TurnsWhatIsThrownIntoACode) {
    EXPECT_EQ(Guarded([] { return S_FALSE; }), S_FALSE);
    EXPECT_EQ(Guarded([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(Guarded([]() -> HRESULT { throw std::length_error("too long"); }), E_FAIL);
    EXPECT_EQ(Guarded([]() -> HRESULT { throw 1; }), E_FAIL);
}

}  // namespace
