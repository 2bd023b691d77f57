# The database session and its drivers (SQLite, PostgreSQL).
add_library(afp_database STATIC
    auditfileprocessor/source/database/dataAccessLayer.cpp
    auditfileprocessor/source/database/databaseDriver.cpp
    auditfileprocessor/source/database/knownKeys.cpp
    auditfileprocessor/source/database/pgResult.cpp
    auditfileprocessor/source/database/postgresDriver.cpp
    auditfileprocessor/source/database/boundStatement.cpp
    auditfileprocessor/source/database/sqldbapi.cpp
    auditfileprocessor/source/database/sqlDumpFile.cpp
    auditfileprocessor/source/database/sqliteDriver.cpp
    auditfileprocessor/source/database/sqliteStatement.cpp)
afp_headers(afp_database PUBLIC
    auditfileprocessor/include/database/sqldbapi.h
    auditfileprocessor/include/database/sqlDumpFile.h
    auditfileprocessor/include/database/sqlDA.h
    auditfileprocessor/include/database/sqlColType.h
    auditfileprocessor/include/database/databaseDriver.h
    auditfileprocessor/include/database/boundStatement.h
    auditfileprocessor/include/database/knownKeys.h
    auditfileprocessor/include/database/dataAccessLayer.h)
target_link_libraries(afp_database PRIVATE afp_runtime PkgConfig::SQLITE3 PkgConfig::LIBPQ)

if(AFP_TESTS)
    # A fresh audit database per test, on SQLite or on the private PostgreSQL
    # server of tests/support/pgserver.sh.
    add_library(afp_testdatabase STATIC tests/support/testDatabase.cpp)
    target_link_libraries(afp_testdatabase PUBLIC afp_database GTest::gtest
        PRIVATE PkgConfig::SQLITE3 PkgConfig::LIBPQ)
    target_include_directories(afp_testdatabase PUBLIC ${CMAKE_SOURCE_DIR}/tests/support)
    target_compile_definitions(afp_testdatabase PUBLIC AFP_SOURCE_DIR="${CMAKE_SOURCE_DIR}")

    add_executable(afp_database_tests
        tests/auditfileprocessor/database/sqldbTest.cpp)
    target_link_libraries(afp_database_tests PRIVATE afp_testdatabase afp_runtime GTest::gtest_main)
    gtest_discover_tests(afp_database_tests DISCOVERY_TIMEOUT 60)
endif()
