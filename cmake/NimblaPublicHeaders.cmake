# Public headers are installed as include/NimblaSDK/<module>/<path>, so that a launcher's own
# headers of the same name cannot collide with them, and they include each other by those names
# (<NimblaSDK/Auth/abstractsession.h>). The build tree gets forwarding headers at the same places
# below NIMBLA_HEADER_ROOT, so that the same names resolve there too.

set(NIMBLA_HEADER_ROOT ${PROJECT_BINARY_DIR}/include)

# nimbla_public_headers(<module> <header>...): each header is a path below the current source folder.
function(nimbla_public_headers module)
    foreach(header IN LISTS ARGN)
        get_filename_component(folder "${header}" DIRECTORY)
        install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/NimblaSDK/${module}/${folder} COMPONENT Devel)
        set_property(GLOBAL APPEND PROPERTY NIMBLA_PUBLIC_HEADER_FILES
            "NimblaSDK/${module}/${header}=${CMAKE_CURRENT_SOURCE_DIR}/${header}")
        file(GENERATE OUTPUT ${NIMBLA_HEADER_ROOT}/NimblaSDK/${module}/${header}
            CONTENT "#include \"${CMAKE_CURRENT_SOURCE_DIR}/${header}\"\n")
    endforeach()
endfunction()

# nimbla_export_header(<shared library> <module> <base name>): the export macros, generated where
# they are installed. The objects of the library are compiled with its "building" define.
function(nimbla_export_header library module base_name)
    set(header ${NIMBLA_HEADER_ROOT}/NimblaSDK/${module}/${base_name}_export.h)
    generate_export_header(${library} BASE_NAME ${base_name} EXPORT_FILE_NAME ${header})
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/NimblaSDK/${module} COMPONENT Devel)
    set_property(GLOBAL APPEND PROPERTY NIMBLA_PUBLIC_HEADER_FILES "NimblaSDK/${module}/${base_name}_export.h=${header}")
endfunction()

# nimbla_write_public_header_list(<file>): every installed header, one a line as
# <installed name>=<source>, for the API reference (scripts/docs.sh), which documents exactly what a
# launcher can include, under the names it includes.
function(nimbla_write_public_header_list file)
    get_property(headers GLOBAL PROPERTY NIMBLA_PUBLIC_HEADER_FILES)
    list(JOIN headers "\n" content)
    file(GENERATE OUTPUT ${file} CONTENT "${content}\n")
endfunction()
