# The exception family and the small POSIX tools that every subsystem uses.
add_library(afp_runtime STATIC
    source/cppWebException.cpp
    source/krlAssertError.cpp
    source/rdxSqlException.cpp
    source/fileTools.cpp
    source/which.cpp
    source/splitPath.cpp
    source/processingLocale.cpp
    auditfileprocessor/source/runtime/programGlobals.cpp
    auditfileprocessor/source/runtime/failedOutputs.cpp)
afp_headers(afp_runtime PUBLIC
    source/cppWebException.h
    source/exceptionLocation.h
    source/krlAssertError.h
    source/rdxSqlException.h
    source/fileDescriptor.h
    source/fileTools.h
    source/which.h
    source/splitPath.h
    source/processingLocale.h
    auditfileprocessor/include/runtime/programGlobals.h
    auditfileprocessor/include/runtime/failedOutputs.h)
