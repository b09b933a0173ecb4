# SPDX-License-Identifier: Apache-2.0
# What makes a fault in native code harder to use; the test "Hardening" reads it back from the binaries.
# The sanitizers replace these checks by their own.
if(VELO_SANITIZE)
    return()
endif()

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# The last two guard indirect jumps and return addresses, each on machines of its own; elsewhere clang
# takes them with a warning.
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(FLAG -fstack-protector-strong -fstack-clash-protection -fcf-protection
        -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "HAS${FLAG}" HAS_FLAG)
    check_cxx_compiler_flag(${FLAG} ${HAS_FLAG})
    if(${HAS_FLAG})
        add_compile_options(${FLAG})
    endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

# Checked string functions need the optimiser.
set(VELO_FORTIFIED $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options("$<${VELO_FORTIFIED}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
