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

    # The program over a hand-written file of every record kind, with "-df".
    add_executable(afp_handler_e2e_tests
        tests/auditfileprocessor/handlerEndToEndTest.cpp)
    target_link_libraries(afp_handler_e2e_tests PRIVATE afp_testdatabase afp_format
        GTest::gtest_main)
    target_compile_definitions(afp_handler_e2e_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>")
    add_dependencies(afp_handler_e2e_tests qxesauditfileprocessor)
    gtest_discover_tests(afp_handler_e2e_tests DISCOVERY_TIMEOUT 60)
endif()
