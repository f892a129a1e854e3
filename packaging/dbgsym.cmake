# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# Run by cpack once the packages are made. CPack writes the debug-symbols package's md5sums with
# the paths of its build folder and gives it no documentation folder; this rewrites both as
# Debian's own tools do: relative paths, and /usr/share/doc/NAME-dbgsym a link to the main
# package's folder, whose copyright covers both.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    if(NOT package MATCHES "\\.ddeb$")
        continue()
    endif()
    set(tree "${package}.tree")
    file(REMOVE_RECURSE "${tree}")
    execute_process(COMMAND dpkg-deb -R "${package}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
    file(STRINGS "${tree}/DEBIAN/md5sums" sums)
    set(relative "")
    foreach(line IN LISTS sums)
        string(REGEX REPLACE "^([0-9a-f]+)  .*/(usr/lib/debug/.*)$" "\\1  \\2" line "${line}")
        string(APPEND relative "${line}\n")
    endforeach()
    file(WRITE "${tree}/DEBIAN/md5sums" "${relative}")
    file(MAKE_DIRECTORY "${tree}/usr/share/doc")
    file(CREATE_LINK "${CPACK_PACKAGE_NAME}" "${tree}/usr/share/doc/${CPACK_PACKAGE_NAME}-dbgsym"
         SYMBOLIC)
    execute_process(COMMAND dpkg-deb --root-owner-group --build "${tree}" "${package}"
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE "${tree}")
endforeach()
