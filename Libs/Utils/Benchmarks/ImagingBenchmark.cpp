// Scaling images of 8 bits, beside the per-sample way of the same function and beside the libraries
// that are known for it: the same kernel, the same sizes and a result of the same quality (these
// lay the source positions half a sample aside).
//
// usage: ImagingBenchmark [NAME...]    shrink, enlarge, volume, types, threads, memory

#include <malloc.h>
#include <tbb/parallel_invoke.h>
#include <tbb/task_arena.h>
#include <vips/vips.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Benchmark.h"
#include "Tests/Support/PerSample.h"
#include "zaUtils/Imaging/Internal/SeparableScaler.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Sample = ImagePixelHandler::Sample;

const ImageLanczos3Filter kLanczos(3.0);
const ImageLinearFilter kLinear(1.0);

/// A square image or a cube, and what it becomes.
struct Job {
    Job(int from, int to, int depth, int channelCount, Sample type = Sample::UInt8,
        unsigned int options = 0)
        : size(from),
          newSize(to),
          channels(channelCount),
          isCube(depth > 1),
          pixels(type, options),
          source(bytes(from)),
          destination(bytes(to)) {
        std::mt19937 random(4711);
        if (type == Sample::Float) {
            auto* values = reinterpret_cast<float*>(source.data());
            for (std::size_t i = 0; i < source.size() / sizeof(float); ++i)
                values[i] = static_cast<float>(random()) / 4294967296.0f;
            return;
        }
        for (unsigned char& byte : source)
            byte = static_cast<unsigned char>(random());
    }

    std::size_t bytes(int edge) const {
        const auto e = static_cast<std::size_t>(edge);
        return e * e * (isCube ? e : 1) * static_cast<std::size_t>(channels) *
               ImagePixelHandler::getSampleSize(pixels.getSample());
    }

    void run(ImageScaler::ValueHandler& handler, const ImageGenericFilter& filter,
             int threads = 1) {
        tbb::task_arena arena(threads);
        arena.execute([&] {
            ImageScaler::scale({source.data()}, {destination.data()}, size, size, isCube ? size : 1,
                               newSize, newSize, isCube ? newSize : 1, channels, handler, filter);
        });
    }
    void run(const ImageGenericFilter& filter, int threads = 1) { run(pixels, filter, threads); }

    std::string title(const std::string& kernel) const {
        const std::string power = isCube ? "^3" : "^2";
        return std::to_string(size) + power + " to " + std::to_string(newSize) + power + ", " +
               std::to_string(channels) + " channels, " + kernel;
    }

    const int size, newSize, channels;
    const bool isCube;
    ImagePixelHandler pixels;
    Bytes source, destination;
};

Contender ours(Job& job, const ImageGenericFilter& filter) {
    return {"zaUtils", [&] { job.run(filter); }};
}

void compareWithSamples(Job& job, const std::string& kernel, const ImageGenericFilter& filter,
                        int rounds = 3) {
    static PerSample samples{ImagePixelHandler(Sample::UInt8)};
    compare({job.title(kernel) + ", one thread",
             "image",
             1,
             {ours(job, filter), {"per sample", [&] { job.run(samples, filter); }}},
             rounds});
}

// --- peers ---

void shrinkByVips(Job& job, VipsKernel kernel) {
    VipsImage* in = vips_image_new_from_memory(job.source.data(), job.source.size(), job.size,
                                               job.size, job.channels, VIPS_FORMAT_UCHAR);
    VipsImage* out = nullptr;
    // Without a gap, the kernel does all the work, and no box before it.
    if (vips_resize(in, &out, static_cast<double>(job.newSize) / job.size, "kernel", kernel, "gap",
                    0.0, nullptr) != 0)
        vips_error_exit("libvips could not shrink the image");
    std::size_t size = 0;
    g_free(vips_image_write_to_memory(out, &size));
    g_object_unref(out);
    g_object_unref(in);
}

/// Pillow times itself.
double secondsOfPillow(const Job& job, const std::string& kernel) {
    const std::string command = std::string(ZA_PILLOW_PYTHON) + " \"" + ZA_PILLOW_SCRIPT + "\" " +
                                std::to_string(job.size) + " " + std::to_string(job.newSize) + " " +
                                kernel;
    double seconds = 0.0;
    if (std::FILE* pipe = popen(command.c_str(), "r")) {
        if (std::fscanf(pipe, "%lf", &seconds) != 1) std::fputs("No time of Pillow\n", stderr);
        pclose(pipe);
    }
    return seconds;
}

// --- sections ---

