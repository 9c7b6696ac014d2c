#include "zaUtils/Os/DebugHelp.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "zaUtils/Os/Library.h"
#include "zaUtils/Os/Posix/LibDw.h"
#include "zaUtils/Os/Posix/PosixStack.h"

namespace za::os {

namespace libdw {

namespace {

template <typename Function>
bool bind(Function& target, void* library, const char* name) {
    target = reinterpret_cast<Function>(librarySymbol(library, name));
    return target != nullptr;
}

bool bindAll(EntryPoints& e, void* library) {
    return bind(e.dwfl_linux_proc_find_elf, library, "dwfl_linux_proc_find_elf") &&
           bind(e.dwfl_begin, library, "dwfl_begin") && bind(e.dwfl_end, library, "dwfl_end") &&
           bind(e.dwfl_report_begin, library, "dwfl_report_begin") &&
           bind(e.dwfl_report_end, library, "dwfl_report_end") &&
           bind(e.dwfl_linux_proc_report, library, "dwfl_linux_proc_report") &&
           bind(e.dwfl_addrmodule, library, "dwfl_addrmodule") &&
           bind(e.dwfl_module_info, library, "dwfl_module_info") &&
           bind(e.dwfl_module_addrinfo, library, "dwfl_module_addrinfo") &&
           bind(e.dwfl_module_getdwarf, library, "dwfl_module_getdwarf") &&
           bind(e.dwfl_module_addrdie, library, "dwfl_module_addrdie") &&
           bind(e.dwfl_module_nextcu, library, "dwfl_module_nextcu") &&
           bind(e.dwarf_haspc, library, "dwarf_haspc") &&
           bind(e.dwarf_getsrc_die, library, "dwarf_getsrc_die") &&
           bind(e.dwarf_lineno, library, "dwarf_lineno") &&
           bind(e.dwarf_linesrc, library, "dwarf_linesrc") &&
           bind(e.dwfl_attach_state, library, "dwfl_attach_state") &&
           bind(e.dwfl_getthread_frames, library, "dwfl_getthread_frames") &&
           bind(e.dwfl_frame_pc, library, "dwfl_frame_pc") &&
           bind(e.dwfl_thread_state_registers, library, "dwfl_thread_state_registers") &&
           bind(e.dwfl_thread_state_register_pc, library, "dwfl_thread_state_register_pc");
}

const EntryPoints* load() {
    void* library = loadLibrary("libdw.so.1", false);
    if (!library) return nullptr;
    auto* points = new EntryPoints{};
    if (bindAll(*points, library)) return points;
    delete points;
    unloadLibrary(library);
    return nullptr;
}

}  // namespace

const EntryPoints* entryPoints() {
    static const EntryPoints* const points = load();
    return points;
}

}  // namespace libdw

namespace {

using libdw::Dwfl;
using libdw::Dwfl_Frame;
using libdw::Dwfl_Module;
using libdw::Dwfl_Thread;

/// What is known of an address.
struct Location {
    std::string symbol;  ///< empty: unknown
    std::uint64_t symbolStart = 0;
    std::string file;  ///< empty: unknown
    std::uint32_t line = 0;
    bool hasModule = false;
    std::string module;
    std::string image;
    std::uint64_t base = 0;
    int symbolType = 0;
};

/// How often libraries came and went.
using LoaderState = std::pair<unsigned long long, unsigned long long>;

LoaderState loaderState() {
    LoaderState state;
    ::dl_iterate_phdr(
        [](dl_phdr_info* information, std::size_t, void* result) {
            *static_cast<LoaderState*>(result) = {information->dlpi_adds, information->dlpi_subs};
            return 1;  // the first module tells
        },
        &state);
    return state;
}

/// Looks for no separate files of debug information: reading those of the system's libraries takes
/// a tenth of a second, and the library's own search may go out to the network.
int findNoSeparateFile(Dwfl_Module*, void**, const char*, std::uint64_t, const char*, const char*,
                       Elf64_Word, char**) {
    return -1;
}

/// The symbols of one process, kept open between walks. Used under its lock.
class Symbols {
public:
    explicit Symbols(pid_t process) : _process(process) {}
    ~Symbols() {
        if (_dwfl) _libdw->dwfl_end(_dwfl);
    }
    Symbols(const Symbols&) = delete;
    Symbols& operator=(const Symbols&) = delete;

