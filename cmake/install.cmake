# SPDX-License-Identifier: MIT
# velmor_install(TARGET): install a library made by velmor_add_library(), with its header, the manual pages, the CMake
# package, the pkg-config file and the documents, as the only libvelmor of the prefix. Components: velmor-runtime,
# velmor-development, velmor-documentation, and velmor-debug, which is installed only on request.
function(velmor_install target)
    include(CMakePackageConfigHelpers)
    include(GNUInstallDirs)
    get_target_property(version ${target} VERSION)
    get_target_property(type ${target} TYPE)
    set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velmor)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/${target}-package)

    install(TARGETS ${target} EXPORT velmorTargets
        LIBRARY COMPONENT velmor-runtime NAMELINK_COMPONENT velmor-development
        ARCHIVE COMPONENT velmor-development)
    install(FILES ${velmor_SOURCE_DIR}/include/velmor.h TYPE INCLUDE COMPONENT velmor-development)
    velmor_make_manual(${target}_manual ${made}/man)
    install(EXPORT velmorTargets NAMESPACE velmor:: DESTINATION ${cmake_dir} COMPONENT velmor-development)
    configure_package_config_file(${velmor_SOURCE_DIR}/cmake/velmorConfig.cmake.in ${made}/velmorConfig.cmake
        INSTALL_DESTINATION ${cmake_dir} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
    write_basic_package_version_file(${made}/velmorConfigVersion.cmake
        VERSION ${version} COMPATIBILITY SameMajorVersion)
    install(FILES ${made}/velmorConfig.cmake ${made}/velmorConfigVersion.cmake
        DESTINATION ${cmake_dir} COMPONENT velmor-development)

    # The installed tree may be moved, so the paths are relative to the file itself.
    file(RELATIVE_PATH includes ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    set(static_needs)
    if(type STREQUAL STATIC_LIBRARY)
        set(static_needs " -lstdc++")
    endif()
    configure_file(${velmor_SOURCE_DIR}/cmake/velmor.pc.in ${made}/velmor.pc @ONLY)
    install(FILES ${made}/velmor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT velmor-development)

    configure_file(${velmor_SOURCE_DIR}/cmake/velmor.spdx.json.in ${made}/velmor.spdx.json @ONLY)
    install(FILES ${made}/velmor.spdx.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sbom COMPONENT velmor-documentation)
    foreach(document LICENSE README.md CHANGELOG.md docs examples)
        set(files ${velmor_SOURCE_DIR}/${document})
        if(IS_DIRECTORY ${files})
            install(DIRECTORY ${files} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/velmor COMPONENT velmor-documentation
                FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.json" PATTERN "*.c")
        else()
            install(FILES ${files} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/velmor COMPONENT velmor-documentation)
        endif()
    endforeach()

    if(type STREQUAL SHARED_LIBRARY AND CMAKE_OBJCOPY AND CMAKE_READELF)
        install(CODE "set(library \"$<TARGET_FILE:${target}>\")
            set(objcopy \"${CMAKE_OBJCOPY}\")
            set(readelf \"${CMAKE_READELF}\")"
            COMPONENT velmor-debug EXCLUDE_FROM_ALL)
        install(SCRIPT ${velmor_SOURCE_DIR}/cmake/install_debug.cmake COMPONENT velmor-debug EXCLUDE_FROM_ALL)
    endif()
endfunction()

# velmor_make_manual(TARGET DIRECTORY): make the manual pages from the header, and install them with it.
function(velmor_make_manual target directory)
    find_package(Python3 3.9 QUIET COMPONENTS Interpreter)
    if(NOT Python3_Interpreter_FOUND)
        message(STATUS "The manual pages are left out, because python3 (3.9 or later) is missing.")
        return()
    endif()
    set(script ${velmor_SOURCE_DIR}/man/pages.py)
    set(sources ${velmor_SOURCE_DIR}/include/velmor.h ${velmor_SOURCE_DIR}/CHANGELOG.md)
    add_custom_command(OUTPUT ${directory}/man7/velmor.7
        COMMAND ${Python3_EXECUTABLE} ${script} ${sources} ${directory}
        DEPENDS ${script} ${sources} ${velmor_SOURCE_DIR}/man/velmor.7.in
        COMMENT "Making the manual pages"
        VERBATIM)
    add_custom_target(${target} ALL DEPENDS ${directory}/man7/velmor.7)
    install(DIRECTORY ${directory}/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT velmor-development)
endfunction()
