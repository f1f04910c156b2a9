# What a host finds after installation: the library, its headers, and two ways to be found,
# pkg-config (quolsdk.pc) and find_package(quolsdk), both independent of where it was installed.
#
# Each piece belongs to the component of the package that brings it: cmake/Packages.cmake.
include(CMakePackageConfigHelpers)

set(QUOLSDK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quolsdk)
set(QUOLSDK_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library looks for what is its own, a ThorVG that comes along and the toolkits' previews, in
# the folder beside it first, wherever it is moved to. In the build folder too: the run path that
# CMake writes to be replaced later ends in an empty entry, which means the working folder.
set_target_properties(quolsdk PROPERTIES
    INSTALL_RPATH "$ORIGIN/quolsdk"
    BUILD_WITH_INSTALL_RPATH ON)
install(TARGETS quolsdk EXPORT quolsdk-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(_headers ${QUOLSDK_PUBLIC_HEADERS})
list(TRANSFORM _headers PREPEND ${PROJECT_SOURCE_DIR}/)
install(FILES ${_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quolsdk COMPONENT development)
unset(_headers)

install(EXPORT quolsdk-targets NAMESPACE quolsdk::
    DESTINATION ${QUOLSDK_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/quolsdk-config.cmake.in
    ${PROJECT_BINARY_DIR}/quolsdk-config.cmake INSTALL_DESTINATION ${QUOLSDK_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quolsdk-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/quolsdk-config.cmake
    ${PROJECT_BINARY_DIR}/quolsdk-config-version.cmake
    DESTINATION ${QUOLSDK_CMAKE_DIR} COMPONENT development)

# quolsdk.pc finds its prefix from its own place, so that an installed tree may be moved.
file(RELATIVE_PATH QUOLSDK_PC_PREFIX
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" QUOLSDK_PC_PREFIX "${QUOLSDK_PC_PREFIX}")
configure_file(cmake/quolsdk.pc.in ${PROJECT_BINARY_DIR}/quolsdk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quolsdk.pc
    DESTINATION ${QUOLSDK_PKGCONFIG_DIR} COMPONENT development)
