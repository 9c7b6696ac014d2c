#include "Benchmark.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <random>

namespace {

double secondsOf(const Contender& contender) {
    if (contender.seconds) return contender.seconds();
    const auto start = std::chrono::steady_clock::now();
    contender.run();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return taken.count();
}

/// What the share `share` of the values lies below; takes a copy to sort it.
double quantile(std::vector<double> values, double share) {
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
    const auto nth = values.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(values.begin(), nth, values.end());
    return *nth;
}

/// How many times as fast the library was in each round.
std::vector<double> ratios(const std::vector<double>& peer, const std::vector<double>& library) {
    std::vector<double> result(peer.size());
    std::transform(peer.begin(), peer.end(), library.begin(), result.begin(), std::divides<>());
    return result;
}

}  // namespace

void compare(const Comparison& comparison) {
    const std::vector<Contender>& contenders = comparison.contenders;
    std::vector<std::vector<double>> seconds(contenders.size());
    for (const Contender& contender : contenders)
        secondsOf(contender);  // warms caches up
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::minstd_rand random;
    for (int round = 0; round < comparison.rounds; ++round) {
        // Nobody always comes first, or after the same one, which leaves the caches to it.
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t turn : order)
            seconds[turn].push_back(secondsOf(contenders[turn]));
    }

    std::fprintf(stderr, "%s\n", comparison.title.c_str());
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        const double perUnit = quantile(seconds[i], 0.5) / comparison.unitsPerRun;
        std::fprintf(stderr, "  %-44s %8.3f us a %s, %9.0f a second", contenders[i].name.c_str(),
                     perUnit * 1e6, comparison.unit.c_str(), 1 / perUnit);
        if (i > 0) {
            const std::vector<double> ratio = ratios(seconds[i], seconds[0]);
            std::fprintf(stderr, "; zaUtils is %.2f times as fast (%.2f to %.2f)",
                         quantile(ratio, 0.5), quantile(ratio, 0.25), quantile(ratio, 0.75));
        }
        std::fputc('\n', stderr);
    }
}

BenchmarkFolder::BenchmarkFolder()
    : _folder(std::filesystem::temp_directory_path() /
              ("zaUtils benchmark " + std::to_string(std::random_device{}()))) {
    std::filesystem::create_directories(_folder);
}

BenchmarkFolder::~BenchmarkFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
}