    /// Of this process, which many walkers share. Never destroyed.
    static Symbols& own() {
        static Symbols& symbols = *new Symbols(0);
        return symbols;
    }

    /// Learns what modules the process has; false, with errno set, when that cannot be read.
    bool refresh();
    const Location& locate(std::uint64_t address);
    /// The module alone, without its symbols, which take longer.
    Location locateModule(std::uint64_t address);
    /// Finds the frames from the registers, reading memory through the reader.
    bool unwind(PosixContext& context, void* process, ReadMemory reader);

    std::mutex& mutex() { return _mutex; }

private:
    struct Unwinding {
        const libdw::EntryPoints* libdw;
        PosixContext* context;
        void* process;
        ReadMemory reader;
    };

    bool isOwn() const { return _process == 0; }
    pid_t processId() const { return isOwn() ? ::getpid() : _process; }
    bool report();
    void locateWithLibdw(std::uint64_t address, Location& location);
    Dwfl_Module* fillModule(std::uint64_t address, Location& location) const;
    libdw::Dwarf_Die* findUnit(Dwfl_Module* module, std::uint64_t address,
                               std::uint64_t& bias) const;
    static void locateWithLoader(std::uint64_t address, Location& location);

    static int addFrame(Dwfl_Frame* frame, void* unwinding);
    static bool readWord(Dwfl*, std::uint64_t address, std::uint64_t* word, void* self);
    static bool setRegisters(Dwfl_Thread* thread, void* self);

    static constexpr std::size_t kMostLocations = 2048;

