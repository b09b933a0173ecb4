# SPDX-License-Identifier: Apache-2.0
# Debian's packages, one for each component of what is installed: libvelo1, libvelo-dev, velo-tools. They are
# made of a build that was configured with the prefix /usr; script/package does all of it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "libvelo maintainers <maintainers@libvelo.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/Finish.cmake)

# Each package says in its first line what it is; CPack would put the project's before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(WHAT_IT_IS "libvelo manages the data profiles of a phone's modem: it finds, adapts or
creates the right profile for a data call, an emergency call or the LTE attach,
and follows what the modem does.")
set(SAME_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(RUNTIME_PACKAGE libvelo${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "modem data profiles for Android - library
${WHAT_IT_IS}

This package holds the library, and the simulated modem that stands in for a
device's modem on a workstation.")
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/debian/shlibs CONTENT
"libvelo @PROJECT_VERSION_MAJOR@ @RUNTIME_PACKAGE@ (>= @PROJECT_VERSION_MAJOR@.@PROJECT_VERSION_MINOR@)
libvelo-modem @PROJECT_VERSION_MAJOR@ @RUNTIME_PACKAGE@ (>= @PROJECT_VERSION_MAJOR@.@PROJECT_VERSION_MINOR@)
" @ONLY)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/debian/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${CMAKE_BINARY_DIR}/debian/shlibs ${CMAKE_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelo-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${RUNTIME_PACKAGE} ${SAME_VERSION}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "modem data profiles for Android - development
${WHAT_IT_IS}

This package holds what building a program needs, for the library and for the
simulated modem that tests embed: headers, CMake package, pkg-config files.")

# The programs use the messaging client, whose interface is not kept from version to version.
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME velo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${RUNTIME_PACKAGE} ${SAME_VERSION}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS mobile-broadband-provider-info)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "modem data profiles for Android - programs
velo drives libvelo from a shell, a script or a test: it lists and changes the
data profiles of a modem, and brings up SIM cards. velo-modem is a simulated
modem that keeps profiles, answers, restarts and, when it is told to,
misbehaves.")

include(CPack)
