# Subsystem fragment: format. The audit line format and its code tables, the
# writer's audit record, and the audit-file writer tool.
add_library(afp_format STATIC
    auditfileprocessor/source/format/auditSupport.cpp
    auditfileprocessor/source/format/auditRecord.cpp
    auditfileprocessor/source/format/auditInfo.cpp
    auditfileprocessor/source/format/attributeTree.cpp)
afp_headers(afp_format
    PUBLIC
        auditfileprocessor/include/format/auditSupport.h
        auditfileprocessor/include/format/auditRecord.h
        auditfileprocessor/include/format/auditInfo.h
    INTERNAL auditfileprocessor/source/format/attributeTree.h)
target_link_libraries(afp_format PRIVATE afp_encoding afp_runtime)

if(AFP_TESTS)
    add_executable(afp_format_tests tests/auditfileprocessor/format/auditFormatTest.cpp)
    target_link_libraries(afp_format_tests PRIVATE afp_format_internals GTest::gtest_main)
    gtest_discover_tests(afp_format_tests DISCOVERY_TIMEOUT 60)
endif()

# The audit-file writer: a library for its tests, and the program.
add_library(afp_auditgen STATIC
    tools/qxesauditgen/auditDirectoryWriter.cpp
    tools/qxesauditgen/auditGenOptions.cpp
    tools/qxesauditgen/auditTrafficGenerator.cpp
    tools/qxesauditgen/stampClock.cpp
    tools/qxesauditgen/workdaySchedule.cpp)
target_include_directories(afp_auditgen PUBLIC ${CMAKE_SOURCE_DIR}/tools/qxesauditgen)
target_link_libraries(afp_auditgen PUBLIC afp_format)

add_executable(qxesauditgen tools/qxesauditgen/qxesauditgen.cpp)
target_link_libraries(qxesauditgen PRIVATE afp_auditgen)

if(AFP_TESTS)
    add_executable(afp_auditgen_tests tests/tools/qxesauditgenTest.cpp)
    # The shared audit-file helpers of the tests come with the test database.
    target_link_libraries(afp_auditgen_tests PRIVATE afp_auditgen afp_testdatabase GTest::gtest_main)
    gtest_discover_tests(afp_auditgen_tests DISCOVERY_TIMEOUT 60)
endif()
