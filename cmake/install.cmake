# What `cmake --install` puts where, in two components:
#   loader   the program, the usage report, the catalogue, the schema files
#            and their man pages, in the same relative layout as the build
#            tree (bin/, share/);
#   auditgen the audit-file writer and its man page.
# The service, timer and configuration under /etc go only into the Debian
# package (debian/qxesauditfileprocessor.install).

install(TARGETS qxesauditfileprocessor RUNTIME DESTINATION bin COMPONENT loader)
install(FILES ${AFP_CATALOGUE} DESTINATION ${AFP_SHARE_DIR}/en-us COMPONENT loader)
install(FILES schema/sqlite.sql schema/postgresql.sql schema/postgresql-distributed.sql DESTINATION ${AFP_SHARE_DIR}/schema
        COMPONENT loader)
install(TARGETS qxesauditgen RUNTIME DESTINATION bin COMPONENT auditgen)
install(TARGETS qxesauditreport RUNTIME DESTINATION bin COMPONENT loader)

# Man pages: the version is filled in, then the page is compressed as Debian
# installs them (gzip -n keeps the bytes the same from build to build).
set(AFP_MAN_DIR ${CMAKE_BINARY_DIR}/share/man/man1)
set(AFP_MAN_PAGES)
foreach(page qxesauditfileprocessor qxesauditgen qxesauditreport)
    configure_file(docs/man/${page}.1 ${CMAKE_BINARY_DIR}/man/${page}.1 @ONLY)
    add_custom_command(
        OUTPUT ${AFP_MAN_DIR}/${page}.1.gz
        COMMAND ${CMAKE_COMMAND} -E make_directory ${AFP_MAN_DIR}
        COMMAND gzip -9 -n -c ${CMAKE_BINARY_DIR}/man/${page}.1 > ${AFP_MAN_DIR}/${page}.1.gz
        DEPENDS ${CMAKE_BINARY_DIR}/man/${page}.1
        COMMENT "Compressing the man page ${page}.1")
    list(APPEND AFP_MAN_PAGES ${AFP_MAN_DIR}/${page}.1.gz)
endforeach()
add_custom_target(afp_man_pages ALL DEPENDS ${AFP_MAN_PAGES})
install(FILES ${AFP_MAN_DIR}/qxesauditfileprocessor.1.gz DESTINATION share/man/man1 COMPONENT loader)
install(FILES ${AFP_MAN_DIR}/qxesauditgen.1.gz DESTINATION share/man/man1 COMPONENT auditgen)
install(FILES ${AFP_MAN_DIR}/qxesauditreport.1.gz DESTINATION share/man/man1 COMPONENT loader)

