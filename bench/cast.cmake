if(NOT WIN32)
    # The server is that of the tests, which wants their library.
    if(NOT TARGET GTest::gtest)
        set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
        add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    endif()
    vimbrel_add_bench(live_cast live_cast.cpp)
    target_link_libraries(live_cast PRIVATE GTest::gtest)
endif()
