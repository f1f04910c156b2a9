# ccache, when it is there and nobody chose another launcher. Paths are hashed relative to the
# source folder, so that a fresh clone elsewhere finds what an earlier one compiled. The sloppiness
# is what precompiled headers ask for; nothing here has __DATE__ or __TIME__ in it.
find_program(CCACHE_PROGRAM ccache)
mark_as_advanced(CCACHE_PROGRAM)
if(CCACHE_PROGRAM AND PROJECT_IS_TOP_LEVEL)
    foreach(_language C CXX)
        if(NOT CMAKE_${_language}_COMPILER_LAUNCHER)
            set(CMAKE_${_language}_COMPILER_LAUNCHER
                ${CMAKE_COMMAND} -E env
                CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
                CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
                ${CCACHE_PROGRAM})
        endif()
    endforeach()
endif()
