# Outside libraries. The Windows build needs only the system's own.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

if(NOT WIN32)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
        libavformat libavcodec libswresample libswscale libavutil)
    pkg_check_modules(RTMP REQUIRED IMPORTED_TARGET librtmp gnutls)
    pkg_check_modules(ASS REQUIRED IMPORTED_TARGET libass)
    pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
    pkg_check_modules(XCB REQUIRED IMPORTED_TARGET
        xcb xcb-shm xcb-randr xcb-damage xcb-xfixes xcb-composite)
    # The screen on Wayland: what is not there leaves X11.
    set(VIMBREL_WAYLAND AUTO CACHE STRING
        "Capture the screen by the desktop portal: ON, OFF, or AUTO where both libraries are")
    set_property(CACHE VIMBREL_WAYLAND PROPERTY STRINGS AUTO ON OFF)
    set(VIMBREL_HAS_PORTAL OFF)
    if(VIMBREL_WAYLAND)
        if(VIMBREL_WAYLAND STREQUAL "AUTO")
            pkg_check_modules(PORTAL IMPORTED_TARGET libpipewire-0.3 libsystemd)
        else()
            pkg_check_modules(PORTAL REQUIRED IMPORTED_TARGET libpipewire-0.3 libsystemd)
        endif()
        set(VIMBREL_HAS_PORTAL ${PORTAL_FOUND})
    endif()
    find_package(GIF REQUIRED)
    find_package(ZLIB REQUIRED)
endif()

# Pitch. The toolchain for Windows has no package of SoundTouch: its sources are built with integer
# samples, without code for single processors, and linked statically.
set(default_soundtouch "")
if(WIN32)
    set(default_soundtouch /usr/local/src/soundtouch)
endif()
set(VIMBREL_SOUNDTOUCH_ROOT "${default_soundtouch}" CACHE PATH
    "SoundTouch's sources, to be built with integer samples; empty: the system's package")
if(VIMBREL_SOUNDTOUCH_ROOT)
    include(cmake/SoundTouch.cmake)
    set(VIMBREL_SOUNDTOUCH vimbrel_soundtouch)
else()
    pkg_check_modules(SOUNDTOUCH REQUIRED IMPORTED_TARGET soundtouch)
    set(VIMBREL_SOUNDTOUCH PkgConfig::SOUNDTOUCH)
endif()

if(VIMBREL_STUDIO)
    pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET pangocairo cairo)
    pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
    find_package(PNG REQUIRED)
    find_package(nlohmann_json 3.11 REQUIRED)
    find_package(CLI11 2.1 REQUIRED)
    # The preview's window: without it the studio says that it has none.
    set(VIMBREL_PREVIEW AUTO CACHE STRING
        "Show runs in a window: ON, OFF, or AUTO where SDL is")
    set_property(CACHE VIMBREL_PREVIEW PROPERTY STRINGS AUTO ON OFF)
    set(VIMBREL_HAS_PREVIEW OFF)
    if(VIMBREL_PREVIEW)
        if(VIMBREL_PREVIEW STREQUAL "AUTO")
            pkg_check_modules(PREVIEW IMPORTED_TARGET sdl2 x11)
        else()
            pkg_check_modules(PREVIEW REQUIRED IMPORTED_TARGET sdl2 x11)
        endif()
        set(VIMBREL_HAS_PREVIEW ${PREVIEW_FOUND})
    endif()
endif()

# The kits of the tests, which the benchmarks use as well.
if(VIMBREL_TESTS OR VIMBREL_BENCH)
    if(CMAKE_CROSSCOMPILING)
        # Debian ships no build for other systems, but the sources.
        set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
        set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
        set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
        add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    else()
        find_package(GTest REQUIRED)
    endif()
endif()
