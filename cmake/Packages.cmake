# Debian packages, one for each component that the install rules name: `make package`, or cpack in
# a build folder that is configured for /usr, as the preset "package" does.
find_package(Python3 QUIET COMPONENTS Interpreter)
if(NOT GZIP_PROGRAM OR NOT Python3_FOUND)
    message(STATUS "Debian packages: no, they need gzip and python3")
    return()
endif()

set(QUOLSDK_PACKAGE_CONTACT "The quolsdk maintainers <maintainers@quolsdk.invalid>" CACHE STRING
    "Who stands in the packages as their maintainer: NAME <ADDRESS>")

# component -> package
set(QUOLSDK_PACKAGE_runtime ${QUOLSDK_RUNTIME_PACKAGE})
set(QUOLSDK_PACKAGE_development libquolsdk-dev)
set(QUOLSDK_PACKAGE_preview_qt quolsdk-preview-qt)
set(QUOLSDK_PACKAGE_preview_gtk quolsdk-preview-gtk)
set(QUOLSDK_PACKAGE_examples quolsdk-examples)
set(_components runtime development)
foreach(_toolkit qt gtk)
    if(TARGET quolsdk_${_toolkit})
        list(APPEND _components preview_${_toolkit})
    endif()
endforeach()
if(QUOLSDK_BUILD_EXAMPLES)
    list(APPEND _components examples)
endif()

# The packages of one system must not pass for those of another: they depend on other libraries.
# Those of the newer one count as the newer packages.
set(_system "")
if(EXISTS /etc/os-release)
    file(STRINGS /etc/os-release _lines REGEX "^(ID|VERSION_ID)=")
    list(SORT _lines)
    string(REGEX REPLACE "ID=|VERSION_|;|\"" "" _system "${_lines}")
    string(REPLACE "debian" "deb" _system "${_system}")
    if(NOT _lines MATCHES "VERSION_ID")
        set(_system "")
    endif()
    unset(_lines)
endif()
set(QUOLSDK_PACKAGE_VERSION ${PROJECT_VERSION})
if(_system)
    string(APPEND QUOLSDK_PACKAGE_VERSION "+${_system}")
endif()
unset(_system)

# ------------------------------------------------------------ what the files of a package go with
# In the packages only: an installation by hand leaves EXCLUDE_FROM_ALL out.
set(_made ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${_made})
execute_process(
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/packaging/changelog.py
        ${PROJECT_SOURCE_DIR}/docs/changes.md ${QUOLSDK_PACKAGE_VERSION}
        ${QUOLSDK_PACKAGE_CONTACT}
    OUTPUT_FILE ${_made}/changelog
    RESULT_VARIABLE _failed)
if(_failed)
    message(FATAL_ERROR "docs/changes.md is no change list that a package could carry")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/docs/changes.md ${PROJECT_SOURCE_DIR}/packaging/changelog.py)
execute_process(COMMAND ${GZIP_PROGRAM} -9nkf ${_made}/changelog COMMAND_ERROR_IS_FATAL ANY)

foreach(_component IN LISTS _components)
    set(_package ${QUOLSDK_PACKAGE_${_component}})
    set(_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${_package})
    install(FILES packaging/copyright DESTINATION ${_doc}
        COMPONENT ${_component} EXCLUDE_FROM_ALL)
    install(FILES ${_made}/changelog.gz DESTINATION ${_doc}
        COMPONENT ${_component} EXCLUDE_FROM_ALL)
    if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${_component}.lintian-overrides)
        configure_file(packaging/${_component}.lintian-overrides ${_made}/${_package} @ONLY)
        install(FILES ${_made}/${_package}
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
            COMPONENT ${_component} EXCLUDE_FROM_ALL)
    endif()
endforeach()
# The notices of what was compiled into the library.
find_file(QUOLSDK_RAPIDJSON_COPYRIGHT copyright
    PATHS /usr/share/doc/rapidjson-dev /usr/share/doc/rapidjson NO_DEFAULT_PATH)
mark_as_advanced(QUOLSDK_RAPIDJSON_COPYRIGHT)
if(QUOLSDK_RAPIDJSON_COPYRIGHT)
    install(FILES ${QUOLSDK_RAPIDJSON_COPYRIGHT} DESTINATION ${QUOLSDK_RUNTIME_DOC_DIR}
        RENAME RapidJSON.copyright COMPONENT runtime EXCLUDE_FROM_ALL)
