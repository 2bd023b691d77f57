# The audit usage report (tools/qxesauditreport): a library of its parts, so
# that the tests read the same figures, and the program.
add_library(afp_report STATIC
    tools/qxesauditreport/htmlReportWriter.cpp
    tools/qxesauditreport/markupText.cpp
    tools/qxesauditreport/reportFormat.cpp
    tools/qxesauditreport/reportOptions.cpp
    tools/qxesauditreport/reportQueries.cpp
    tools/qxesauditreport/svgChart.cpp
    tools/qxesauditreport/textReportWriter.cpp)
target_include_directories(afp_report PUBLIC ${CMAKE_SOURCE_DIR}/tools/qxesauditreport)
target_link_libraries(afp_report PUBLIC afp_database)

add_executable(qxesauditreport tools/qxesauditreport/qxesauditreport.cpp)
target_link_libraries(qxesauditreport PRIVATE afp_report)
install(TARGETS qxesauditreport RUNTIME DESTINATION bin)
