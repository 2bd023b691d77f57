# Subsystem fragment: usage. The usage blob decoder, its tokenizer and the
# directory lister of the shared support library.
add_library(afp_usage STATIC
    source/stringTokenizer.cpp
    source/qxdsUsageInfoHelper.cpp
    source/directoryLister.cpp)
afp_headers(afp_usage PUBLIC
    source/stringTokenizer.h
    source/codeNameValueTuple.h
    source/qxdsUsageInfoHelper.h
    source/directoryLister.h)
target_link_libraries(afp_usage PRIVATE afp_runtime)

if(AFP_TESTS)
    add_executable(afp_usage_tests
        tests/source/qxdsUsageInfoHelperTest.cpp
        tests/source/directoryListerTest.cpp)
    target_link_libraries(afp_usage_tests PRIVATE afp_usage afp_runtime GTest::gtest_main)
    gtest_discover_tests(afp_usage_tests DISCOVERY_TIMEOUT 60)
endif()
