# The Debian packages are built by debhelper from debian/ (README, "Installing
# from the Debian packages"). Their test builds them from a copy of this
# source tree, so it runs only in the plain build: the sanitizer build's
# binaries are not what is shipped.
if(AFP_TESTS AND NOT AFP_SANITIZE)
    add_test(NAME afp_package
             COMMAND bash ${CMAKE_SOURCE_DIR}/tests/packaging/packageTest.sh ${CMAKE_SOURCE_DIR})
    set_tests_properties(afp_package PROPERTIES TIMEOUT 300)
endif()
