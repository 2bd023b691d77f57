# The event handlers: members of the Parser, compiled into its library.
target_sources(afp_parser PRIVATE
    auditfileprocessor/source/parserConstants.cpp
    auditfileprocessor/source/parserHandlerStubs.cpp)
