# What the Python module needs: an interpreter with its headers, NumPy, and pybind11. Gives
# QUOLSDK_HAS_PYTHON.
set(QUOLSDK_WITH_PYTHON AUTO CACHE STRING
    "Python module: ON, OFF, or AUTO for where Python, NumPy and pybind11 are")
set_property(CACHE QUOLSDK_WITH_PYTHON PROPERTY STRINGS AUTO ON OFF)

set(QUOLSDK_HAS_PYTHON OFF)
set(_missing "not wanted")
if(QUOLSDK_SANITIZE)
    # An instrumented library wants its runtime in the process before an interpreter that has none.
    set(_missing "the sanitizers' runtimes do not go into a plain interpreter")
elseif(QUOLSDK_WITH_PYTHON)
    set(_missing "")
    # The system's NumPy and headers belong to the system's interpreter, which need not be the first
    # one of the path. Another one is named by -DPython_EXECUTABLE.
    if(NOT Python_EXECUTABLE AND EXISTS /usr/bin/python3)
        set(Python_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Interpreter to make the module for")
    endif()
    find_package(Python 3.9 QUIET COMPONENTS Interpreter Development.Module)
    find_package(pybind11 2.10 QUIET CONFIG)
    if(NOT Python_FOUND)
        set(_missing "no Python with headers")
    elseif(NOT pybind11_FOUND)
        set(_missing "no pybind11")
    else()
        execute_process(COMMAND ${Python_EXECUTABLE} -c "import numpy"
            RESULT_VARIABLE _result OUTPUT_QUIET ERROR_QUIET)
        if(NOT _result EQUAL 0)
            set(_missing "no NumPy")
        endif()
        unset(_result)
    endif()
    if(_missing AND NOT QUOLSDK_WITH_PYTHON STREQUAL "AUTO")
        message(FATAL_ERROR "QUOLSDK_WITH_PYTHON: ${_missing}: make deps")
    endif()
endif()
if(_missing)
    message(STATUS "Python module left out: ${_missing}")
else()
    set(QUOLSDK_HAS_PYTHON ON)
    message(STATUS "Python module: for ${Python_EXECUTABLE} (${Python_VERSION})")
endif()
unset(_missing)
