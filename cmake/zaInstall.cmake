# What `cmake --install` delivers: the libraries, their public headers and the package description
# that makes find_package(zaUtils CONFIG) work. Include it from the top once the targets exist.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(zaUtils_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zaUtils")

# Each library under a namespace of its own.
foreach(library zaProduct zaUtils)
  install(TARGETS ${library} EXPORT ${library}Targets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  install(EXPORT ${library}Targets NAMESPACE ${library}:: DESTINATION "${zaUtils_package_dir}")
endforeach()

if(TARGET zaTool)
  set_target_properties(zaTool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

# The operating-system seam stays private, and so does what the rooms keep to themselves.
install(DIRECTORY
    "${PROJECT_SOURCE_DIR}/Libs/Product/zaProduct" "${PROJECT_SOURCE_DIR}/Libs/Utils/zaUtils"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h"
  PATTERN "Os" EXCLUDE
  PATTERN "Internal" EXCLUDE)

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/zaUtilsConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/zaUtilsConfig.cmake"
  INSTALL_DESTINATION "${zaUtils_package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zaUtilsConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/zaUtilsConfig.cmake"
  "${PROJECT_BINARY_DIR}/zaUtilsConfigVersion.cmake"
  DESTINATION "${zaUtils_package_dir}")
