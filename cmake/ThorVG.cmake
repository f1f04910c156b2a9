# ThorVG draws Lottie templates. It is used where the system has it, and from the private prefix
# that scripts/thorvg.sh makes otherwise. A library that uses the latter takes it along wherever it
# is installed; nothing of it is seen by hosts.
#
# Gives quolsdk_lottie, which is empty in a build without, and defines QUOLSDK_HAS_LOTTIE for who
# links it; QUOLSDK_THORVG is "system", "private" or "none".
set(QUOLSDK_WITH_LOTTIE AUTO CACHE STRING "Lottie templates: ON, OFF, or AUTO for where ThorVG is")
set_property(CACHE QUOLSDK_WITH_LOTTIE PROPERTY STRINGS AUTO ON OFF)
# One for all build folders.
set(QUOLSDK_THORVG_PREFIX ${PROJECT_SOURCE_DIR}/build/thorvg CACHE PATH
    "Where ThorVG is when the system has none")
mark_as_advanced(QUOLSDK_THORVG_PREFIX)

# Asked anew every time: one of the two may have come or gone since.
unset(THORVG_FOUND CACHE)
unset(THORVG_PRIVATE_FOUND CACHE)
unset(pkgcfg_lib_THORVG_PRIVATE_thorvg-1 CACHE)

# For the sources that include its header. ThorVG is compiled without type information, which the
# sanitizer's check of the types of objects would ask it for.
function(quolsdk_sources_of_thorvg)
    if(QUOLSDK_SANITIZE MATCHES undefined)
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -fno-sanitize=vptr)
    endif()
endfunction()

set(QUOLSDK_THORVG none)
if(QUOLSDK_WITH_LOTTIE)
    pkg_check_modules(THORVG QUIET IMPORTED_TARGET thorvg-1)
    if(THORVG_FOUND)
        set(QUOLSDK_THORVG system)
    else()
        set(_pkg_config_path "$ENV{PKG_CONFIG_PATH}")
        set(ENV{PKG_CONFIG_PATH} ${QUOLSDK_THORVG_PREFIX}/lib/pkgconfig)
        pkg_check_modules(THORVG_PRIVATE QUIET IMPORTED_TARGET thorvg-1)
        set(ENV{PKG_CONFIG_PATH} "${_pkg_config_path}")
        unset(_pkg_config_path)
        if(THORVG_PRIVATE_FOUND)
            set(QUOLSDK_THORVG private)
        elseif(NOT QUOLSDK_WITH_LOTTIE STREQUAL "AUTO")
            message(FATAL_ERROR "QUOLSDK_WITH_LOTTIE needs ThorVG: make deps")
        endif()
    endif()
endif()

# Where the library finds one that comes along: beside it in the build folder, as after installation.
set(_private ${PROJECT_BINARY_DIR}/quolsdk)
if(CMAKE_LIBRARY_OUTPUT_DIRECTORY)
    set(_private ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/quolsdk)
endif()
file(MAKE_DIRECTORY ${_private})
# One that left must not go on being found.
if(NOT QUOLSDK_THORVG STREQUAL "private")
    file(GLOB _old ${_private}/libthorvg*)
    if(_old)
        file(REMOVE ${_old})
    endif()
    unset(_old)
endif()

add_library(quolsdk_lottie INTERFACE IMPORTED)
if(QUOLSDK_THORVG STREQUAL "none")
    message(STATUS "Lottie templates: no")
    return()
endif()
# ThorVG exports a copy of a function of std::string that nothing can be thrown through. Named first,
# the language's own library is where the loader finds it: in a host in C memory that runs short
# within a text would end the process.
target_link_libraries(quolsdk_lottie INTERFACE stdc++)
if(QUOLSDK_THORVG STREQUAL "system")
    target_link_libraries(quolsdk_lottie INTERFACE PkgConfig::THORVG)
    message(STATUS "Lottie templates: ThorVG ${THORVG_VERSION} of the system")
else()
    target_link_libraries(quolsdk_lottie INTERFACE PkgConfig::THORVG_PRIVATE)
    message(STATUS "Lottie templates: ThorVG ${THORVG_PRIVATE_VERSION} in ${QUOLSDK_THORVG_PREFIX}")
    # In the folder of the library's own, under the names that the loader asks for and without the
    # links for linking: nobody else finds it, and a ThorVG of the system may come beside it.
    file(GLOB _libraries ${QUOLSDK_THORVG_PREFIX}/lib/*.so.*)
    install(FILES ${_libraries} DESTINATION ${CMAKE_INSTALL_LIBDIR}/quolsdk COMPONENT runtime)
    install(FILES ${QUOLSDK_THORVG_PREFIX}/copyright
        DESTINATION ${QUOLSDK_RUNTIME_DOC_DIR} RENAME ThorVG.copyright COMPONENT runtime)
    foreach(_library IN LISTS _libraries)
        get_filename_component(_name ${_library} NAME)
        file(CREATE_LINK ${_library} ${_private}/${_name} SYMBOLIC)
    endforeach()
    unset(_libraries)
endif()
target_compile_definitions(quolsdk_lottie INTERFACE QUOLSDK_HAS_LOTTIE)
