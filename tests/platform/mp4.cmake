vimbrel_add_tests(mp4_tests
    BgraToYuvTest.cpp
    Mp4TestKit.cpp
    TranscodeFailureTest.cpp
    TranscodePipelineTest.cpp
    VideoEncoderTest.cpp
)
