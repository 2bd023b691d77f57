# The program itself, and the tests that run it as a user would.
add_executable(qxesauditfileprocessor auditfileprocessor/source/afpmain.cpp)
target_link_libraries(qxesauditfileprocessor PRIVATE afp_parser)
add_dependencies(qxesauditfileprocessor afp_catalogue)

if(AFP_TESTS)
    add_executable(afp_program_tests tests/auditfileprocessor/programTest.cpp)
    target_link_libraries(afp_program_tests PRIVATE GTest::gtest_main)
    target_compile_definitions(afp_program_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>")
    add_dependencies(afp_program_tests qxesauditfileprocessor)
    gtest_discover_tests(afp_program_tests DISCOVERY_TIMEOUT 60)
endif()
