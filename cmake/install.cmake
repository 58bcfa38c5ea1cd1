# SPDX-License-Identifier: MIT OR GPL-2.0
# `cmake --install`: the libraries, their headers and the package files for find_package(ifc), with the targets
# ifc::ifc_util and ifc::ifc_ruleset.
include(CMakePackageConfigHelpers)

set(ifc_header_folder ${CMAKE_INSTALL_INCLUDEDIR}/ifc-rule-layer)
set(ifc_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ifc)

install(TARGETS ifc_util ifc_ruleset ifc_headers EXPORT ifc_targets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ifc/ifc_glb.h ifc/ifc_regs.h ifc/ifc_util.h DESTINATION ${ifc_header_folder}/ifc)
install(FILES ruleset/ruleset.h DESTINATION ${ifc_header_folder}/ruleset)
install(DIRECTORY include/orva_hook DESTINATION ${ifc_header_folder} FILES_MATCHING PATTERN "*.h")
# The platform header that the library was built with. The user provides its functions.
install(FILES ${IFC_PLATFORM_DIR}/ifc_platform.h DESTINATION ${ifc_header_folder})

install(EXPORT ifc_targets NAMESPACE ifc:: FILE ifc-targets.cmake DESTINATION ${ifc_package_folder})
configure_package_config_file(cmake/ifc-config.cmake.in ${PROJECT_BINARY_DIR}/ifc-config.cmake
    INSTALL_DESTINATION ${ifc_package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ifc-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ifc-config.cmake ${PROJECT_BINARY_DIR}/ifc-config-version.cmake
    DESTINATION ${ifc_package_folder})
