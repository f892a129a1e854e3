# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What is installed, and the Debian package cpack makes of it: the plug-in in Qt's plug-in
# folder and its translations, gdapp, gdapp-notepad and drive-emulator with their manual pages,
# gdapp's bash completion, the copyright and changelog files; stripped, with the debug symbols in
# a -dbgsym package.

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

file(READ ${PROJECT_SOURCE_DIR}/packaging/description GDAPP_DESCRIPTION)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME gdapp)
set(CPACK_PACKAGE_VENDOR "Tarnwick")
set(CPACK_PACKAGE_CONTACT "Tarnwick developers <dev@tarnwick.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Google Drive storage provider for the Tarnwick document application")
set(CPACK_PACKAGE_DESCRIPTION "${GDAPP_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries the binaries link come from dpkg-shlibdeps; Qt loads more at run time. The TLS
# back end and the X11 platform plug-in come with libqt6network6 and libqt6gui6, which the
# binaries need anyway; the other platforms (Wayland's, offscreen) with qt6-qpa-plugins.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt's own catalogues translate the chooser's standard buttons.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-qpa-plugins, qt6-translations-l10n")
# The debug symbols go to a -dbgsym package; the binaries of the main one are stripped.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/dbgsym.cmake)
include(CPack)
