# SPDX-License-Identifier: Apache-2.0
# velo_add_shared(TARGET NAME STATIC MAP LIBRARY...): lib<NAME>.so of all that the static library holds,
# showing what the version script MAP names; linked privately with the libraries. The tests link the static
# library and look inside.
function(velo_add_shared target name static map)
    set(empty ${CMAKE_CURRENT_BINARY_DIR}/empty.cpp)
    file(CONFIGURE OUTPUT ${empty} CONTENT "")
    add_library(${target} SHARED ${empty})
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME ${name} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS ${map})
    target_link_libraries(${target} PRIVATE
        -Wl,--whole-archive $<TARGET_FILE:${static}> -Wl,--no-whole-archive ${ARGN})
    add_dependencies(${target} ${static})
    target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/inc>)
    target_compile_features(${target} INTERFACE cxx_std_17)
    target_link_options(${target} PRIVATE -Wl,--version-script=${map})
    # The sanitizers' own symbols come with the program.
    if(NOT VELO_SANITIZE)
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
endfunction()
