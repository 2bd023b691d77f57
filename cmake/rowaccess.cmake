# Row access: the table catalogue, column values, statement building with SQL
# literals, and one accessor per audit table.
add_library(afp_rowaccess STATIC
    auditfileprocessor/source/rowaccess/columnData.cpp
    auditfileprocessor/source/rowaccess/sqlValueCheck.cpp
    auditfileprocessor/source/rowaccess/tableCatalogue.cpp
    auditfileprocessor/source/rowaccess/tableAccess.cpp
    auditfileprocessor/source/rowaccess/dispatcherTableAccess.cpp
    auditfileprocessor/source/rowaccess/sessionTableAccess.cpp
    auditfileprocessor/source/rowaccess/requestTableAccess.cpp
    auditfileprocessor/source/rowaccess/adminSourceTableAccess.cpp
    auditfileprocessor/source/rowaccess/userSourceTableAccess.cpp
    auditfileprocessor/source/rowaccess/dimUsageTableAccess.cpp
    auditfileprocessor/source/rowaccess/measureUsageTableAccess.cpp
    auditfileprocessor/source/rowaccess/levelUsageTableAccess.cpp)
afp_headers(afp_rowaccess PUBLIC
    auditfileprocessor/include/rowaccess/table.h
    auditfileprocessor/include/rowaccess/column.h
    auditfileprocessor/include/rowaccess/tableId.h
    auditfileprocessor/include/rowaccess/tableCatalogue.h
    auditfileprocessor/include/rowaccess/columnData.h
    auditfileprocessor/include/rowaccess/sqlValueCheck.h
    auditfileprocessor/include/rowaccess/tableAccess.h
    auditfileprocessor/include/rowaccess/dispatcherTableAccess.h
    auditfileprocessor/include/rowaccess/sessionTableAccess.h
    auditfileprocessor/include/rowaccess/requestTableAccess.h
    auditfileprocessor/include/rowaccess/adminSourceTableAccess.h
    auditfileprocessor/include/rowaccess/userSourceTableAccess.h
    auditfileprocessor/include/rowaccess/dimUsageTableAccess.h
    auditfileprocessor/include/rowaccess/measureUsageTableAccess.h
    auditfileprocessor/include/rowaccess/levelUsageTableAccess.h)
target_link_libraries(afp_rowaccess PUBLIC afp_database PRIVATE afp_driver afp_runtime)

if(AFP_TESTS)
    # Value checks and statement text, then the accessors against real SQLite
    # and PostgreSQL databases, over the catalogue that the loader reads.
    add_executable(afp_rowaccess_tests tests/auditfileprocessor/rowaccess/rowAccessTest.cpp)
    target_link_libraries(afp_rowaccess_tests PRIVATE afp_rowaccess afp_driver afp_runtime
        afp_testdatabase GTest::gtest_main)
    gtest_discover_tests(afp_rowaccess_tests DISCOVERY_TIMEOUT 60)
endif()
