#include "zaUtils/Diagnostics/zaCrashReport.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "zaProduct/zaProduct.h"
#include "zaUtils/Diagnostics/Internal/FunctionName.h"
#include "zaUtils/Diagnostics/Internal/ImageSymbols.h"
#include "zaUtils/Logging/Internal/LogRing.h"
#include "zaUtils/Os/Clock.h"
#include "zaUtils/Os/Cpu.h"
#include "zaUtils/Os/Crash.h"
#include "zaUtils/Platform/zaPlatform.h"

using za::diagnostics::SymbolQuery;
using za::os::CrashEvent;
using za::os::CrashFrames;
using za::os::CrashModule;
using za::os::kMostCrashFrames;
using za::os::kMostCrashModules;
using za::os::kMostCrashThreads;

namespace {

// Everything that the report needs lies here from the beginning.

using SteadyClock = std::chrono::steady_clock;

/// For names, files and lines of other threads; after that they are told by addresses.
constexpr auto kTimeForSymbols = std::chrono::milliseconds(1200);
constexpr auto kTimeForThreads = std::chrono::milliseconds(1600);

struct Identity {
    char application[128];
    char product[512];
    char processor[128];
    int processors;
};
Identity g_identity;

struct Frame {
    std::uint64_t counter;
    const CrashModule* module;  ///< null: in none
    char function[384];
    char file[512];
    std::uint32_t line;
};

/// A module's file, mapped when it is first needed.
struct ImageFile {
    bool isAsked;
    const void* data;
    std::size_t size;
};

CrashModule g_modules[kMostCrashModules];
ImageFile g_images[kMostCrashModules];
std::size_t g_moduleCount;
Frame g_frames[kMostCrashFrames];
std::size_t g_frameCount;
CrashFrames g_otherFrames;
unsigned long g_threads[kMostCrashThreads];
SteadyClock::time_point g_start;

// --- text ---

/// The report's file behind a buffer. Numbers and texts are all that is formatted: for these the C
/// library allocates nothing.
class Output {
public:
    void open(const char* name) { _report = za::os::createReport(name); }
    void close() {
        flush();
        za::os::closeReport(_report);
    }

    ZAUTILS_PRINTF(2, 3) void print(const char* format, ...) {
        constexpr std::size_t kLongest = 2048;
        if (sizeof _buffer - _size < kLongest) flush();
        std::va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(_buffer + _size, kLongest, format, arguments);
        va_end(arguments);
        if (length > 0) _size += std::min(static_cast<std::size_t>(length), kLongest - 1);
    }
    void flush() {
        za::os::writeReport(_report, _buffer, _size);
        _size = 0;
    }

private:
    std::intptr_t _report = 0;
    char _buffer[16384];
    std::size_t _size = 0;
};
Output g_output;

struct UtcTime {
    int year, month, day, hour, minute, second;
};

/// By the calendar's own rules: the C library's conversions take a lock.
UtcTime toUtc(std::int64_t seconds) {
    const std::int64_t day = seconds / 86400;
    const int rest = static_cast<int>(seconds % 86400);
    // Eras of 400 years that begin in March, so that the leap day comes last.
    const std::int64_t shifted = day + 719468;
    const std::int64_t era = shifted / 146097;
    const std::int64_t dayOfEra = shifted % 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t month = (5 * dayOfYear + 2) / 153;
    UtcTime time{};
    time.day = static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1);
    time.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    time.year = static_cast<int>(yearOfEra + era * 400 + (time.month <= 2 ? 1 : 0));
    time.hour = rest / 3600;
    time.minute = rest / 60 % 60;
    time.second = rest % 60;
    return time;
}

const char* fileNameOf(const char* path) {
    const char* name = path;
    for (const char* c = path; *c != '\0'; ++c)
        if (*c == '/' || *c == '\\') name = c + 1;
    return name;
}

