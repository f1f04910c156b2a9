# The headers a host may include, each beside its sources. This list is the only one: the include
# folder of the build, the installation, the header checks and the reference manual follow it.
set(QUOLSDK_PUBLIC_HEADERS
    core/export.h
    core/formats.h
    core/FrameHandle.h
    core/SharedText.h
    core/LSink.h
    core/LObject.h
    core/LFrame.h
    core/LFilter.h
    sources/LSignal.h
    sources/LFile.h
    sources/LReader.h
    sources/LLive.h
    sources/LStreamPlay.h
    compositing/LLayerItem.h
    compositing/LMixer.h
    compositing/LAudioMixer.h
    compositing/LStinger.h
    compositing/SwitcherPreviewObject.h
    compositing/LSwitcher.h
    compositing/LMultiview.h
    graphics/LCGColor.h
    graphics/LCGProps.h
    graphics/LCGItems.h
    graphics/LCharacter.h
    graphics/LAnimation.h
    outputs/LOutput.h
    outputs/LConvert.h
    outputs/LRecorder.h
    outputs/LStream.h
    outputs/LReplay.h
    outputs/LPreview.h
    api/quolsdk_c_api.h
)

# Everything includes a public header as "quolsdk/NAME.h", the library itself too, as a host will
# after installation. Symlinks give the build that one folder without a second copy to go stale.
set(QUOLSDK_PUBLIC_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)

file(MAKE_DIRECTORY ${QUOLSDK_PUBLIC_INCLUDE_DIR}/quolsdk)
set(_names "")
foreach(_header IN LISTS QUOLSDK_PUBLIC_HEADERS)
    get_filename_component(_name ${_header} NAME)
    if(_name IN_LIST _names)
        message(FATAL_ERROR "Two public headers are named ${_name}")
    endif()
    list(APPEND _names ${_name})
    if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${_header})
        message(WARNING "Public header ${_header} does not exist")
    endif()
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${_header}
        ${QUOLSDK_PUBLIC_INCLUDE_DIR}/quolsdk/${_name} SYMBOLIC)
endforeach()

# A header that left the list must not go on being found.
file(GLOB _links RELATIVE ${QUOLSDK_PUBLIC_INCLUDE_DIR}/quolsdk
    ${QUOLSDK_PUBLIC_INCLUDE_DIR}/quolsdk/*)
foreach(_link IN LISTS _links)
    if(NOT _link IN_LIST _names)
        file(REMOVE ${QUOLSDK_PUBLIC_INCLUDE_DIR}/quolsdk/${_link})
    endif()
endforeach()
unset(_names)
unset(_links)
