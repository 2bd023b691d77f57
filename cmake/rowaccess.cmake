# Row access: the table catalogue, column values, statement building with SQL
# literals, and one accessor per audit table.
add_library(afp_rowaccess STATIC
    auditfileprocessor/source/columnData.cpp
    auditfileprocessor/source/sqlValueCheck.cpp
    auditfileprocessor/source/tableCatalogue.cpp
    auditfileprocessor/source/tableAccess.cpp
    auditfileprocessor/source/dispatcherTableAccess.cpp
    auditfileprocessor/source/sessionTableAccess.cpp
    auditfileprocessor/source/requestTableAccess.cpp
    auditfileprocessor/source/adminSourceTableAccess.cpp
    auditfileprocessor/source/userSourceTableAccess.cpp
    auditfileprocessor/source/dimUsageTableAccess.cpp
    auditfileprocessor/source/measureUsageTableAccess.cpp
    auditfileprocessor/source/levelUsageTableAccess.cpp)
afp_headers(afp_rowaccess PUBLIC
    auditfileprocessor/include/table.h
    auditfileprocessor/include/column.h
    auditfileprocessor/include/tableId.h
    auditfileprocessor/include/tableCatalogue.h
    auditfileprocessor/include/columnData.h
    auditfileprocessor/include/sqlValueCheck.h
    auditfileprocessor/include/tableAccess.h
    auditfileprocessor/include/dispatcherTableAccess.h
    auditfileprocessor/include/sessionTableAccess.h
    auditfileprocessor/include/requestTableAccess.h
    auditfileprocessor/include/adminSourceTableAccess.h
    auditfileprocessor/include/userSourceTableAccess.h
    auditfileprocessor/include/dimUsageTableAccess.h
    auditfileprocessor/include/measureUsageTableAccess.h
    auditfileprocessor/include/levelUsageTableAccess.h)
target_link_libraries(afp_rowaccess PUBLIC afp_database PRIVATE afp_driver afp_runtime)

if(AFP_TESTS)
    # Value checks and statement text, then the accessors against real SQLite
    # and PostgreSQL databases, over the catalogue that the loader reads.
    add_executable(afp_rowaccess_tests tests/auditfileprocessor/rowAccessTest.cpp)
    target_link_libraries(afp_rowaccess_tests PRIVATE afp_rowaccess afp_driver afp_runtime
        afp_testdatabase GTest::gtest_main)
    gtest_discover_tests(afp_rowaccess_tests DISCOVERY_TIMEOUT 60)
endif()
