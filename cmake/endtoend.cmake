# End-to-end tests at scale: crash safety, concurrent loaders, hostile input.
# They run the program and the audit-file writer as child processes.
if(AFP_TESTS)
    # The program itself with its database drivers wrapped by the faults
    # that the environment variable AFP_FAULT names.
    add_executable(afp_faulty_loader auditfileprocessor/source/program/afpmain.cpp
        tests/support/faultyDriver.cpp tests/support/faultyLoaderSetup.cpp)
    target_link_libraries(afp_faulty_loader PRIVATE
        afp_runreport afp_parser afp_database afp_driver afp_usage afp_runtime)
    target_compile_definitions(afp_faulty_loader PRIVATE AFP_VERSION="${PROJECT_VERSION}")
    add_dependencies(afp_faulty_loader afp_catalogue)

    add_executable(afp_endtoend_tests
        tests/endToEnd/crashSafetyTest.cpp
        tests/endToEnd/faultInjectionTest.cpp
        tests/endToEnd/hostileInputTest.cpp)
    target_link_libraries(afp_endtoend_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    target_compile_definitions(afp_endtoend_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>"
        AFP_AUDITGEN="$<TARGET_FILE:qxesauditgen>"
        AFP_FAULTY_PROGRAM="$<TARGET_FILE:afp_faulty_loader>")
    add_dependencies(afp_endtoend_tests qxesauditfileprocessor qxesauditgen afp_faulty_loader)
    gtest_discover_tests(afp_endtoend_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 180)
endif()
