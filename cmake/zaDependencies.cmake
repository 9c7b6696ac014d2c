# Third-party libraries, the same imported targets on both hosts.

# Header-only libraries: found by a header, because their package files are not there for every host.
function(za_find_header_library target header)
  if(TARGET ${target})
    return()
  endif()
  string(MAKE_C_IDENTIFIER "ZAUTILS_${target}_INCLUDE_DIR" variable)
  find_path(${variable} "${header}" REQUIRED)
  mark_as_advanced(${variable})
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${${variable}}")
endfunction()

# The thread sanitizer sees the hand-overs inside oneTBB only when oneTBB is built with it, too.
if(ZAUTILS_SANITIZE MATCHES "thread")
  find_package(TBB CONFIG QUIET COMPONENTS tbb tbbmalloc
    PATHS "${CMAKE_CURRENT_LIST_DIR}/../build/deps/tsan" NO_DEFAULT_PATH)
  if(NOT TBB_FOUND)
    message(WARNING "No instrumented oneTBB, expect false reports: run script/setup --tsan")
  endif()
endif()

# Boost's headers appear in our public headers; the rest is for the library alone.
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(TBB CONFIG REQUIRED COMPONENTS tbb tbbmalloc)
find_package(zstd CONFIG REQUIRED)
if(NOT TARGET zstd::libzstd)
  add_library(zstd::libzstd INTERFACE IMPORTED GLOBAL)
  target_link_libraries(zstd::libzstd INTERFACE zstd::libzstd_shared)
endif()

if(ZAUTILS_BUILD_TOOLS OR ZAUTILS_BUILD_TESTS)
  za_find_header_library(CLI11::CLI11 CLI/CLI.hpp)
  za_find_header_library(nlohmann_json::nlohmann_json nlohmann/json.hpp)
  za_find_header_library(stb::stb stb/stb_image.h)
  find_package(JPEG REQUIRED)
endif()
if(ZAUTILS_BUILD_TESTS)
  find_package(GTest CONFIG REQUIRED)
endif()
