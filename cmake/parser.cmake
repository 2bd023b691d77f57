# The loading loop: directory scan, file load, line dispatch.
# The event handlers add their sources to this library (cmake/handlers.cmake).
add_library(afp_parser STATIC
    auditfileprocessor/source/parsing/auditDirectoryLock.cpp
    auditfileprocessor/source/parsing/auditFileClaim.cpp
    auditfileprocessor/source/parsing/auditLineCheck.cpp
    auditfileprocessor/source/parsing/parser.cpp
    auditfileprocessor/source/parsing/parserDirectory.cpp
    auditfileprocessor/source/parsing/parserCheck.cpp
    auditfileprocessor/source/parsing/parserDispatch.cpp
    auditfileprocessor/source/parsing/parserFile.cpp
    auditfileprocessor/source/parsing/parserLine.cpp
    auditfileprocessor/source/parsing/parserLineHandling.cpp
    auditfileprocessor/source/parsing/auditFileLoad.cpp
    auditfileprocessor/source/parsing/waitingUsage.cpp
    auditfileprocessor/source/parsing/loadProgress.cpp
    auditfileprocessor/source/parsing/stopRequest.cpp
    auditfileprocessor/source/parsing/auditLineReader.cpp
    auditfileprocessor/source/parsing/rejectFile.cpp
    auditfileprocessor/source/parsing/runStatistics.cpp)
afp_headers(afp_parser PUBLIC
    auditfileprocessor/include/parsing/parser.h
    auditfileprocessor/include/parsing/auditDirectoryLock.h
    auditfileprocessor/include/parsing/auditFileClaim.h
    auditfileprocessor/include/parsing/auditLineCheck.h
    auditfileprocessor/include/parsing/auditLineReader.h
    auditfileprocessor/include/parsing/loadProgress.h
    auditfileprocessor/include/parsing/lineOutcome.h
    auditfileprocessor/include/parsing/serverContext.h
    auditfileprocessor/include/parsing/waitingUsage.h
    auditfileprocessor/include/parsing/rejectFile.h
    auditfileprocessor/include/parsing/runStatistics.h
    auditfileprocessor/include/parsing/stopRequest.h)
target_link_libraries(afp_parser
    PUBLIC afp_rowaccess afp_driver afp_runtime
    PRIVATE afp_database afp_usage afp_format afp_encoding)

if(AFP_TESTS)
    add_executable(afp_parser_tests
        tests/auditfileprocessor/parsing/parserLineTest.cpp
        tests/auditfileprocessor/parsing/loadingTest.cpp
        tests/auditfileprocessor/parsing/auditFileClaimTest.cpp
        tests/auditfileprocessor/parsing/auditLineReaderTest.cpp)
    target_link_libraries(afp_parser_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    # The loading tests also run the built program.
    target_compile_definitions(afp_parser_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>")
    add_dependencies(afp_parser_tests qxesauditfileprocessor)
    gtest_discover_tests(afp_parser_tests DISCOVERY_TIMEOUT 60)
endif()
