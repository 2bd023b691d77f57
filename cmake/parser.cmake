# The loading loop: directory scan, file load, line dispatch.
# The event handlers add their sources to this library (cmake/handlers.cmake).
add_library(afp_parser STATIC
    auditfileprocessor/source/auditFileClaim.cpp
    auditfileprocessor/source/auditLineCheck.cpp
    auditfileprocessor/source/parser.cpp
    auditfileprocessor/source/parserDirectory.cpp
    auditfileprocessor/source/parserDispatch.cpp
    auditfileprocessor/source/parserFile.cpp
    auditfileprocessor/source/parserLine.cpp
    auditfileprocessor/source/parserLineHandling.cpp
    auditfileprocessor/source/parserBatch.cpp
    auditfileprocessor/source/loadProgress.cpp
    auditfileprocessor/source/stopRequest.cpp
    auditfileprocessor/source/auditLineReader.cpp
    auditfileprocessor/source/rejectFile.cpp
    auditfileprocessor/source/runStatistics.cpp)
afp_headers(afp_parser PUBLIC
    auditfileprocessor/include/parser.h
    auditfileprocessor/include/auditFileClaim.h
    auditfileprocessor/include/auditLineCheck.h
    auditfileprocessor/include/auditLineReader.h
    auditfileprocessor/include/loadProgress.h
    auditfileprocessor/include/rejectFile.h
    auditfileprocessor/include/runStatistics.h
    auditfileprocessor/include/stopRequest.h)
target_link_libraries(afp_parser
    PUBLIC afp_rowaccess afp_driver afp_runtime
    PRIVATE afp_database afp_usage afp_format afp_encoding)

if(AFP_TESTS)
    add_executable(afp_parser_tests
        tests/auditfileprocessor/parserLineTest.cpp
        tests/auditfileprocessor/loadingTest.cpp
        tests/auditfileprocessor/auditFileClaimTest.cpp
        tests/auditfileprocessor/auditLineReaderTest.cpp)
    target_link_libraries(afp_parser_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    # The loading tests also run the built program.
    target_compile_definitions(afp_parser_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>")
    add_dependencies(afp_parser_tests qxesauditfileprocessor)
    gtest_discover_tests(afp_parser_tests DISCOVERY_TIMEOUT 60)
endif()
