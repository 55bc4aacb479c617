# Most of a file's time goes into the headers that it reads, so a unit of eight files takes a third
# of theirs. Constants and functions of such files' own must have names of their own.
option(VIMBREL_BATCHES "Compile several files of the library as one unit" OFF)

# Headers that nearly every test reads, compiled once: half of what a test costs to compile.
option(VIMBREL_PRECOMPILE "Compile the headers that most tests share once" OFF)

if(VIMBREL_PRECOMPILE AND CCACHE_PROGRAM)
    # Else the cache refuses every file.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        ${CCACHE_PROGRAM})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        set(precompile_options -fpch-preprocess)
    else()
        set(precompile_options "SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()

# The first program compiles them, the others take what it compiled. All are built with one set of
# flags: the compiler refuses what was made by others.
function(vimbrel_precompile_tests name)
    if(NOT VIMBREL_PRECOMPILE)
        return()
    endif()
    target_compile_options(${name} PRIVATE ${precompile_options})
    get_property(owner GLOBAL PROPERTY VIMBREL_PRECOMPILED_TESTS)
    if(owner)
        target_precompile_headers(${name} REUSE_FROM ${owner})
    else()
        set_property(GLOBAL PROPERTY VIMBREL_PRECOMPILED_TESTS ${name})
        target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h> <algorithm>
            <atomic> <chrono> <functional> <memory> <string> <thread> <vector> <windows.h>
            <mfapi.h>)
    endif()
endfunction()
