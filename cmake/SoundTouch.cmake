# SoundTouch from its sources. Its own configuration is replaced by an empty one.
if(NOT EXISTS ${VIMBREL_SOUNDTOUCH_ROOT}/include/SoundTouch.h)
    message(FATAL_ERROR "There are no sources of SoundTouch in \"${VIMBREL_SOUNDTOUCH_ROOT}\": "
        "run scripts/setup windows, or set VIMBREL_SOUNDTOUCH_ROOT")
endif()
file(GLOB soundtouch_sources ${VIMBREL_SOUNDTOUCH_ROOT}/source/SoundTouch/*.cpp)
set(soundtouch_config ${CMAKE_BINARY_DIR}/soundtouch/soundtouch_config.h)
if(NOT EXISTS ${soundtouch_config})
    file(WRITE ${soundtouch_config} "")
endif()
add_library(vimbrel_soundtouch STATIC ${soundtouch_sources})
target_include_directories(vimbrel_soundtouch SYSTEM BEFORE PUBLIC
    ${CMAKE_BINARY_DIR}/soundtouch ${VIMBREL_SOUNDTOUCH_ROOT}/include)
target_compile_definitions(vimbrel_soundtouch PUBLIC
    SOUNDTOUCH_INTEGER_SAMPLES SOUNDTOUCH_DISABLE_X86_OPTIMIZATIONS)
# Its warnings are not ours to mend.
target_compile_options(vimbrel_soundtouch PRIVATE -w)