    const pid_t _process;  ///< 0: this one
    const libdw::EntryPoints* const _libdw = libdw::entryPoints();
    Dwfl* _dwfl = nullptr;
    LoaderState _loaderState{};
    std::unordered_map<std::uint64_t, Location> _locations;
    Unwinding _unwinding{};
    std::mutex _mutex;
};

bool Symbols::refresh() {
    if (!_libdw) return true;
    if (isOwn()) {
        const LoaderState now = loaderState();
        if (_dwfl && now == _loaderState) return true;
        _loaderState = now;
    } else if (_dwfl) {
        return true;
    }
    _locations.clear();
    return report();
}

bool Symbols::report() {
    static const libdw::Dwfl_Callbacks callbacks = {_libdw->dwfl_linux_proc_find_elf,
                                                    findNoSeparateFile, nullptr, nullptr};
    const bool isNew = !_dwfl;
    if (isNew) _dwfl = _libdw->dwfl_begin(&callbacks);
    if (!_dwfl) return false;
    _libdw->dwfl_report_begin(_dwfl);
    const int error = _libdw->dwfl_linux_proc_report(_dwfl, processId());
    _libdw->dwfl_report_end(_dwfl, nullptr, nullptr);
    if (error != 0) {
        if (error > 0) errno = error;
        return false;
    }
    if (!isNew) return true;
    static const libdw::Dwfl_Thread_Callbacks threads = {
        [](Dwfl*, void*, void**) -> pid_t { return 0; },
        [](Dwfl*, pid_t, void* self, void** argument) {
            *argument = self;
            return true;
        },
        readWord,
        setRegisters,
        nullptr,
        nullptr};
    return _libdw->dwfl_attach_state(_dwfl, nullptr, processId(), &threads, this);
}

const Location& Symbols::locate(std::uint64_t address) {
    refresh();
    if (_locations.size() >= kMostLocations) _locations.clear();
    const auto [entry, isNew] = _locations.try_emplace(address);
    if (!isNew) return entry->second;
    if (_dwfl) locateWithLibdw(address, entry->second);
    if (isOwn() && !entry->second.hasModule) locateWithLoader(address, entry->second);
    return entry->second;
}

Location Symbols::locateModule(std::uint64_t address) {
    refresh();
    const auto known = _locations.find(address);
    if (known != _locations.end()) return known->second;
    constexpr int kDeferred = 5;
    Location location;
    location.symbolType = kDeferred;
    if (_dwfl) fillModule(address, location);
    if (isOwn() && !location.hasModule) locateWithLoader(address, location);
    return location;
}

Dwfl_Module* Symbols::fillModule(std::uint64_t address, Location& location) const {
    Dwfl_Module* module = _libdw->dwfl_addrmodule(_dwfl, address);
    if (!module) return nullptr;
    location.hasModule = true;
    const char* path = _libdw->dwfl_module_info(module, nullptr, &location.base, nullptr, nullptr,
                                                nullptr, nullptr, nullptr);
    location.image = path ? path : "";
    location.module = location.image.substr(location.image.rfind('/') + 1);
    return module;
}

void Symbols::locateWithLibdw(std::uint64_t address, Location& location) {
    constexpr int kFull = 7;
    constexpr int kExported = 4;
    Dwfl_Module* module = fillModule(address, location);
    if (!module) return;
    std::uint64_t offset = 0;
    Elf64_Sym symbol{};
    if (const char* name = _libdw->dwfl_module_addrinfo(module, address, &offset, &symbol, nullptr,
                                                        nullptr, nullptr)) {
        location.symbol = name;
        location.symbolStart = address - offset;
        location.symbolType = kExported;
    }
    std::uint64_t bias = 0;
    if (!_libdw->dwfl_module_getdwarf(module, &bias)) return;
    location.symbolType = kFull;
    libdw::Dwarf_Die* unit = findUnit(module, address, bias);
    libdw::Dwarf_Line* line = unit ? _libdw->dwarf_getsrc_die(unit, address - bias) : nullptr;
    int number = 0;
    if (!line || _libdw->dwarf_lineno(line, &number) != 0) return;
    const char* file = _libdw->dwarf_linesrc(line, nullptr, nullptr);
    if (!file) return;
    location.file = file;
    location.line = static_cast<std::uint32_t>(number);
}

/// The compilation unit that the address is in. What the library names at once may be the one
/// before it, or none, because not every compiler makes the table for that; then every unit is
/// asked.
libdw::Dwarf_Die* Symbols::findUnit(Dwfl_Module* module, std::uint64_t address,
                                    std::uint64_t& bias) const {
    const auto isIn = [&](libdw::Dwarf_Die* unit) {
        return _libdw->dwarf_haspc(unit, address - bias) > 0;
    };
    libdw::Dwarf_Die* unit = _libdw->dwfl_module_addrdie(module, address, &bias);
    if (unit && isIn(unit)) return unit;
    unit = _libdw->dwfl_module_nextcu(module, nullptr, &bias);
    while (unit && !isIn(unit))
        unit = _libdw->dwfl_module_nextcu(module, unit, &bias);
    return unit;
}

/// What the loader knows of its modules, without a symbol library.
void Symbols::locateWithLoader(std::uint64_t address, Location& location) {
    Dl_info information;
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* pointer = reinterpret_cast<const void*>(address);
    if (::dladdr(pointer, &information) == 0 || !information.dli_fname) return;
    location.hasModule = true;
    location.image = modulePathAt(pointer);
    location.module = location.image.substr(location.image.rfind('/') + 1);
    location.base = reinterpret_cast<std::uint64_t>(information.dli_fbase);
    if (!information.dli_sname) return;
    constexpr int kExported = 4;
    location.symbol = information.dli_sname;
    location.symbolStart = reinterpret_cast<std::uint64_t>(information.dli_saddr);
    location.symbolType = kExported;
}

bool Symbols::unwind(PosixContext& context, void* process, ReadMemory reader) {
    context.frames.count = 0;
    refresh();
    _unwinding = {_libdw, &context, process, reader};
    // Its result is the same for the end of the stack and for a frame that cannot be unwound.
    if (_dwfl) _libdw->dwfl_getthread_frames(_dwfl, processId(), addFrame, &_unwinding);
    return context.frames.count > 0;
}

int Symbols::addFrame(Dwfl_Frame* frame, void* argument) {
    constexpr int kGoOn = 0;
    constexpr int kStop = 1;
    const auto& unwinding = *static_cast<Unwinding*>(argument);
    FrameList& frames = unwinding.context->frames;
    std::uint64_t counter = 0;
    if (!unwinding.libdw->dwfl_frame_pc(frame, &counter, nullptr) || counter == 0) return kStop;
    if (frames.count == frames.capacity) return kStop;
    frames.counters[frames.count++] = counter;
    return kGoOn;
}

bool Symbols::readWord(Dwfl*, std::uint64_t address, std::uint64_t* word, void* self) {
    const Unwinding& unwinding = static_cast<Symbols*>(self)->_unwinding;
    unsigned long count = 0;
    return unwinding.reader(unwinding.process, address, word, sizeof *word, &count) &&
           count == sizeof *word;
}

bool Symbols::setRegisters(Dwfl_Thread* thread, void* self) {
    const Unwinding& unwinding = static_cast<Symbols*>(self)->_unwinding;
    const DwarfRegisters& registers = unwinding.context->registers;
    unwinding.libdw->dwfl_thread_state_register_pc(thread, registers[kProgramCounterRegister]);
    return unwinding.libdw->dwfl_thread_state_registers(
        thread, 0, static_cast<unsigned>(registers.size()), registers.data());
}

/// The entry points over libdw. What needs lines is missing when that library is.
class PosixDebugHelp : public DebugHelp {
public:
    bool resolve(const char* entryPoint) override {
        return libdw::entryPoints() || std::strcmp(entryPoint, "SymGetLineFromAddr64") != 0;
    }

