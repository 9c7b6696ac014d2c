#include <gtest/gtest.h>

#include <random>

#include "zaUtils/Encoding/zaRandom.h"

namespace {

TEST(Random, LeavesTheMt19937SequenceAtTheLastWordOfATwist) {
    // Computed from the definition by another program. `sum` folds the numbers 623 to 9999.
    const struct {
        unsigned long seed, firstOther;
        std::uint32_t sum;
    } cases[] = {{2, 623, 3140051682},
                 {5, 1247, 1707878698},
                 {5489, 1871, 134769005},
                 {3, 3119, 2818423805}};
    for (const auto& [seed, firstOther, sum] : cases) {
        SCOPED_TRACE(seed);
        std::mt19937 reference(static_cast<std::uint32_t>(seed));
        zaRandom random(seed);
        unsigned long equal = 0;
        std::uint32_t folded = 0;
        for (unsigned long k = 0; k < 10000; ++k) {
            const unsigned long number = random.genRandLong();
            if (number == reference() && equal == k) ++equal;
            if (k >= 623) folded = folded * 31 + static_cast<std::uint32_t>(number);
        }
        EXPECT_EQ(equal, firstOther);
        EXPECT_EQ(folded, sum);
    }
}

TEST(Random, IsOneGeneratorForAllObjects) {
    zaRandom first;
    EXPECT_EQ(first.genRandLong(), 3499211612u);
    EXPECT_EQ(first.genRandLong(), 581869302u);
    zaRandom second(5489);
    EXPECT_EQ(zaRandom::s_index, 624);
    EXPECT_EQ(first.genRandLong(), 3499211612u);
    EXPECT_EQ(zaRandom::s_index, 1);
    EXPECT_EQ(second.genRandLong(), 581869302u);
    EXPECT_EQ(zaRandom(first).genRandLong(), 3890346734u) << "a copy seeds nothing";
}

TEST(Random, FloatsAreRoundedFirstAndReachOne) {
    zaRandom random(5489);
    EXPECT_EQ(random.genRandFloat1(), 3499211612.0F / 4294967296.0F);
    EXPECT_EQ(random.genRandFloat2(), 581869302.0F / 4294967296.0F);
    // A word that tempers to the largest number, which a float rounds up.
    std::uint32_t& word = zaRandom::s_randomTable[5];
    for (const bool isFirst : {true, false}) {
        zaRandom::s_index = 5;
        word = 0x12DD9BB3;
        EXPECT_EQ(isFirst ? random.genRandFloat1() : random.genRandFloat2(), 1.0F);
    }
}

}  // namespace
