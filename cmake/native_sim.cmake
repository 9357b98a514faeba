# SPDX-License-Identifier: MIT
# The virtual device, built for the build machine and without sanitizers. Cross, instrumented and optimised builds of
# the library share it.
include(ExternalProject)
set(directory ${VELMOR_NATIVE_SIM})
ExternalProject_Add(native_sim
    SOURCE_DIR ${PROJECT_SOURCE_DIR}/sim
    BINARY_DIR ${directory}
    CMAKE_ARGS -DCMAKE_BUILD_TYPE=Debug -DCMAKE_UNITY_BUILD=ON
               -DCMAKE_COMPILE_WARNING_AS_ERROR=${CMAKE_COMPILE_WARNING_AS_ERROR}
    BUILD_ALWAYS ON
    BUILD_BYPRODUCTS ${directory}/velmor-sim
    INSTALL_COMMAND "")
add_executable(velmor-sim IMPORTED GLOBAL)
set_target_properties(velmor-sim PROPERTIES IMPORTED_LOCATION ${directory}/velmor-sim)
add_dependencies(velmor-sim native_sim)
