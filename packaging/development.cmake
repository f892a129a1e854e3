# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# What hosts build against, the "development" component (the gdapp-dev package): the headers of
# the framework they compile against, the framework and its chooser as a static library, the
# object that holds the chooser's icons, and the descriptions of both for CMake
# (find_package(GdappCloud), target Gdapp::Cloud) and for pkg-config (gdapp-cloud).

set(GDAPP_INCLUDE_INSTALL_DIR "${CMAKE_INSTALL_INCLUDEDIR}/gdapp")
set(GDAPP_CMAKE_INSTALL_DIR "${GDAPP_LIB_INSTALL_DIR}/cmake/GdappCloud")
set(GDAPP_PKGCONFIG_INSTALL_DIR "${GDAPP_LIB_INSTALL_DIR}/pkgconfig")
set(GDAPP_ICONS_OBJECT gdapp/gdapp-cloud-icons.o)

install(FILES
    ${PROJECT_SOURCE_DIR}/cloud/cloudobject.h
    ${PROJECT_SOURCE_DIR}/cloud/cloudfile.h
    ${PROJECT_SOURCE_DIR}/cloud/serverinterface.h
    ${PROJECT_SOURCE_DIR}/cloud/cloudcodes.h
    ${PROJECT_SOURCE_DIR}/cloud/cloudfilechooser.h
    DESTINATION ${GDAPP_INCLUDE_INSTALL_DIR} COMPONENT development)
install(TARGETS gdapp_cloud ARCHIVE DESTINATION ${GDAPP_LIB_INSTALL_DIR} COMPONENT development)
# One object: linked as it is, it registers the icons when the host starts.
install(FILES $<TARGET_OBJECTS:gdapp_cloud_icons> DESTINATION ${GDAPP_LIB_INSTALL_DIR}/gdapp
    RENAME gdapp-cloud-icons.o COMPONENT development)

include(CMakePackageConfigHelpers)
set(GDAPP_QT_MINIMUM "${Qt6_VERSION_MAJOR}.${Qt6_VERSION_MINOR}")
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/GdappCloudConfig.cmake.in
    ${CMAKE_BINARY_DIR}/packaging/GdappCloudConfig.cmake
    INSTALL_DESTINATION ${GDAPP_CMAKE_INSTALL_DIR}
    PATH_VARS GDAPP_LIB_INSTALL_DIR GDAPP_INCLUDE_INSTALL_DIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/packaging/GdappCloudConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/packaging/GdappCloudConfig.cmake
    ${CMAKE_BINARY_DIR}/packaging/GdappCloudConfigVersion.cmake
    DESTINATION ${GDAPP_CMAKE_INSTALL_DIR} COMPONENT development)

# The prefix found from the file's own place, so that the file holds wherever the tree is
# installed or unpacked.
file(RELATIVE_PATH GDAPP_PKGCONFIG_TO_PREFIX "/prefix/${GDAPP_PKGCONFIG_INSTALL_DIR}" "/prefix")
string(REGEX REPLACE "/$" "" GDAPP_PKGCONFIG_TO_PREFIX "${GDAPP_PKGCONFIG_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/gdapp-cloud.pc.in
    ${CMAKE_BINARY_DIR}/packaging/gdapp-cloud.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/gdapp-cloud.pc
    DESTINATION ${GDAPP_PKGCONFIG_INSTALL_DIR} COMPONENT development)
