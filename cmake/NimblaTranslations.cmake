# nimbla_translation_resources(<name> <prefix> <catalogue>...): lrelease compiles each catalogue
# (.ts) of translations/, and the compiled catalogues (.qm) go into the resources <name>.qrc under
# <prefix>, where a QTranslator loads them. Sets <name>_RESOURCES, the resources' sources for a
# target, and <name>_COMPILED, the compiled catalogues.
function(nimbla_translation_resources name prefix)
    qt_add_translation(compiled ${ARGN})
    set(qrc "<RCC><qresource prefix=\"${prefix}\">\n")
    foreach(file IN LISTS compiled)
        get_filename_component(file_name ${file} NAME)
        string(APPEND qrc "    <file>${file_name}</file>\n")
    endforeach()
    string(APPEND qrc "</qresource></RCC>\n")
    # Rewritten only when it changes, so that a configure run does not rebuild the resources.
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}.qrc.new "${qrc}")
    configure_file(${CMAKE_CURRENT_BINARY_DIR}/${name}.qrc.new ${CMAKE_CURRENT_BINARY_DIR}/${name}.qrc COPYONLY)
    qt_add_resources(resources ${CMAKE_CURRENT_BINARY_DIR}/${name}.qrc)
    set(${name}_RESOURCES ${resources} PARENT_SCOPE)
    set(${name}_COMPILED ${compiled} PARENT_SCOPE)
endfunction()
