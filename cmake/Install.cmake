# What an application gets: public headers, the shared library, the studio, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vimbrel)

set_target_properties(vimbrel PROPERTIES EXPORT_NAME Vimbrel)
set_target_properties(vimbrel_headers PROPERTIES EXPORT_NAME Headers)
install(TARGETS vimbrel vimbrel_headers EXPORT VimbrelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
set(unimplemented_headers "")
if(WIN32)
    # Nothing makes a cast there.
    set(unimplemented_headers PATTERN MediaRTMPCast.h EXCLUDE)
endif()
install(DIRECTORY include/vimbrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h" ${unimplemented_headers})
install(FILES ${CMAKE_BINARY_DIR}/generated/vimbrel/Export.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vimbrel)

set(VIMBREL_PC_PLATFORM_CFLAGS "")
if(NOT WIN32)
    # What applications need of the system's names. windows.h with its parts, mmsystem.h and the media pipeline are the library's own
    # business: names too common to stand on an application's include path, or functions that are not exported.
    install(DIRECTORY platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vimbrel/platform FILES_MATCHING PATTERN "*.h"
        PATTERN "windows.h" EXCLUDE PATTERN "mmsystem.h" EXCLUDE
        PATTERN "wincon.h" EXCLUDE PATTERN "wingdi.h" EXCLUDE PATTERN "winnt.h" EXCLUDE PATTERN "winver.h" EXCLUDE
        PATTERN "d3d*.h" EXCLUDE PATTERN "dxgi*.h" EXCLUDE PATTERN "fileapi.h" EXCLUDE PATTERN "debugapi.h" EXCLUDE
        PATTERN "heapapi.h" EXCLUDE PATTERN "synchapi.h" EXCLUDE PATTERN "mf*.h" EXCLUDE PATTERN "codecapi.h" EXCLUDE
        PATTERN "oaidl.h" EXCLUDE PATTERN "strmif.h" EXCLUDE PATTERN "wmcodecdsp.h" EXCLUDE)
    set(VIMBREL_PC_PLATFORM_CFLAGS " -I\${includedir}/vimbrel/platform")
endif()

install(EXPORT VimbrelTargets NAMESPACE Vimbrel:: DESTINATION ${package_dir})
file(WRITE ${CMAKE_BINARY_DIR}/VimbrelConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/VimbrelTargets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VimbrelConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VimbrelConfig.cmake ${CMAKE_BINARY_DIR}/VimbrelConfigVersion.cmake DESTINATION ${package_dir})

# Relative to its own place, so that the tree can be moved.
file(RELATIVE_PATH VIMBREL_PC_UP /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
string(REGEX REPLACE "/$" "" VIMBREL_PC_UP "${VIMBREL_PC_UP}")
configure_file(cmake/vimbrel.pc.in ${CMAKE_BINARY_DIR}/vimbrel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vimbrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
