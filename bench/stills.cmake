if(NOT WIN32)
    vimbrel_add_bench(still_opening still_opening.cpp)
endif()
