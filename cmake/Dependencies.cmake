# Outside libraries. The Windows build needs only the system's own.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

if(NOT WIN32)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavcodec libswresample libswscale libavutil)
    pkg_check_modules(RTMP REQUIRED IMPORTED_TARGET librtmp nettle gnutls)
    find_package(GIF REQUIRED)
    find_package(ZLIB REQUIRED)
    pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET pangocairo cairo)
    find_package(nlohmann_json 3.11 REQUIRED)
    find_package(CLI11 2.1 REQUIRED)
endif()
