#include "zaUtils/Encoding/zaRandom.h"

namespace {

constexpr int kWords = zaRandom::kWords;
constexpr int kShift = 397;
constexpr int kWrap = kWords - kShift;

constexpr float kTwoToMinus32 = 1.0F / 4294967296.0F;

/// 0 or the twist's matrix, by the lowest bit; without a table or a branch, so that compilers make
/// vectors of the loops.
constexpr std::uint32_t mag01(std::uint32_t word) {
    return (0U - (word & 1)) & 0x9908B0DF;
}

constexpr std::uint32_t twistWord(std::uint32_t upper, std::uint32_t lower, std::uint32_t far) {
    return far ^ (((upper & 0x80000000) | (lower & 0x7FFFFFFE)) >> 1) ^ mag01(lower);
}

/// The step for `Count` words from `From`, with the words `Far` further. Many vectors fit into the
/// constant counts, and no step reads a word that one of the few steps before it has written.
template <int From, int Count, int Far>
void twistWords(std::uint32_t* table) {
    for (int k = From; k < From + Count; ++k)
        table[k] = twistWord(table[k], table[k + 1], table[k + Far]);
}

}  // namespace

std::uint32_t zaRandom::s_randomTable[kWords] = {};
int zaRandom::s_index = kWords;
float zaRandom::s_rcpFloatMax1 = kTwoToMinus32;
float zaRandom::s_rcpFloatMax2 = kTwoToMinus32;

void zaRandom::init_random(unsigned long seed) {
    std::uint32_t word = static_cast<std::uint32_t>(seed);
    s_randomTable[0] = word;
    for (std::uint32_t k = 1; k < kWords; ++k) {
        word = 1812433253 * (word ^ (word >> 30)) + k;
        s_randomTable[k] = word;
    }
    s_index = kWords;
}

void zaRandom::twist() {
    constexpr int kInVectors = kWrap / 4 * 4;
    std::uint32_t* table = s_randomTable;
    twistWords<0, kInVectors, kShift>(table);
    twistWords<kInVectors, kWrap - kInVectors, kShift>(table);
    twistWords<kWrap, kWords - 1 - kWrap, -kWrap>(table);

    // Deliberate: MT19937 twists the last word once, with word 0 as the next. Here it is first
    // twisted with the number of words as the next, and then once more from what came out.
    std::uint32_t& last = table[kWords - 1];
    last = twistWord(last, kWords, table[kShift - 1]);
    last = twistWord(last, table[0], table[kShift - 1]);
}