bool beginsWith(const char* text, const char* beginning) {
    return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

bool isTimeLeft(SteadyClock::duration time) {
    return SteadyClock::now() - g_start < time;
}

// --- frames ---

const CrashModule* moduleAt(std::uint64_t counter) {
    for (std::size_t i = 0; i < g_moduleCount; ++i)
        if (counter >= g_modules[i].base && counter < g_modules[i].end) return &g_modules[i];
    return nullptr;
}

const ImageFile& imageOf(const CrashModule& module) {
    ImageFile& image = g_images[&module - g_modules];
    if (!image.isAsked) {
        image.isAsked = true;
        image.data = za::os::mapModule(module, image.size);
    }
    return image;
}

void takeAnswer(const SymbolQuery& query, Frame& frame) {
    if (query.symbol) {
        za::diagnostics::writeFunctionName(query.symbol, frame.function, sizeof frame.function);
    }
    if (!query.file) return;
    const char* directory = query.directory ? query.directory : "";
    std::snprintf(frame.file, sizeof frame.file, "%s%s%s", directory, *directory ? "/" : "",
                  query.file);
    frame.line = query.line;
}

/// Asks one module for all frames that lie in it.
void lookUpModule(const CrashModule& module, const CrashFrames& frames) {
    static SymbolQuery queries[kMostCrashFrames];
    static std::size_t indices[kMostCrashFrames];
    std::size_t count = 0;
    for (std::size_t i = 0; i < g_frameCount; ++i) {
        if (g_frames[i].module != &module) continue;
        // What a frame returns to may belong to the next line or function.
        const bool isExact = i == 0 && frames.firstIsExact;
        queries[count] = {};
        queries[count].offset = g_frames[i].counter - module.base - (isExact ? 0 : 1);
        indices[count++] = i;
    }
    const ImageFile& image = imageOf(module);
    if (!image.data) return;
    za::diagnostics::findSymbols(image.data, image.size, queries, count);
    for (std::size_t k = 0; k < count; ++k)
        takeAnswer(queries[k], g_frames[indices[k]]);
}

struct LookUp {
    const CrashModule* module;
    const CrashFrames* frames;
};

void lookUpFrames(const CrashFrames& frames) {
    g_frameCount = frames.count;
    for (std::size_t i = 0; i < g_frameCount; ++i) {
        Frame& frame = g_frames[i];
        frame.counter = frames.counters[i];
        const bool isExact = i == 0 && frames.firstIsExact;
        frame.module = moduleAt(isExact ? frame.counter : frame.counter - 1);
        frame.function[0] = frame.file[0] = '\0';
    }
    if (!isTimeLeft(kTimeForSymbols)) return;
    for (std::size_t i = 0; i < g_moduleCount; ++i) {
        const auto isInside = [&](const Frame& f) { return f.module == &g_modules[i]; };
        if (std::none_of(g_frames, g_frames + g_frameCount, isInside)) continue;
        LookUp lookUp{&g_modules[i], &frames};
        za::os::runGuarded(
            [](void* argument) {
                const auto& [module, of] = *static_cast<LookUp*>(argument);
                lookUpModule(*module, *of);
            },
            &lookUp);
    }
}

void printPlace(const Frame& frame) {
    const char* module = frame.module ? fileNameOf(frame.module->path) : "no module";
    const auto offset = static_cast<unsigned long long>(
        frame.module ? frame.counter - frame.module->base : frame.counter);
    g_output.print("%s", *frame.function ? frame.function : "(unknown function)");
    if (*frame.file) g_output.print(" (%s:%u)", frame.file, static_cast<unsigned>(frame.line));
    g_output.print(" [%s+0x%llX]\n", module, offset);
}

void printFrames() {
    for (std::size_t i = 0; i < g_frameCount; ++i) {
        g_output.print("%3u %016llX ", static_cast<unsigned>(i),
                       static_cast<unsigned long long>(g_frames[i].counter));
        printPlace(g_frames[i]);
    }
    if (g_frameCount == kMostCrashFrames) g_output.print("    and more\n");
    if (g_frameCount == 0) g_output.print("    unknown\n");
}

// --- who is to blame ---

/// Whether a module comes with the system or the compiler.
bool isOfSystem(const char* path) {
    for (const char* folder :
         {"/lib/", "/lib64/", "/usr/lib/", "[", "C:\\windows\\", "C:\\Windows\\"})
        if (beginsWith(path, folder)) return true;
    constexpr const char* kNames[] = {"ntdll.",    "kernel32.", "kernelbase.", "msvcrt.",
                                      "ucrtbase.", "libstdc++", "libgcc_s",    "libwinpthread",
                                      "libssp",    "vcruntime", "msvcp"};
    const char* name = fileNameOf(path);
    const auto isIt = [&](const char* beginning) { return beginsWith(name, beginning); };
    return std::any_of(std::begin(kNames), std::end(kNames), isIt);
}

/// Whether a function is the machinery that ends a program, wherever it is linked to.
bool isMachinery(const char* function) {
    constexpr const char* kNames[] = {
        "std::", "__cxxabiv1::", "__cxa_",           "__gnu_cxx::", "_Unwind_", "abort",
        "raise", "_purecall",    "__stack_chk_fail", "___chkstk",   "za::os::", "__chk_fail"};
    const auto isIt = [&](const char* beginning) { return beginsWith(function, beginning); };
    return std::any_of(std::begin(kNames), std::end(kNames), isIt);
}

const Frame* culprit() {
    for (std::size_t i = 0; i < g_frameCount; ++i) {
        const Frame& frame = g_frames[i];
        if (frame.module && !isOfSystem(frame.module->path) && !isMachinery(frame.function)) {
            return &frame;
        }
    }
    return g_frameCount > 0 ? g_frames : nullptr;
}

bool isPureCall() {
    const auto isIt = [](const Frame& frame) {
        return std::strcmp(frame.function, "__cxa_pure_virtual") == 0 ||
               std::strcmp(frame.function, "_purecall") == 0;
    };
    return std::any_of(g_frames, g_frames + g_frameCount, isIt);
}

// --- the parts of the report ---

void printReason(const CrashEvent& event) {
    g_output.print("%s has crashed: ", g_identity.application);
    if (isPureCall()) {
        g_output.print("pure virtual function called");
    } else {
        g_output.print("%s", event.reason);
    }
    if (*event.exceptionType) {
        char symbol[sizeof event.exceptionType + 2];
        char type[sizeof symbol];
        std::snprintf(symbol, sizeof symbol, "_Z%s", event.exceptionType);
        za::diagnostics::writeFunctionName(symbol, type, sizeof type);
        g_output.print(" of type %s", type);
    }
    if (*event.exceptionText) g_output.print(": %s", event.exceptionText);
    g_output.print("\nin ");
    if (const Frame* frame = culprit()) {
        printPlace(*frame);
    } else {
        g_output.print("an unknown place\n");
    }
}

void printHead(void* argument) {
    const auto& event = *static_cast<const CrashEvent*>(argument);
    lookUpFrames(event.frames);
    printReason(event);
    const UtcTime t = toUtc(za::os::systemSeconds());
    g_output.print("at %d-%02d-%02d %02d:%02d:%02d UTC, process %lu, thread %lu\n", t.year, t.month,
                   t.day, t.hour, t.minute, t.second, event.process, event.thread);
    g_output.print("%s\n", g_identity.product);
    g_output.print("\nStack of thread %lu, which crashed\n", event.thread);
    printFrames();
    g_output.flush();
}

void printOtherThread(unsigned long thread) {
    char name[64];
    const bool done = za::os::framesOfThread(thread, g_otherFrames, name);
    g_output.print("\nStack of thread %lu%s%s\n", thread, *name ? ", " : "", name);
    if (done) {
        lookUpFrames(g_otherFrames);
        printFrames();
    } else {
        g_output.print("    does not answer\n");
    }
    g_output.flush();
}

void printOtherThreads(void* argument) {
    const auto& event = *static_cast<const CrashEvent*>(argument);
    const std::size_t count = za::os::otherThreads(event.thread, g_threads);
    for (std::size_t i = 0; i < count; ++i) {
        if (!isTimeLeft(kTimeForThreads)) {
            g_output.print("\n%u more threads, for which there is no time\n",
                           static_cast<unsigned>(count - i));
            break;
        }
        za::os::runGuarded(
            [](void* thread) { printOtherThread(*static_cast<unsigned long*>(thread)); },
            &g_threads[i]);
    }
}

void printLog(void* argument) {
    const auto& event = *static_cast<const CrashEvent*>(argument);
    g_output.print("\nLast error of the thread: %s\n", event.lastError);
    const za::log::LogRing& ring = za::log::logRing();
    const std::size_t count = ring.size();
    g_output.print("\nLast messages of the log: %u\n", static_cast<unsigned>(count));
    for (std::size_t i = 0; i < count; ++i) {
        const za::log::LogRing::Message& message = ring[i];
        const UtcTime t = toUtc(message.time);
        g_output.print("%02d:%02d:%02d %c %.*s\n", t.hour, t.minute, t.second, message.kind,
                       static_cast<int>(za::log::LogRing::kTextSize - 1), message.text);
    }
    g_output.flush();
}

void printModules(void*) {
    g_output.print("\nModules\n");
    for (std::size_t i = 0; i < g_moduleCount; ++i) {
        const CrashModule& module = g_modules[i];
        g_output.print("%016llX-%016llX %s%s%s\n", static_cast<unsigned long long>(module.base),
                       static_cast<unsigned long long>(module.end), module.path,
                       *module.version ? ", " : "", module.version);
    }
    g_output.flush();
}

void printMachine(void*) {
    constexpr unsigned kMebibyte = 20;
    const za::os::MemoryFacts memory = za::os::memoryFacts();
    g_output.print("\nMachine\n%d processors: %s\n", g_identity.processors, g_identity.processor);
    g_output.print("memory: %llu MiB, %llu MiB available, %llu MiB of this process\n",
                   static_cast<unsigned long long>(memory.total >> kMebibyte),
                   static_cast<unsigned long long>(memory.available >> kMebibyte),
                   static_cast<unsigned long long>(memory.process >> kMebibyte));
}

void writeCrashReport(const CrashEvent& event) {
    g_start = SteadyClock::now();
    const UtcTime t = toUtc(za::os::systemSeconds());
    char name[256];
    std::snprintf(name, sizeof name, "%s-crash-%04d%02d%02d-%02d%02d%02d-%lu.txt",
                  g_identity.application, t.year, t.month, t.day, t.hour, t.minute, t.second,
                  event.process);
    g_output.open(name);
    za::os::runGuarded([](void*) { g_moduleCount = za::os::loadedModules(g_modules); }, nullptr);
    void* argument = const_cast<CrashEvent*>(&event);
    for (void (*part)(void*) :
         {printHead, printOtherThreads, printLog, printModules, printMachine}) {
        if (za::os::runGuarded(part, argument)) continue;
        g_output.print("\n(this part could not be written to its end)\n");
    }
    const auto taken = SteadyClock::now() - g_start;
    g_output.print(
        "\nWritten in %d ms\n",
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(taken).count()));
    g_output.close();
}

