# The database session and its drivers (SQLite, PostgreSQL).
add_library(afp_database STATIC
    auditfileprocessor/source/dataAccessLayer.cpp
    auditfileprocessor/source/pgResult.cpp
    auditfileprocessor/source/postgresDriver.cpp
    auditfileprocessor/source/boundStatement.cpp
    auditfileprocessor/source/sqldbapi.cpp
    auditfileprocessor/source/sqliteDriver.cpp
    auditfileprocessor/source/sqliteStatement.cpp)
target_link_libraries(afp_database PUBLIC afp_runtime PkgConfig::SQLITE3 PkgConfig::LIBPQ)

if(AFP_TESTS)
    # A fresh audit database per test, on SQLite or on the private PostgreSQL
    # server of tests/support/pgserver.sh.
    add_library(afp_testdatabase STATIC tests/support/testDatabase.cpp)
    target_link_libraries(afp_testdatabase PUBLIC afp_database GTest::gtest)
    target_include_directories(afp_testdatabase PUBLIC ${CMAKE_SOURCE_DIR}/tests/support)
    target_compile_definitions(afp_testdatabase PUBLIC AFP_SOURCE_DIR="${CMAKE_SOURCE_DIR}")

    add_executable(afp_database_tests
        tests/auditfileprocessor/sqldbTest.cpp)
    target_link_libraries(afp_database_tests PRIVATE afp_testdatabase GTest::gtest_main)
    gtest_discover_tests(afp_database_tests DISCOVERY_TIMEOUT 60)
endif()
