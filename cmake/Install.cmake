# What an application gets: public headers, the shared library, the studio, a CMake package and a
# pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vimbrel)

set_target_properties(vimbrel PROPERTIES EXPORT_NAME Vimbrel)
set_target_properties(vimbrel_headers PROPERTIES EXPORT_NAME Headers)
install(TARGETS vimbrel vimbrel_headers EXPORT VimbrelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(public_headers
    AppLog.h
    AudioDeviceEnumerator.h
    AudioFactory.h
    AudioFactory2.h
    DSGetVideoFrame.h
    DSRenderAudio.h
    DSRenderVideo.h
    MediaMessageWindow.h
    MediaSource.h
    MediaSourceCamera.h
    MediaSourceEnumerator.h
    MediaSourceDS.h
    MediaSourceGame.h
    MediaSourcePicture.h
    MediaSourceScreen.h
    MediaSourceText.h
    MediaTranscode.h
)
# What the library calls them by, for applications. The other headers of platform/include are the
# library's own business: names too common to stand on an application's include path, or functions
# that are not exported.
set(platform_headers
    guiddef.h
    mmreg.h
    objbase.h
    objidl.h
    propidl.h
    stringapiset.h
    unknwn.h
    wincodec.h
    windef.h
    winerror.h
    winuser.h
)
set(VIMBREL_PC_PLATFORM_CFLAGS "")
if(NOT WIN32)
    # Only here does something implement the cast's session and ask for the screen.
    list(APPEND public_headers MediaRTMPCast.h ReconnectingCast.h ScreenAccess.h)
    list(TRANSFORM platform_headers PREPEND platform/include/)
    install(FILES ${platform_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vimbrel/platform)
    set(VIMBREL_PC_PLATFORM_CFLAGS " -I\${includedir}/vimbrel/platform")
endif()
list(TRANSFORM public_headers PREPEND include/vimbrel/)
install(FILES ${public_headers} ${CMAKE_BINARY_DIR}/generated/vimbrel/Export.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vimbrel)

install(EXPORT VimbrelTargets NAMESPACE Vimbrel:: DESTINATION ${package_dir})
file(WRITE ${CMAKE_BINARY_DIR}/VimbrelConfig.cmake
    "include(\${CMAKE_CURRENT_LIST_DIR}/VimbrelTargets.cmake)\n")
write_basic_package_version_file(
    ${CMAKE_BINARY_DIR}/VimbrelConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VimbrelConfig.cmake ${CMAKE_BINARY_DIR}/VimbrelConfigVersion.cmake
    DESTINATION ${package_dir})

# Relative to its own place, so that the tree can be moved.
file(RELATIVE_PATH VIMBREL_PC_UP /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
string(REGEX REPLACE "/$" "" VIMBREL_PC_UP "${VIMBREL_PC_UP}")
configure_file(cmake/vimbrel.pc.in ${CMAKE_BINARY_DIR}/vimbrel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vimbrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
