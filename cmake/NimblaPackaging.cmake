# The Debian packages, one per install component, built by scripts/package.sh with CPack:
#   Runtime   libnimblaauth0        the shared libraries and the translations
#   Devel     libnimblaauth-dev     the headers, the CMake package and the QML module
#   Client    nimbla-auth           the command-line client
#   Emulator  nimbla-login-emulator the login-service emulator and its stand-in libraries
# The Qt 6 build's packages add "-qt6" to the first three names (libnimblaauth-qt6-0, ...). Their
# libraries are named apart, so the two runtimes install side by side; the two development packages
# and the two clients install the same paths and conflict. The emulator has no Qt in it: both builds
# make the same package.
if(NOT UNIX OR APPLE)
    return()
endif()

set(NIMBLA_DEB_MAINTAINER "NimblaAuth developers <nimbla-auth@nimbla.example>")
if(NIMBLA_FILE_SUFFIX)
    # Debian's rule: a hyphen goes between a library name that ends in a digit and its soname version.
    set(runtime_package libnimblaauth${NIMBLA_FILE_SUFFIX}-${PROJECT_VERSION_MAJOR})
else()
    set(runtime_package libnimblaauth${PROJECT_VERSION_MAJOR})
endif()
set(devel_package libnimblaauth${NIMBLA_FILE_SUFFIX}-dev)
set(client_package nimbla-auth${NIMBLA_FILE_SUFFIX})
set(emulator_package nimbla-login-emulator)
if(NIMBLA_QT_MAJOR STREQUAL "6")
    set(qt_devel_package qt6-base-dev)
else()
    set(qt_devel_package qtbase5-dev)
endif()

# Every package carries its copyright file and the changelog, compressed as Debian wants it.
set(changelog ${PROJECT_SOURCE_DIR}/packaging/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
execute_process(COMMAND gzip -9nc ${changelog} OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz RESULT_VARIABLE gzipped)
if(NOT gzipped EQUAL 0)
    message(FATAL_ERROR "Cannot compress ${changelog}")
endif()
foreach(component IN ITEMS Runtime Devel Client Emulator)
    string(TOLOWER ${component} key)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${key}_package}
        COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nimbla-auth)
set(CPACK_PACKAGE_VENDOR "NimblaAuth developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL Runtime Devel Client Emulator)
set(CPACK_COMPONENT_DEVEL_DEPENDS Runtime)
set(CPACK_COMPONENT_CLIENT_DEPENDS Runtime)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${NIMBLA_DEB_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Depends from the binaries themselves; the client's own library is found in the build, and its
# package comes from the component dependency above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/core ${PROJECT_BINARY_DIR}/auth)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The linker cache is refreshed by dpkg's trigger. CPack's own ldconfig calls stay in the maintainer
# scripts: lintian warns of them, but only a trigger satisfies it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The QML module's library, which links QtQml, comes with the module in the development package,
# so that the runtime package does not pull QtQml in; it needs the same trigger.
set(CPACK_DEBIAN_DEVEL_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_DEVEL_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "sign-in library of the game launcher (Qt ${NIMBLA_QT_MAJOR})
NimblaAuth signs a player in to the game launcher: with login and password,
over OAuth2, through a social network, the Steam client, PlayFab, the Mail.Ru
game centre or the Stone launcher. It keeps the identity, refreshes OAuth2
sessions and keeps secrets in the desktop's credential vault.
.
This package holds the shared libraries, built with Qt ${NIMBLA_QT_MAJOR}, and the
translations of the player's texts.")

set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME ${devel_package})
set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS ${qt_devel_package})
set(CPACK_DEBIAN_DEVEL_DESCRIPTION "sign-in library of the game launcher - development files (Qt ${NIMBLA_QT_MAJOR})
NimblaAuth signs a player in to the game launcher.
.
This package holds what a launcher builds with: the headers, the CMake
package (find_package(NimblaAuth)) and the QML module NimblaSDK.Auth.")

set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME ${client_package})
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION net)
set(CPACK_DEBIAN_CLIENT_DESCRIPTION "command-line client of the launcher's sign-in (Qt ${NIMBLA_QT_MAJOR})
nimbla-auth signs a player in through NimblaAuth, the launcher's sign-in
library, with any of its methods, and prints the identity or the token; a
remembered session signs in again without a password.")

if(NIMBLA_FILE_SUFFIX)
    set(CPACK_DEBIAN_DEVEL_PACKAGE_CONFLICTS libnimblaauth-dev)
    set(CPACK_DEBIAN_CLIENT_PACKAGE_CONFLICTS nimbla-auth)
endif()

set(CPACK_DEBIAN_EMULATOR_PACKAGE_NAME ${emulator_package})
set(CPACK_DEBIAN_EMULATOR_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_EMULATOR_DESCRIPTION "stand-in for the launcher's login service, for tests
nimbla-login-emulator answers every endpoint of the login service that
NimblaAuth calls, issues signed tokens and injects faults on demand. It comes
with stand-in Steam client and Stone launcher libraries, which the library
configuration it writes names.")

include(CPack)
