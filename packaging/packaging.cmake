# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What is installed, and the Debian packages cpack makes of it. gdapp, the "runtime" component:
# the plug-in in Qt's plug-in folder and its translations, gdapp, gdapp-notepad and
# drive-emulator with their manual pages, gdapp's bash completion, the copyright and changelog
# files; stripped, with the debug symbols in a -dbgsym package. gdapp-dev, the "development"
# component: what hosts build against (development.cmake).

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)
install(TARGETS gdrive LIBRARY DESTINATION ${GDAPP_PLUGIN_INSTALL_DIR})
install(TARGETS gdapp gdapp-notepad drive-emulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/tools/gdapp/gdapp.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME gdapp)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${GDAPP_QM_FILES} DESTINATION ${GDAPP_TRANSLATIONS_INSTALL_DIR})

# Manual pages and the changelog go compressed, as Debian has them: gzip -9n, no name or time
# in the header, so that the same sources give the same bytes.
function(gdapp_gzip source destination)
    get_filename_component(name ${source} NAME)
    set(compressed ${CMAKE_BINARY_DIR}/packaging/${name}.gz)
    add_custom_command(OUTPUT ${compressed}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/packaging
        COMMAND gzip -9n -c ${source} > ${compressed}
        DEPENDS ${source} VERBATIM)
    set_property(GLOBAL APPEND PROPERTY GDAPP_COMPRESSED ${compressed})
    install(FILES ${compressed} DESTINATION ${destination})
endfunction()
gdapp_gzip(${PROJECT_SOURCE_DIR}/tools/gdapp/gdapp.1 ${CMAKE_INSTALL_MANDIR}/man1)
gdapp_gzip(${PROJECT_BINARY_DIR}/tools/drive-emulator/drive-emulator.1 ${CMAKE_INSTALL_MANDIR}/man1)
gdapp_gzip(${PROJECT_SOURCE_DIR}/examples/notepad/gdapp-notepad.1 ${CMAKE_INSTALL_MANDIR}/man1)
gdapp_gzip(${PROJECT_SOURCE_DIR}/packaging/changelog ${CMAKE_INSTALL_DOCDIR})
get_property(compressed GLOBAL PROPERTY GDAPP_COMPRESSED)
add_custom_target(compressed-documentation ALL DEPENDS ${compressed})

include(${CMAKE_CURRENT_LIST_DIR}/development.cmake)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/gdapp-dev COMPONENT development)

file(READ ${PROJECT_SOURCE_DIR}/packaging/description GDAPP_DESCRIPTION)
file(READ ${PROJECT_SOURCE_DIR}/packaging/description-dev GDAPP_DEV_DESCRIPTION)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME gdapp)
set(CPACK_PACKAGE_VENDOR "Tarnwick")
set(CPACK_PACKAGE_CONTACT "Tarnwick developers <dev@tarnwick.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Each package's description starts with its own summary line: no common summary, which CPack
# would put before them.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME gdapp)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "Google Drive storage provider for the Tarnwick document application\n${GDAPP_DESCRIPTION}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
# The libraries the binaries link come from dpkg-shlibdeps; Qt loads more at run time. The TLS
# back end and the X11 platform plug-in come with libqt6network6 and libqt6gui6, which the
# binaries need anyway; the other platforms (Wayland's, offscreen) with qt6-qpa-plugins.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# Qt's own catalogues translate the chooser's standard buttons.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "qt6-qpa-plugins, qt6-translations-l10n")
# The debug symbols go to a -dbgsym package; the binaries of the main one are stripped.
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)

# A host built against the framework runs with the plug-in of the same version, and compiles
# with Qt's headers and build descriptions.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME gdapp-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "framework for hosts of the gdapp storage provider\n${GDAPP_DEV_DESCRIPTION}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "gdapp (= ${PROJECT_VERSION}), qt6-base-dev (>= ${GDAPP_QT_MINIMUM})")
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/strip-static.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/dbgsym.cmake)
include(CPack)
