# Installs the build, then configures, builds and runs the project in this folder against it.
#
#   cmake -DBUILD_DIR=... -DCONFIG=... -DSCRATCH_DIR=... -DGENERATOR=... -DCXX_COMPILER=...
#         -DPRODUCT_NAME=... [-DTOOLCHAIN_FILE=...] -P package_test.cmake

function(run_step)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "'${ARGV}' failed with ${status}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

set(prefix "${SCRATCH_DIR}/prefix")
set(work "${SCRATCH_DIR}/build")
file(REMOVE_RECURSE "${SCRATCH_DIR}")

run_step("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${prefix}")

if(NOT EXISTS "${prefix}/include/zaUtils/Logging/zaLog.h")
  message(FATAL_ERROR "The public headers are not installed")
endif()
foreach(private Os Encoding/Internal)
  if(EXISTS "${prefix}/include/zaUtils/${private}")
    message(FATAL_ERROR "The private headers of ${private}/ are installed")
  endif()
endforeach()

if(TOOLCHAIN_FILE)
  set(compiler "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN_FILE}")
else()
  set(compiler "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}")
endif()
run_step("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${work}" -G "${GENERATOR}"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${CONFIG}" "${compiler}")
run_step("${CMAKE_COMMAND}" --build "${work}")
run_step("${CMAKE_COMMAND}" --build "${work}" --target run)

foreach(expected "hello 1" "payload 42" "product '${PRODUCT_NAME}'")
  if(NOT output MATCHES "${expected}")
    message(FATAL_ERROR "Expected '${expected}' in the output of the program:\n${output}")
  endif()
endforeach()
