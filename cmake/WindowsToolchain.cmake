# Cross-compiles for 64-bit Windows with mingw-w64 and runs the results under Wine.
# `script/setup --windows` installs what this file expects.
#
# An outside project uses it as well: prefixes named by CMAKE_PREFIX_PATH and CMAKE_FIND_ROOT_PATH on
# the command line are searched next to the dependencies below.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The posix variant is the one with std::thread and std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Sections that begin on a page of the file are mapped by Wine; others it reads whole, debugging
# information and all, whenever a program starts.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--file-alignment,0x1000)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,--file-alignment,0x1000)

get_filename_component(za_toolchain_root "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)

# A path of CMAKE_PREFIX_PATH counts as it stands only when it lies below one of the roots.
set(za_environment_prefixes "$ENV{CMAKE_PREFIX_PATH}")
string(REPLACE ":" ";" za_environment_prefixes "${za_environment_prefixes}")
list(APPEND CMAKE_FIND_ROOT_PATH
  ${CMAKE_PREFIX_PATH}
  ${za_environment_prefixes}
  "${za_toolchain_root}/build/deps/windows"
  /usr/x86_64-w64-mingw32)
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)

# Libraries and headers of the build machine must never be found. Programs are those of the build
# machine, so their search is left alone.
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${za_toolchain_root}/cmake/run-under-wine")
