# What every target of the project is compiled with.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_compile_options(-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
if(VIMBREL_WERROR)
    add_compile_options(-Werror)
endif()

if(VIMBREL_SANITIZE)
    add_compile_options(
        -fsanitize=${VIMBREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VIMBREL_SANITIZE})
endif()

if(WIN32)
    # The system's headers without their macros and rarely used parts; printf as the C++ standard
    # has it.
    add_compile_definitions(NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00
        __USE_MINGW_ANSI_STDIO=1 _POSIX_THREAD_SAFE_FUNCTIONS=1)
endif()
