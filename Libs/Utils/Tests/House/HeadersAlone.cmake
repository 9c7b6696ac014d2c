# za_add_header_check(TARGET)
#
# An object library that compiles when every public header compiles alone: one source per header,
# with the header included first, and twice.
function(za_add_header_check target)
  set(libraries "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../..")
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${libraries}/Utils"
    "${libraries}/Utils/zaUtils/*.h")
  file(GLOB product_headers CONFIGURE_DEPENDS RELATIVE "${libraries}/Product"
    "${libraries}/Product/zaProduct/*.h")
  list(APPEND headers ${product_headers})
  list(FILTER headers EXCLUDE REGEX "^zaUtils/Os/")

  set(sources)
  foreach(header IN LISTS headers)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}/${header}.cpp")
    file(CONFIGURE OUTPUT "${source}" @ONLY
      CONTENT "#include \"@header@\"\n#include \"@header@\"\n")
    list(APPEND sources "${source}")
  endforeach()

  add_library(${target} OBJECT ${sources})
  target_link_libraries(${target} PRIVATE
    zaProduct::zaProduct zaUtils::zaUtils zaBuildOptions)
endfunction()
