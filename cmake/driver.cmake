# Options, command line and numbered messages, and the message catalogue.
add_library(afp_driver STATIC
    source/qxMessage.cpp
    auditfileprocessor/source/driver/messenger.cpp
    auditfileprocessor/source/driver/afpOptions.cpp
    auditfileprocessor/source/driver/commandLine.cpp
    auditfileprocessor/source/driver/programDirectory.cpp
    auditfileprocessor/source/driver/noFollowFile.cpp
    auditfileprocessor/source/driver/oneLine.cpp
    auditfileprocessor/source/driver/passwordMask.cpp
    auditfileprocessor/source/driver/passwordFile.cpp)
afp_headers(afp_driver PUBLIC
    source/qxMessage.h
    auditfileprocessor/include/driver/messenger.h
    auditfileprocessor/include/driver/afpOptions.h
    auditfileprocessor/include/driver/commandLine.h
    auditfileprocessor/include/driver/programDirectory.h
    auditfileprocessor/include/driver/noFollowFile.h
    auditfileprocessor/include/driver/passwordFile.h
    auditfileprocessor/include/driver/oneLine.h
    auditfileprocessor/include/driver/passwordMask.h)
target_link_libraries(afp_driver PRIVATE afp_runtime)

# One compiled catalogue per language, beside the program as it will be installed.
set(AFP_CATALOGUE_SOURCE ${CMAKE_SOURCE_DIR}/auditfileprocessor/messages/en-us/afpmsg.msg)
set(AFP_CATALOGUE ${CMAKE_BINARY_DIR}/${AFP_SHARE_DIR}/en-us/afpmsg.cat)
add_custom_command(
    OUTPUT ${AFP_CATALOGUE}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/${AFP_SHARE_DIR}/en-us
    COMMAND gencat ${AFP_CATALOGUE} ${AFP_CATALOGUE_SOURCE}
    DEPENDS ${AFP_CATALOGUE_SOURCE}
    COMMENT "Compiling the message catalogue afpmsg (en-us)")
add_custom_target(afp_catalogue ALL DEPENDS ${AFP_CATALOGUE})

if(AFP_TESTS)
    add_executable(afp_driver_tests tests/auditfileprocessor/driver/driverTest.cpp)
    target_link_libraries(afp_driver_tests PRIVATE afp_driver afp_runtime GTest::gtest_main)
    gtest_discover_tests(afp_driver_tests DISCOVERY_TIMEOUT 60)
endif()
