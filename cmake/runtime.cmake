# The exception family and the small POSIX tools that every subsystem uses.
add_library(afp_runtime STATIC
    source/cppWebException.cpp
    source/krlAssertError.cpp
    source/rdxSqlException.cpp
    source/fileTools.cpp
    source/which.cpp
    source/splitPath.cpp
    source/processingLocale.cpp
    auditfileprocessor/source/programGlobals.cpp)
