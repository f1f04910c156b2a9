# Headers that are read by the compiler once, for the compilers that this has been tried with.
if(PROJECT_IS_TOP_LEVEL)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        set(QUOLSDK_PRECOMPILE ON)
        # Without the time in it, what a compiler cache has of it stays good.
        list(APPEND CMAKE_CXX_COMPILE_OPTIONS_CREATE_PCH -Xclang -fno-pch-timestamp)
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        set(QUOLSDK_PRECOMPILE ON)
        # As a compiler cache needs it.
        list(APPEND CMAKE_CXX_COMPILE_OPTIONS_USE_PCH -fpch-preprocess)
    endif()
endif()
