vimbrel_add_tests(mf_tests
    EventQueueTest.cpp
    MediaObjectsTest.cpp
    MediaSessionTest.cpp
    Mp4TestKit.cpp
    TestSource.cpp
    WorkQueueTest.cpp
)
