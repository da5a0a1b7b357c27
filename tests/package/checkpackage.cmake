file(REMOVE_RECURSE ${WORK_DIR})

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN} failed (${result}):\n${output}")
    endif()
    message("${output}")
endfunction()

set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The library's internals stay inside it: neither their headers nor their symbols are public.
file(GLOB_RECURSE installed RELATIVE ${prefix}/include ${prefix}/include/*)
foreach(header IN LISTS installed)
    if(NOT header MATCHES "^NimblaSDK/(Core|Auth)/")
        message(FATAL_ERROR "Installed outside include/NimblaSDK/Core and include/NimblaSDK/Auth: ${header}")
    endif()
    if(header MATCHES "/(server/.*|storage/credentials\\.h|jwt/jwtchecker\\.h|.*_p\\.h)$")
        message(FATAL_ERROR "An internal header is installed: ${header}")
    endif()
endforeach()
file(GLOB auth_library ${prefix}/lib*/libNimblaAuth.so ${prefix}/lib*/libNimblaAuth-qt6.so)
execute_process(COMMAND nm -D -C --defined-only ${auth_library} OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT symbols MATCHES "NimblaSDK::JwtLoginSession")
    message(FATAL_ERROR "Cannot read the exported symbols of ${auth_library}")
endif()
if(symbols MATCHES "NimblaSDK::(IHttpServer|IHandlerFactory|HandlerFactory|HandlerOAuthFactory|RetiredFactories|JWTchecker)|NimblaSDK::(read|write|delete)Credential")
    message(FATAL_ERROR "${auth_library} exports an internal class: ${CMAKE_MATCH_0}")
endif()

# Only the QML module links QtQml: a launcher without QML does not load it.
execute_process(COMMAND readelf -d ${auth_library} OUTPUT_VARIABLE dynamic RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT dynamic MATCHES "NEEDED")
    message(FATAL_ERROR "Cannot read the dynamic section of ${auth_library}")
endif()
if(dynamic MATCHES "libQt[56]Qml")
    message(FATAL_ERROR "${auth_library} links QtQml")
endif()

# A launcher on the other Qt must not load this build, which would bring a second Qt into its
# process: the package turns it down, so that find_package looks on for the build of its Qt.
# (Before the consumer runs: the test passes on the consumer's line.)
if(QT_MAJOR EQUAL 5)
    set(other_major 6)
else()
    set(other_major 5)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/other -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${prefix} -DCONSUMER_QT_MAJOR=${other_major}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(output MATCHES "Could not find a package configuration file provided by \"Qt${other_major}\"")
    if(DEFINED ENV{NIMBLA_REQUIRE_TEST_ENVIRONMENT})
        message(FATAL_ERROR "Qt ${other_major} is not installed: a launcher on it cannot be tried (see scripts/lib.sh)")
    endif()
    message("Qt ${other_major} is not installed: a launcher on it is not tried")
elseif(result EQUAL 0 OR NOT output MATCHES "NimblaAuthConfig\\.cmake, version: [0-9.]+ \\(Qt ${QT_MAJOR}, the launcher uses Qt ${other_major}\\)")
    message(FATAL_ERROR "A Qt ${other_major} launcher was not turned down (${result}):\n${output}")
endif()

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS} -DCONSUMER_QT_MAJOR=${QT_MAJOR})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
# The QML module is found where the prefix keeps Qt's QML modules, with no call to the library.
run(${CMAKE_COMMAND} -E env QML2_IMPORT_PATH=${prefix}/${QML_DIR} ${WORK_DIR}/build/consumer)
