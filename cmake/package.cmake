# Debian packages of the program and the audit-file writer (CPack):
#   cpack --config build/CPackConfig.cmake -B DIRECTORY
# gives qxesauditfileprocessor_VERSION_ARCH.deb (the loader components of
# cmake/install.cmake) and qxesauditgen_VERSION_ARCH.deb.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qxesauditfileprocessor)
set(CPACK_PACKAGE_VENDOR "qxesauditfileprocessor developers")
set(CPACK_PACKAGE_CONTACT "qxesauditfileprocessor developers <audit-loader@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL loader system auditgen)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENT_LOADER_GROUP qxesauditfileprocessor)
set(CPACK_COMPONENT_SYSTEM_GROUP qxesauditfileprocessor)
set(CPACK_COMPONENT_AUDITGEN_GROUP qxesauditgen)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_QXESAUDITFILEPROCESSOR_PACKAGE_NAME qxesauditfileprocessor)
set(CPACK_DEBIAN_QXESAUDITFILEPROCESSOR_DESCRIPTION
    "loads a reporting server's audit files into an audit database
qxesauditfileprocessor takes the finished audit files of a multidimensional
reporting server's audit directory and loads their events (requests, usage,
errors, administration and portal actions, users) into the eight tables of
a relational audit database, SQLite or PostgreSQL. A systemd timer runs it
every 5 minutes under a dedicated system user.")
# The system user is made by adduser; the shared libraries' packages are
# added by dpkg-shlibdeps.
set(CPACK_DEBIAN_QXESAUDITFILEPROCESSOR_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_QXESAUDITFILEPROCESSOR_PACKAGE_SUGGESTS "sqlite3, postgresql-client")
set(CPACK_DEBIAN_QXESAUDITFILEPROCESSOR_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/packaging/debian/postinst
    ${CMAKE_SOURCE_DIR}/packaging/debian/prerm
    ${CMAKE_SOURCE_DIR}/packaging/debian/postrm
    ${CMAKE_SOURCE_DIR}/packaging/debian/conffiles)

set(CPACK_DEBIAN_QXESAUDITGEN_PACKAGE_NAME qxesauditgen)
set(CPACK_DEBIAN_QXESAUDITGEN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_QXESAUDITGEN_DESCRIPTION
    "writes realistic audit directories of a simulated reporting server
qxesauditgen writes the audit files that a busy multidimensional reporting
server would write, deterministically from a seed, for tests and benchmarks
of qxesauditfileprocessor.")

include(CPack)

# The package test builds the packages from this build tree, so it runs only
# in the plain build: the sanitizer build's binaries are not what is shipped.
if(AFP_TESTS AND NOT AFP_SANITIZE)
    add_test(NAME afp_package
             COMMAND bash ${CMAKE_SOURCE_DIR}/tests/packaging/packageTest.sh ${CMAKE_BINARY_DIR})
    set_tests_properties(afp_package PROPERTIES TIMEOUT 120)
endif()
