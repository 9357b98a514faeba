# SPDX-License-Identifier: MIT
# Installs the debug information of `library` where debuggers look for it: by build id.
execute_process(COMMAND "${readelf}" --notes "${library}" OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
    message(FATAL_ERROR "${library} has no build id")
endif()
set(directory "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/${CMAKE_MATCH_1}")
set(file "${directory}/${CMAKE_MATCH_2}.debug")
file(MAKE_DIRECTORY "${directory}")
execute_process(COMMAND "${objcopy}" --only-keep-debug "${library}" "${file}" COMMAND_ERROR_IS_FATAL ANY)
message(STATUS "Installing: ${file}")
