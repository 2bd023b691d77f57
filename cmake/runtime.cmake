# The exception family shared by every subsystem.
add_library(afp_runtime STATIC
    source/cppWebException.cpp
    source/krlAssertError.cpp
    source/rdxSqlException.cpp)
