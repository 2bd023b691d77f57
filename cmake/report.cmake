# The audit usage report (tools/qxesauditreport): a library of its parts, so
# that the tests read the same figures, and the program.
add_library(afp_report STATIC
    tools/qxesauditreport/htmlReportWriter.cpp
    tools/qxesauditreport/markupText.cpp
    tools/qxesauditreport/reportCredentials.cpp
    tools/qxesauditreport/reportFormat.cpp
    tools/qxesauditreport/reportOptions.cpp
    tools/qxesauditreport/reportQueries.cpp
    tools/qxesauditreport/svgChart.cpp
    tools/qxesauditreport/textReportWriter.cpp)
target_include_directories(afp_report PUBLIC ${CMAKE_SOURCE_DIR}/tools/qxesauditreport)
target_link_libraries(afp_report PUBLIC afp_database PRIVATE afp_driver afp_runtime)

add_executable(qxesauditreport tools/qxesauditreport/qxesauditreport.cpp)
target_link_libraries(qxesauditreport PRIVATE afp_report afp_database afp_runtime)

if(AFP_TESTS)
    # The figures against direct SQL on both backends, and the page in a browser.
    add_executable(afp_report_tests tests/tools/qxesauditreportTest.cpp)
    target_link_libraries(afp_report_tests PRIVATE afp_report afp_testdatabase afp_format
        GTest::gtest_main)
    target_compile_definitions(afp_report_tests PRIVATE
        AFP_PROGRAM="$<TARGET_FILE:qxesauditfileprocessor>"
        AFP_AUDITGEN="$<TARGET_FILE:qxesauditgen>"
        AFP_REPORT="$<TARGET_FILE:qxesauditreport>")
    add_dependencies(afp_report_tests qxesauditfileprocessor qxesauditgen qxesauditreport)
    gtest_discover_tests(afp_report_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endif()