    bool symInitialize(void*, unsigned long processId, const char* searchPath) override {
        _searchPath = searchPath ? searchPath : "";
        if (processId != static_cast<unsigned long>(::getpid())) {
            _foreign = std::make_unique<Symbols>(static_cast<pid_t>(processId));
        }
        const std::lock_guard<std::mutex> lock(symbols().mutex());
        return symbols().refresh();
    }
    void symCleanup(void*) override { _foreign.reset(); }
    std::uint32_t symGetOptions() override { return _options; }
    std::uint32_t symSetOptions(std::uint32_t options) override { return _options = options; }
    bool symGetSearchPath(void*, char* path, std::size_t size) override {
        std::snprintf(path, size, "%s", _searchPath.c_str());
        return true;
    }
    std::uint64_t symLoadModule64(void*, const char*, const char*, std::uint64_t base,
                                  std::uint32_t) override {
        return base;  // they were all found together
    }

    bool symGetSymFromAddr64(void*, std::uint64_t address, SymbolRecord& symbol) override {
        const std::lock_guard<std::mutex> lock(symbols().mutex());
        const Location& location = symbols().locate(address);
        if (location.symbol.empty()) return fail();
        std::snprintf(symbol.name, sizeof symbol.name, "%s", location.symbol.c_str());
        symbol.displacement = address - location.symbolStart;
        return true;
    }
    bool symGetLineFromAddr64(void*, std::uint64_t address, LineRecord& line) override {
        const std::lock_guard<std::mutex> lock(symbols().mutex());
        const Location& location = symbols().locate(address);
        if (location.file.empty()) return fail();
        std::snprintf(line.file, sizeof line.file, "%s", location.file.c_str());
        line.number = location.line;
        return true;
    }
    bool symGetModuleInfo64(void*, std::uint64_t address, ModuleRecord& module) override {
        const std::lock_guard<std::mutex> lock(symbols().mutex());
        const Location location = symbols().locateModule(address);
        if (!location.hasModule) return fail();
        module.symbolType = location.symbolType;
        module.base = location.base;
        std::snprintf(module.name, sizeof module.name, "%s", location.module.c_str());
        std::snprintf(module.loadedImage, sizeof module.loadedImage, "%s", location.image.c_str());
        return true;
    }
    // The names of the one compiler family that this host has are readable already, or mangled in a
    // way that the walker undoes itself.
    void unDecorateSymbolName(const char* name, char* text, std::size_t size,
                              std::uint32_t) override {
        std::snprintf(text, size, "%s", name);
    }

    bool stackWalk64(void* process, void*, StackFrame& frame, StackContext& context,
                     ReadMemory reader) override {
        auto& posix = static_cast<PosixContext&>(context);
        if (!posix.hasFrames) {
            const std::lock_guard<std::mutex> lock(symbols().mutex());
            posix.hasFrames = true;
            symbols().unwind(posix, process, reader);
        }
        const FrameList& frames = posix.frames;
        if (posix.nextFrame == frames.count) return false;
        frame.programCounter = frames.counters[posix.nextFrame++];
        frame.returnAddress = posix.nextFrame < frames.count ? frames.counters[posix.nextFrame] : 0;
        return true;
    }

private:
    static bool fail() {
        errno = ENOENT;
        return false;
    }
    Symbols& symbols() { return _foreign ? *_foreign : Symbols::own(); }

    std::unique_ptr<Symbols> _foreign;
    std::string _searchPath;
    std::uint32_t _options = 0;
};

}  // namespace

std::unique_ptr<DebugHelp> loadDebugHelpLibrary(const std::string& path) {
    if (path.find_first_of("\\/") != std::string::npos) return nullptr;  // another system's library
    return std::make_unique<PosixDebugHelp>();
}

}  // namespace za::os