// --- before ---

/// The processor's name, by itself.
void readProcessorName(char (&name)[128]) {
    constexpr std::uint32_t kFirstLeaf = 0x80000002;
    char brand[49] = "";
    for (std::uint32_t i = 0; i < 3; ++i) {
        const za::os::CpuRegisters registers = za::os::readCpuLeaf(kFirstLeaf + i, 0);
        std::memcpy(brand + std::size_t{16} * i, &registers, 16);
    }
    std::snprintf(name, sizeof name, "%s", brand + std::strspn(brand, " "));
}

/// A part of a file's name, of letters and digits.
void copyAsciiName(char (&target)[128], const char* name) {
    std::size_t length = 0;
    for (; *name != '\0' && length + 1 < 64; ++name) {
        const char c = *name;
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '-' || c == '_';
        target[length++] = isPlain ? c : '_';
    }
    target[length] = '\0';
    if (length == 0) std::snprintf(target, sizeof target, "application");
}

void readIdentity() {
    const zaProduct& product = zaProduct::the();
    const char* application = zaPlatform::getAppName();
    copyAsciiName(g_identity.application, *application ? application : product.getName());
    std::snprintf(g_identity.product, sizeof g_identity.product,
                  "%s (%s), version \"%s\", zaUtils %s", product.getFullName(), product.getName(),
                  zaPlatform::getAppVersionName(), ZAUTILS_VERSION);
    readProcessorName(g_identity.processor);
    g_identity.processors = zaPlatform::getNumCPUs();
}

}  // namespace

bool zaCrashReport::install(const std::string& folder) {
    if (!za::os::prepareReportFolder(folder) || !prepareThread()) return false;
    static const bool isWatching = za::os::installCrashHandlers(writeCrashReport);
    if (!isWatching) return false;
    readIdentity();
    za::log::logRing().enable();
    return true;
}

bool zaCrashReport::prepareThread() {
    return za::os::prepareThreadForCrashes();
}
