# The toolkits that a preview can be a plug-in of; neither is needed. Gives QUOLSDK_HAS_QT and
# QUOLSDK_HAS_GTK.
set(QUOLSDK_WITH_QT AUTO CACHE STRING "Preview for Qt: ON, OFF, or AUTO for where Qt 6 is")
set(QUOLSDK_WITH_GTK AUTO CACHE STRING "Preview for GTK: ON, OFF, or AUTO for where GTK 4 is")
set_property(CACHE QUOLSDK_WITH_QT QUOLSDK_WITH_GTK PROPERTY STRINGS AUTO ON OFF)

if(QUOLSDK_WITH_QT)
    find_package(Qt6 QUIET COMPONENTS Widgets)
endif()
if(QUOLSDK_WITH_GTK)
    pkg_check_modules(GTK4 QUIET IMPORTED_TARGET gtk4)
endif()

# Sets QUOLSDK_HAS_<option> by what is wanted and what was found; a toolkit that is asked for has to
# be there.
function(quolsdk_decide_toolkit option name found)
    set(has OFF)
    if(QUOLSDK_WITH_${option} AND found)
        set(has ON)
    elseif(QUOLSDK_WITH_${option} AND NOT QUOLSDK_WITH_${option} STREQUAL "AUTO")
        message(FATAL_ERROR "QUOLSDK_WITH_${option} needs ${name}: make deps")
    endif()
    set(QUOLSDK_HAS_${option} ${has} PARENT_SCOPE)
endfunction()

quolsdk_decide_toolkit(QT "Qt 6" "${Qt6_FOUND}")
quolsdk_decide_toolkit(GTK "GTK 4" "${GTK4_FOUND}")
