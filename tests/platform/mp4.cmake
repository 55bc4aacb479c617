vimbrel_add_tests(mp4_tests
    BgraToYuvTest.cpp
    Mp4TestKit.cpp
    ../support/Mp4Kit.cpp
    TranscodeFailureTest.cpp
    TranscodePipelineTest.cpp
    VideoEncoderTest.cpp
)
