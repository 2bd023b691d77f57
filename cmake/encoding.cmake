# Subsystem fragment: encoding. Text conversion between named encodings over
# the C library's iconv, and decoding of numeric character references.
add_library(afp_encoding STATIC
    qxappshared/source/i18nConverter.cpp
    qxappshared/source/conversionError.cpp
    qxappshared/source/changeEncodingUtilsData.cpp
    qxappshared/source/changeEncodingUtils.cpp
    qxappshared/source/ConversionUtils.cpp)
target_link_libraries(afp_encoding PUBLIC afp_runtime Threads::Threads)

if(AFP_TESTS)
    add_executable(afp_encoding_tests
        tests/qxappshared/conversionUtilsTest.cpp)
    target_link_libraries(afp_encoding_tests PRIVATE afp_encoding GTest::gtest_main)
    gtest_discover_tests(afp_encoding_tests DISCOVERY_TIMEOUT 60)
endif()
