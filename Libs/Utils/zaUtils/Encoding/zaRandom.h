#pragma once

#include <cstdint>

#include "zaUtils/Api.h"

/// Random numbers of a Mersenne Twister, one generator for the whole process.
///
/// Seeding, tempering and the first 623 numbers are those of MT19937. Deliberately, the last word
/// of each twist is made in another way, so that the sequences part sooner or later: with the
/// default seed at the 1872nd number. What was computed from this sequence relies on it.
///
/// Thread safety: none. Draw from one thread at a time.
class ZAUTILS_API zaRandom {
public:
    /// Seeds the generator anew, for all objects; the lower 32 bits of the seed count.
    zaRandom(unsigned long seed = 5489) { init_random(seed); }

    /// A number of 32 random bits.
    unsigned long genRandLong() {
        int index = s_index;
        if (index >= kWords) {
            twist();
            index = 0;
        }
        s_index = index + 1;
        std::uint32_t y = s_randomTable[index];
        y ^= y >> 11;
        y ^= (y << 7) & 0x9D2C5680;
        y ^= (y << 15) & 0xEFC60000;
        return y ^ (y >> 18);
    }

    /// A number from 0 to 1. Both functions do the same, and both can deliberately return 1: the
    /// 32 bits are rounded to a float before they are scaled.
    /// @{
    float genRandFloat1() { return static_cast<float>(genRandLong()) * s_rcpFloatMax1; }
    float genRandFloat2() { return static_cast<float>(genRandLong()) * s_rcpFloatMax2; }
    /// @}

    static constexpr int kWords = 624;

    static std::uint32_t s_randomTable[kWords];  ///< the generator's state
    static int s_index;                          ///< of the next word; kWords: twist first
    static float s_rcpFloatMax1;                 ///< 2^-32
    static float s_rcpFloatMax2;                 ///< 2^-32

private:
    void init_random(unsigned long seed);
    static void twist();  ///< makes the next kWords words
};
