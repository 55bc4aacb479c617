if(NOT WIN32)
    vimbrel_add_bench(mp4_recording mp4_recording.cpp)
    vimbrel_add_bench(video_sample video_sample.cpp)
endif()
