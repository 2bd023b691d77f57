# Subsystem fragment: encoding. Text conversion between named encodings over
# the C library's iconv, and decoding of numeric character references.
add_library(afp_encoding STATIC
    qxappshared/source/i18nConverter.cpp
    qxappshared/source/conversionError.cpp
    qxappshared/source/changeEncodingUtilsData.cpp
    qxappshared/source/changeEncodingUtils.cpp
    qxappshared/source/ConversionUtils.cpp)
afp_headers(afp_encoding
    PUBLIC qxappshared/source/ConversionUtils.h
    INTERNAL
        qxappshared/source/changeEncodingUtils.h
        qxappshared/source/changeEncodingUtilsData.h
        qxappshared/source/conversionBuffer.h
        qxappshared/source/i18nConverter.h)
target_link_libraries(afp_encoding PRIVATE afp_runtime Threads::Threads)

if(AFP_TESTS)
    add_executable(afp_encoding_tests
        tests/qxappshared/conversionUtilsTest.cpp)
    target_link_libraries(afp_encoding_tests PRIVATE afp_encoding_internals afp_runtime
        GTest::gtest_main)
    gtest_discover_tests(afp_encoding_tests DISCOVERY_TIMEOUT 60)
endif()
