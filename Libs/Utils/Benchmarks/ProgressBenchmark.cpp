// Increments of nested progress that nobody watches, beside the least that showing each of them
// would take: to format one number for every fourth of them.

#include <cstdio>

#include "Benchmark.h"
#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

constexpr int kIncrements = 20000;

void increment(zaStackedProgress& level) {
    for (int i = 0; i < kIncrements; ++i)
        level.incrementBy(1.0);
}

void format() {
    char text[16];
    for (int i = 0; i < kIncrements / 4; ++i) {
        std::snprintf(text, sizeof text, "%d", i);
        // The text counts as used, so that no compiler leaves the call out.
        if (text[0] == '\0') std::perror(text);
    }
}

}  // namespace

int main() {
    zaStackedProgress outer("outer", 10, nullptr);
    zaStackedProgress middle("middle", 10, nullptr);
    zaStackedProgress inner("inner", 1e9, nullptr);
    compare({"An increment three levels deep, without a handler",
             "increment",
             kIncrements,
             {{"zaStackedProgress::incrementBy", [&] { increment(inner); }},
              {"a quarter of a snprintf of one int", format}}});
}
