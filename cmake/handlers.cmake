# The event handlers: members of the Parser, compiled into its library.
target_sources(afp_parser PRIVATE
    auditfileprocessor/source/parserConstants.cpp
    auditfileprocessor/source/handlerSupport.cpp
    auditfileprocessor/source/parserStartupInfo.cpp
    auditfileprocessor/source/parserRequestInfo.cpp
    auditfileprocessor/source/parserRemoteRequestInfo.cpp
    auditfileprocessor/source/parserRequestError.cpp
    auditfileprocessor/source/parserUsage.cpp
    auditfileprocessor/source/parserAdminInfo.cpp
    auditfileprocessor/source/parserTarvelInfo.cpp
    auditfileprocessor/source/parserUserInfo.cpp)

if(AFP_TESTS)
    add_executable(afp_handler_tests
        tests/auditfileprocessor/parserHandlerTest.cpp)
    target_link_libraries(afp_handler_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    gtest_discover_tests(afp_handler_tests DISCOVERY_TIMEOUT 60)
endif()
