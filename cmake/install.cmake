# What `cmake --install` puts where: the program, its message catalogue and
# the schema files, in the same relative layout as the build tree.
install(TARGETS qxesauditfileprocessor RUNTIME DESTINATION bin)
install(FILES ${AFP_CATALOGUE} DESTINATION ${AFP_SHARE_DIR}/en-us)
install(FILES schema/sqlite.sql schema/postgresql.sql DESTINATION ${AFP_SHARE_DIR}/schema)
