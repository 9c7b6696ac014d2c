#include <gtest/gtest.h>

#include "Support/AllocationCount.h"
#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

TEST(StackedProgressAllocation, IncrementsAllocateNothing) {
    const int atFirst = allocationCount();
    zaStackedProgress outer("a text that is too long to be kept inside a string", 10, nullptr);
    EXPECT_GT(allocationCount() - atFirst, 0);  // the counter works
    zaStackedProgress middle("middle", 10, nullptr);
    zaStackedProgress inner("inner", 1e6, nullptr);

    const int before = allocationCount();
    for (int i = 0; i < 1000; ++i)
        inner.incrementBy(1);
    EXPECT_EQ(allocationCount() - before, 0);
    EXPECT_NEAR(outer.getValue(), 1e-4, 1e-12);
}

}  // namespace
