# Module boundaries. The loader's libraries share header folders
# (auditfileprocessor/include, source), so putting a folder on the include
# path would show every library's headers to every target. Instead each
# library names the headers that its users may include; the build links them
# into a folder of the library's own, build/include/LIBRARY, and that folder is
# all the library adds to its users' include path. Including a header of a
# library that a target does not link then fails to compile. A library's
# sources find its other, private headers beside them.
#
#   afp_headers(afp_format
#       PUBLIC auditfileprocessor/include/format/auditSupport.h
#       INTERNAL auditfileprocessor/source/format/attributeTree.h)
#
# INTERNAL names private headers that the library's tests include too; a test
# reaches them by linking LIBRARY_internals instead of LIBRARY.

function(afp_link_headers folder)
    file(REMOVE_RECURSE ${folder})
    file(MAKE_DIRECTORY ${folder})
    foreach(header ${ARGN})
        if(NOT EXISTS ${CMAKE_SOURCE_DIR}/${header})
            message(FATAL_ERROR "afp_headers: no header ${header}")
        endif()
        get_filename_component(name ${header} NAME)
        file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${header} ${folder}/${name} SYMBOLIC)
    endforeach()
endfunction()

function(afp_headers library)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "PUBLIC;INTERNAL")
    set(folder ${CMAKE_BINARY_DIR}/include/${library})
    afp_link_headers(${folder} ${ARG_PUBLIC})
    target_include_directories(${library} PUBLIC ${folder})
    if(ARG_INTERNAL)
        afp_link_headers(${folder}-internal ${ARG_INTERNAL})
        add_library(${library}_internals INTERFACE)
        target_include_directories(${library}_internals INTERFACE ${folder}-internal)
        target_link_libraries(${library}_internals INTERFACE ${library})
    endif()
endfunction()
