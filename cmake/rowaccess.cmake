# Row access: column values, statement building with SQL literals, and one
# accessor per audit table.
add_library(afp_rowaccess STATIC
    auditfileprocessor/source/columnData.cpp
    auditfileprocessor/source/sqlValueCheck.cpp
    auditfileprocessor/source/tableAccess.cpp
    auditfileprocessor/source/dispatcherTableAccess.cpp
    auditfileprocessor/source/sessionTableAccess.cpp
    auditfileprocessor/source/requestTableAccess.cpp
    auditfileprocessor/source/adminSourceTableAccess.cpp
    auditfileprocessor/source/userSourceTableAccess.cpp
    auditfileprocessor/source/dimUsageTableAccess.cpp
    auditfileprocessor/source/measureUsageTableAccess.cpp
    auditfileprocessor/source/levelUsageTableAccess.cpp)
target_link_libraries(afp_rowaccess PUBLIC afp_runtime)
foreach(dependency afp_database afp_driver)
    if(TARGET ${dependency})
        target_link_libraries(afp_rowaccess PUBLIC ${dependency})
    endif()
endforeach()
