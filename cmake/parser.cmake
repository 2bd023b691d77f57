# The loading loop: directory scan, file load, line dispatch, table catalogue.
# The event handlers add their sources to this library (cmake/handlers.cmake).
add_library(afp_parser STATIC
    auditfileprocessor/source/parser.cpp
    auditfileprocessor/source/parserTableCatalogue.cpp)
target_link_libraries(afp_parser PUBLIC afp_rowaccess afp_database afp_usage afp_format afp_driver)
