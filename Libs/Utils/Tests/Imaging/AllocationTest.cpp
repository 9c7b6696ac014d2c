#include <gtest/gtest.h>

#include <vector>

#include "Support/AllocationCount.h"
#include "zaUtils/Imaging/ImageScaler.h"

namespace {

/// Does as little as a handler can.
class Idle : public ImageScaler::ValueHandler {
public:
    double read(const unsigned char*, int, int, int, int, int, int, int, int, int, int,
                const double*, const double*, const double*) override {
        return 0.0;
    }
    void write(double, unsigned char*, int, int, int, int, int, int, int) override {}
};

int allocationsFor(int channels) {
    Idle handler;
    unsigned char byte = 0;
    const int before = allocationCount();
    ImageScaler::scale({&byte}, {&byte}, 500, 500, 1, 100, 100, 1, channels, handler,
                       ImageLinearFilter());
    return allocationCount() - before;
}

TEST(ImageScalerAllocation, SamplesAllocateNothing) {
    allocationsFor(1);  // what is made once
    const int forOne = allocationsFor(1);
    EXPECT_GT(forOne, 200);  // the counter works: there are as many contributions
    // The loop over 10,000 samples and the one over 1,000,000 split into tasks by chance.
    EXPECT_NEAR(allocationsFor(100), forOne, 50);
}

}  // namespace
