#pragma once

#include <elf.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

// The part of elfutils' libdw that is used, declared here because the library is loaded at run time
// and its headers need not be there. The names are the library's.

namespace za::os::libdw {

struct Dwfl;
struct Dwfl_Module;
struct Dwfl_Thread;
struct Dwfl_Frame;
struct Dwarf;
struct Dwarf_Die;
struct Dwarf_Line;
struct Elf;

struct Dwfl_Callbacks {
    int (*find_elf)(Dwfl_Module*, void**, const char*, std::uint64_t, char**, Elf**);
    int (*find_debuginfo)(Dwfl_Module*, void**, const char*, std::uint64_t, const char*,
                          const char*, Elf64_Word, char**);
    int (*section_address)(Dwfl_Module*, void**, const char*, std::uint64_t, const char*,
                           Elf64_Word, const Elf64_Shdr*, std::uint64_t*);
    char** debuginfo_path;
};

struct Dwfl_Thread_Callbacks {
    pid_t (*next_thread)(Dwfl*, void*, void**);
    bool (*get_thread)(Dwfl*, pid_t, void*, void**);
    bool (*memory_read)(Dwfl*, std::uint64_t, std::uint64_t*, void*);
    bool (*set_initial_registers)(Dwfl_Thread*, void*);
    void (*detach)(Dwfl*, void*);
    void (*thread_detach)(Dwfl_Thread*, void*);
};

struct EntryPoints {
    decltype(Dwfl_Callbacks::find_elf) dwfl_linux_proc_find_elf;
    Dwfl* (*dwfl_begin)(const Dwfl_Callbacks*);
    void (*dwfl_end)(Dwfl*);
    void (*dwfl_report_begin)(Dwfl*);
    int (*dwfl_report_end)(Dwfl*, int (*)(Dwfl_Module*, void*, const char*, std::uint64_t, void*),
                           void*);
    int (*dwfl_linux_proc_report)(Dwfl*, pid_t);
    Dwfl_Module* (*dwfl_addrmodule)(Dwfl*, std::uint64_t);
    const char* (*dwfl_module_info)(Dwfl_Module*, void***, std::uint64_t*, std::uint64_t*,
                                    std::uint64_t*, std::uint64_t*, const char**, const char**);
    const char* (*dwfl_module_addrinfo)(Dwfl_Module*, std::uint64_t, std::uint64_t*, Elf64_Sym*,
                                        Elf64_Word*, Elf**, std::uint64_t*);
    Dwarf* (*dwfl_module_getdwarf)(Dwfl_Module*, std::uint64_t*);
    Dwarf_Die* (*dwfl_module_addrdie)(Dwfl_Module*, std::uint64_t, std::uint64_t*);
    Dwarf_Die* (*dwfl_module_nextcu)(Dwfl_Module*, Dwarf_Die*, std::uint64_t*);
    int (*dwarf_haspc)(Dwarf_Die*, std::uint64_t);
    Dwarf_Line* (*dwarf_getsrc_die)(Dwarf_Die*, std::uint64_t);
    int (*dwarf_lineno)(Dwarf_Line*, int*);
    const char* (*dwarf_linesrc)(Dwarf_Line*, std::uint64_t*, std::uint64_t*);
    bool (*dwfl_attach_state)(Dwfl*, Elf*, pid_t, const Dwfl_Thread_Callbacks*, void*);
    int (*dwfl_getthread_frames)(Dwfl*, pid_t, int (*)(Dwfl_Frame*, void*), void*);
    bool (*dwfl_frame_pc)(Dwfl_Frame*, std::uint64_t*, bool*);
    bool (*dwfl_thread_state_registers)(Dwfl_Thread*, int, unsigned, const std::uint64_t*);
    void (*dwfl_thread_state_register_pc)(Dwfl_Thread*, std::uint64_t);
};

/// The entry points of the library, loaded by the first call and never unloaded; null when the
/// library or one of them is missing.
const EntryPoints* entryPoints();

}  // namespace za::os::libdw
