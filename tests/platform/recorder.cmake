vimbrel_add_tests(recorder_failure_tests RecorderFailureTest.cpp ../support/Mp4Kit.cpp)
