# SPDX-License-Identifier: Apache-2.0
# Run by CPack when the components lie in their folders: what Debian wants in a package beside what every
# installation has.
foreach(component runtime development tools)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr)
    set(documents ${root}/share/doc/${package})
    file(MAKE_DIRECTORY ${documents})
    file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/copyright ${documents}/copyright)
    file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/changelog ${documents}/changelog.Debian)
    file(GLOB manuals ${root}/share/man/man1/*.1)
    execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND gzip -9nf ${documents}/changelog.Debian ${manuals})
    if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/${package}.lintian-overrides)
        file(MAKE_DIRECTORY ${root}/share/lintian/overrides)
        file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/${package}.lintian-overrides
            ${root}/share/lintian/overrides/${package})
    endif()
    # Whatever the umask of who builds.
    execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND chmod -R u=rwX,go=rX ${root})
    file(GLOB_RECURSE libraries ${root}/lib/*.so.*)
    if(libraries)
        execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND chmod 0644 ${libraries})
    endif()
endforeach()
