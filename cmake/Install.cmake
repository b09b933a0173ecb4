# SPDX-License-Identifier: Apache-2.0
# What is installed, under any prefix, and found again after the tree was moved. Components: runtime (what a
# program needs to run), development (what building one needs), tools (the programs).
include(CMakePackageConfigHelpers)

set(VELO_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velo)
set(VELO_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS velo modem EXPORT velo-targets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS mox_host diag_host EXPORT velo-targets
    LIBRARY DESTINATION ${VELO_PRIVATE_LIBDIR} COMPONENT runtime NAMELINK_SKIP)
install(TARGETS velo_command velo_modem_command RUNTIME COMPONENT tools)
install(DIRECTORY inc/velo inc/velo-modem TYPE INCLUDE COMPONENT development)

target_include_directories(velo INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(EXPORT velo-targets NAMESPACE velo:: DESTINATION ${VELO_CONFIG_DIR} COMPONENT development)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velo-config-version.cmake
    COMPATIBILITY SameMajorVersion)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/velo-config.cmake CONTENT [[
# velo::velo is the library; velo::modem, which brings it along, the simulated modem for tests.
include(${CMAKE_CURRENT_LIST_DIR}/velo-targets.cmake)
]] @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/velo-config.cmake ${CMAKE_BINARY_DIR}/velo-config-version.cmake
    DESTINATION ${VELO_CONFIG_DIR} COMPONENT development)

# pkg-config finds the prefix from where its file lies.
file(RELATIVE_PATH VELO_PREFIX_FROM_PC
    ${CMAKE_INSTALL_PREFIX}/${VELO_PKGCONFIG_DIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VELO_PREFIX_FROM_PC ${VELO_PREFIX_FROM_PC})
foreach(name velo velo-modem)
    configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${name}.pc
        DESTINATION ${VELO_PKGCONFIG_DIR} COMPONENT development)
endforeach()
