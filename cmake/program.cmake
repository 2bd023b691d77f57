# The program itself, and the tests that run it as a user would.
find_package(nlohmann_json 3 REQUIRED)

# How a run ended: its outcome, exit status and run reports.
add_library(afp_runreport STATIC
    auditfileprocessor/source/runreport/runOutcome.cpp
    auditfileprocessor/source/runreport/exitStatus.cpp
    auditfileprocessor/source/runreport/atomicFile.cpp
    auditfileprocessor/source/runreport/runReport.cpp
    auditfileprocessor/source/runreport/metricsReport.cpp)
afp_headers(afp_runreport PUBLIC
    auditfileprocessor/include/runreport/runOutcome.h
    auditfileprocessor/include/runreport/exitStatus.h
    auditfileprocessor/include/runreport/atomicFile.h
    auditfileprocessor/include/runreport/runReport.h
    auditfileprocessor/include/runreport/metricsReport.h)
target_link_libraries(afp_runreport PUBLIC afp_parser PRIVATE afp_runtime nlohmann_json::nlohmann_json)

add_executable(qxesauditfileprocessor auditfileprocessor/source/program/afpmain.cpp)
target_link_libraries(qxesauditfileprocessor PRIVATE
    afp_runreport afp_parser afp_database afp_driver afp_usage afp_runtime)
add_dependencies(qxesauditfileprocessor afp_catalogue)
# Both programs answer --version with the project's version.
target_compile_definitions(qxesauditfileprocessor PRIVATE AFP_VERSION="${PROJECT_VERSION}")
target_compile_definitions(qxesauditgen PRIVATE AFP_VERSION="${PROJECT_VERSION}")

if(AFP_TESTS)
    # The program as users and schedulers run it: usage, exit status, run reports, secrets,
    # and the safety of what it writes.
    add_executable(afp_operability_tests tests/endToEnd/operabilityTest.cpp
        tests/endToEnd/outputSafetyTest.cpp)
    target_link_libraries(afp_operability_tests PRIVATE afp_runreport afp_testdatabase afp_format
        nlohmann_json::nlohmann_json GTest::gtest_main)
    target_compile_definitions(afp_operability_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>"
        AFP_AUDITGEN="$<TARGET_FILE:qxesauditgen>"
        AFP_VERSION="${PROJECT_VERSION}")
    add_dependencies(afp_operability_tests qxesauditfileprocessor qxesauditgen)
    gtest_discover_tests(afp_operability_tests DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 180)
endif()
