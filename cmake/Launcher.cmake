# SPDX-License-Identifier: Apache-2.0
# velo_launcher(VARIABLE NAME): the path that starts the program built under that name: its own, or that of
# a script that starts it in the emulator when it is built for another machine. That script is then the name
# under which the program finds itself, so that it can start itself anew.
function(velo_launcher VARIABLE NAME)
    set(PROGRAM ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${NAME})
    if(CMAKE_CROSSCOMPILING)
        set(LAUNCHER ${CMAKE_BINARY_DIR}/launch/${NAME})
        list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" EMULATOR)
        file(CONFIGURE OUTPUT ${LAUNCHER} CONTENT "#!/bin/sh\nexec '${EMULATOR}' -0 \"$0\" '${PROGRAM}' \"$@\"\n")
        file(CHMOD ${LAUNCHER} FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
        set(PROGRAM ${LAUNCHER})
    endif()
    set(${VARIABLE} ${PROGRAM} PARENT_SCOPE)
endfunction()
