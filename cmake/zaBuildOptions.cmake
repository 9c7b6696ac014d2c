# How every target of this project is compiled. Nothing here reaches the users of the library.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Programs and the libraries that they load lie together, so that both hosts find them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

add_library(zaBuildOptions INTERFACE)
target_compile_options(zaBuildOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
  $<$<BOOL:${ZAUTILS_WARNINGS_AS_ERRORS}>:-Werror>
  -fstack-protector-strong)
target_link_options(zaBuildOptions INTERFACE -fstack-protector-strong)
target_compile_definitions(zaBuildOptions INTERFACE _GLIBCXX_ASSERTIONS)

if(CMAKE_SYSTEM_NAME STREQUAL "Windows")
  # DWARF 4 is the newest that the symbol library of the test environment reads. Version 10 of the
  # system interface is the oldest that the product runs on.
  target_compile_options(zaBuildOptions INTERFACE -gdwarf-4)
  target_compile_definitions(zaBuildOptions INTERFACE _WIN32_WINNT=0x0A00)
endif()

if(ZAUTILS_SANITIZE)
  target_compile_options(zaBuildOptions INTERFACE
    -fsanitize=${ZAUTILS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zaBuildOptions INTERFACE -fsanitize=${ZAUTILS_SANITIZE})
endif()