endif()

# --------------------------------------------------------------------------------------- packages
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quolsdk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${QUOLSDK_PACKAGE_CONTACT})
set(CPACK_PACKAGE_VENDOR ${PROJECT_NAME})
# Its own default, so that each package's own first line is the first.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${_components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_PACKAGE_VERSION ${QUOLSDK_PACKAGE_VERSION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${PROJECT_NAME})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# What one package needs of the others is of the same build.
set(_same "(= ${QUOLSDK_PACKAGE_VERSION})")
foreach(_component IN LISTS _components)
    string(TOUPPER ${_component} _upper)
    set(CPACK_DEBIAN_${_upper}_PACKAGE_NAME ${QUOLSDK_PACKAGE_${_component}})
    set(CPACK_DEBIAN_${_upper}_PACKAGE_SECTION video)
    if(NOT _component STREQUAL "runtime")
        set(CPACK_DEBIAN_${_upper}_PACKAGE_DEPENDS "${QUOLSDK_RUNTIME_PACKAGE} ${_same}")
    endif()
endforeach()
unset(_upper)

# Found at run time and not by the linker: OpenGL without a window and its drivers, without which
# the main processor draws, and a font for titles that name none.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libegl1, libgl1-mesa-dri, fonts-dejavu-core")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS
    "${QUOLSDK_PACKAGE_preview_qt}, ${QUOLSDK_PACKAGE_preview_gtk}, ${QUOLSDK_PACKAGE_examples}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "pkg-config, cmake, ${QUOLSDK_PACKAGE_examples}")

# The programs with a preview start without its plug-in, and show it when they have it.
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_RECOMMENDS
    "${QUOLSDK_PACKAGE_preview_qt}, ${QUOLSDK_PACKAGE_preview_gtk}")

# What a program that is linked with the library has to ask for, as the CMake package does; and the
# loader's cache. The ThorVG that lies in the library's own folder is nobody else's.
math(EXPR _next "${PROJECT_VERSION_MINOR} + 1")
file(WRITE ${_made}/shlibs
    "libquolsdk ${PROJECT_VERSION_MAJOR} ${QUOLSDK_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION}), \
${QUOLSDK_RUNTIME_PACKAGE} (<< ${PROJECT_VERSION_MAJOR}.${_next}~)\n")
file(WRITE ${_made}/triggers "activate-noawait ldconfig\n")
unset(_next)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${_made}/shlibs;${_made}/triggers")

# Where dpkg-shlibdeps finds what is in no package yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
if(QUOLSDK_THORVG STREQUAL "private")
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${QUOLSDK_THORVG_PREFIX}/lib)
endif()

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "SDK for live video production - shared library
libquolsdk is a library for live video production. A host builds a small
graph from it: sources (media files, network streams, live inputs, test
signals) make pictures and sound, mixers and switchers make one of many, a
character generator and Lottie templates draw titles, and sinks record,
stream, send or show what comes of it.
.
This package has the shared library.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "SDK for live video production - development files
libquolsdk is a library for live video production: playing, mixing,
switching, titles, recording and streaming.
.
This package has what a host is built with: the headers of the C interface
and of the C++ classes, the link for the linker, and the files by which
pkg-config and CMake find the library.")
set(CPACK_COMPONENT_PREVIEW_QT_DESCRIPTION "SDK for live video production - preview in Qt widgets
libquolsdk is a library for live video production.
.
This package has the plug-in by which a preview of the library draws into a
widget of a host that is made with Qt 6.")
set(CPACK_COMPONENT_PREVIEW_GTK_DESCRIPTION "SDK for live video production - preview in GTK widgets
libquolsdk is a library for live video production.
.
This package has the plug-in by which a preview of the library draws into a
widget of a host that is made with GTK 4.")
set(CPACK_COMPONENT_EXAMPLES_DESCRIPTION "SDK for live video production - example programs
libquolsdk is a library for live video production.
.
This package has small programs that use it, with their sources: a player,
mixers, titles, a converter, a replay, streaming in and out, and a vision
mixer for the keyboard.")
unset(_same)
unset(_made)
unset(_components)
include(CPack)
