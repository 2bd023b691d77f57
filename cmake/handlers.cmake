# The event handlers: members of the Parser, compiled into its library.
target_sources(afp_parser PRIVATE
    auditfileprocessor/source/handlers/parserConstants.cpp
    auditfileprocessor/source/handlers/handlerSupport.cpp
    auditfileprocessor/source/handlers/parserStartupInfo.cpp
    auditfileprocessor/source/handlers/parserRequestInfo.cpp
    auditfileprocessor/source/handlers/parserRemoteRequestInfo.cpp
    auditfileprocessor/source/handlers/parserRequestError.cpp
    auditfileprocessor/source/handlers/parserUsage.cpp
    auditfileprocessor/source/handlers/parserAdminInfo.cpp
    auditfileprocessor/source/handlers/parserTarvelInfo.cpp
    auditfileprocessor/source/handlers/parserUserInfo.cpp)

if(AFP_TESTS)
    add_executable(afp_handler_tests
        tests/auditfileprocessor/handlers/parserHandlerTest.cpp)
    target_link_libraries(afp_handler_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    gtest_discover_tests(afp_handler_tests DISCOVERY_TIMEOUT 60)
endif()
