# The Debian packages are built by debhelper from debian/ (README, "Installing
# from the Debian packages"). Their test builds them from a copy of this
# source tree, not from a build tree, so it is registered in the plain build
# only, to run once per test run.
if(AFP_TESTS AND NOT AFP_SANITIZE)
    add_test(NAME afp_package
             COMMAND bash ${CMAKE_SOURCE_DIR}/tests/packaging/packageTest.sh ${CMAKE_SOURCE_DIR})
    # Started first: it is the longest test, and the others run beside it.
    set_tests_properties(afp_package PROPERTIES TIMEOUT 300 COST 1000)
endif()
