vimbrel_add_tests(mf_tests
    EventQueueTest.cpp
)
