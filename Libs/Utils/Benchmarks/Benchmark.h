#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// One of several ways of doing the same job.
struct Contender {
    std::string name;
    std::function<void()> run;
    std::function<double()> seconds = nullptr;  ///< instead of `run`, for who measures itself
};

/// A job and who does it: the library first, then its peers.
struct Comparison {
    std::string title;
    std::string unit;  ///< what is counted, in the singular
    int unitsPerRun;   ///< how many of them each call of `run` does
    std::vector<Contender> contenders;
    int rounds = 801;  ///< fewer for runs that take long
};

/// Lets all contenders run in turn, again and again, and prints for each the median time of a unit,
/// and for the peers how many times as fast as they the library was: the median over the rounds,
/// and what the middle half of the rounds lies between. Prints to standard error, because standard
/// output is where the library's own texts go.
void compare(const Comparison& comparison);

/// A folder for the files of a benchmark, removed with all that is in it.
class BenchmarkFolder {
public:
    BenchmarkFolder();
    ~BenchmarkFolder();
    BenchmarkFolder(const BenchmarkFolder&) = delete;
    BenchmarkFolder& operator=(const BenchmarkFolder&) = delete;

    std::string path(const std::string& name) const { return (_folder / name).u8string(); }

private:
    std::filesystem::path _folder;
};