void compareShrinking() {
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    Job job(4096, 1024, 1, 4);
    const auto compareOne = [&](const std::string& name, const ImageGenericFilter& filter,
                                VipsKernel kernel) {
        compare({job.title(name) + ", one thread",
                 "image",
                 1,
                 {ours(job, filter), {"libvips", [&] { shrinkByVips(job, kernel); }}},
                 31});
        compareWithSamples(job, name, filter);
    };
    compareOne("Lanczos3 of width 3", kLanczos, VIPS_KERNEL_LANCZOS3);
    compareOne("linear", kLinear, VIPS_KERNEL_LINEAR);
}

void compareEnlarging() {
    Job job(512, 2048, 1, 4);
    const auto compareOne = [&](const std::string& name, const ImageGenericFilter& filter,
                                const std::string& kernel) {
        compare({job.title(name) + ", one thread",
                 "image",
                 1,
                 {ours(job, filter),
                  {"Pillow", nullptr, [&job, kernel] { return secondsOfPillow(job, kernel); }}},
                 15});
        compareWithSamples(job, name, filter);
    };
    compareOne("Lanczos3 of width 3", kLanczos, "lanczos");
    compareOne("linear", kLinear, "linear");
}

void compareVolumes() {
    Job job(256, 128, 2, 1);
    compareWithSamples(job, "Lanczos3 of width 3", kLanczos);
    compareWithSamples(job, "linear", kLinear, 21);
}

/// Other pixels, and other processors.
void compareTypes() {
    Job bytes(4096, 1024, 1, 4), light(4096, 1024, 1, 4, Sample::UInt8, 3);
    Job shorts(4096, 1024, 1, 4, Sample::UInt16), floats(4096, 1024, 1, 4, Sample::Float);
    compare({bytes.title("Lanczos3 of width 3") + ", one thread",
             "image",
             1,
             {{"zaUtils, 8 bits", [&] { bytes.run(kLanczos); }},
              {"16 bits", [&] { shorts.run(kLanczos); }},
              {"float", [&] { floats.run(kLanczos); }},
              {"8 bits, linear light, opacity", [&] { light.run(kLanczos); }}},
             7});
}

/// Two threads at one image, and at an image each, which is as fast as this machine lets them be.
void compareThreads() {
    Job shrinking(4096, 1024, 1, 4), enlarging(512, 2048, 1, 4), volume(256, 128, 2, 1);
    for (Job* job : {&shrinking, &enlarging, &volume}) {
        Job twin = *job;
        for (const auto& [name, filter] :
             {std::pair<const char*, const ImageGenericFilter*>{"Lanczos3 of width 3", &kLanczos},
              {"linear", &kLinear}}) {
            const ImageGenericFilter& kernel = *filter;
            compare({job->title(name),
                     "image",
                     1,
                     {{"zaUtils, two threads", [&, job] { job->run(kernel, 2); }},
                      {"one thread", [&, job] { job->run(kernel); }},
                      {"two images, a thread each",
                       [&, job] {
                           tbb::task_arena(2).execute([&] {
                               tbb::parallel_invoke([&] { job->run(kernel); },
                                                    [&] { twin.run(kernel); });
                           });
                       }}},
                     31});
        }
    }
}

/// A value of this process in KiB.
long statusValue(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(name + ":", 0) == 0) return std::stol(line.substr(name.size() + 1));
    }
    return 0;
}

void measureMemory() {
    Job shrinking(4096, 1024, 1, 4), enlarging(512, 2048, 1, 4), volume(256, 128, 2, 1);
    for (Job* job : {&shrinking, &enlarging, &volume}) {
        std::fill(job->destination.begin(), job->destination.end(), static_cast<unsigned char>(1));
        malloc_trim(0);  // or the library would find memory that is there already
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak is what there is now
        const long before = statusValue("VmRSS");
        job->run(kLanczos, 2);
        std::fprintf(stderr, "%s, two threads: %ld KiB beyond the two images\n",
                     job->title("Lanczos3 of width 3").c_str(), statusValue("VmHWM") - before);
    }
}

struct Section {
    std::string name;
    void (*run)();
};

const Section kSections[] = {{"memory", measureMemory},     {"shrink", compareShrinking},
                             {"enlarge", compareEnlarging}, {"volume", compareVolumes},
                             {"types", compareTypes},       {"threads", compareThreads}};

}  // namespace

int main(int argc, char** argv) {
    if (VIPS_INIT(argv[0]) != 0) return 1;
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    for (const Section& section : kSections) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), section.name) != wanted.end())
            section.run();
    }
}
