# End-to-end tests at scale: crash safety, concurrent loaders, hostile input.
# They run the program and the audit-file writer as child processes.
if(AFP_TESTS)
    add_executable(afp_endtoend_tests
        tests/endToEnd/crashSafetyTest.cpp
        tests/endToEnd/hostileInputTest.cpp)
    target_link_libraries(afp_endtoend_tests PRIVATE afp_parser afp_testdatabase afp_format
        GTest::gtest_main)
    target_compile_definitions(afp_endtoend_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>"
        AFP_AUDITGEN="$<TARGET_FILE:qxesauditgen>")
    add_dependencies(afp_endtoend_tests qxesauditfileprocessor qxesauditgen)
    gtest_discover_tests(afp_endtoend_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 180)
endif()
