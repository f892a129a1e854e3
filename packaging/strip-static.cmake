# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# Run by cpack once the files are staged, before it packages them. CPack strips the programs and
# the plug-in only; this strips the static library of the development package as Debian's own
# tools do: no debug information and no compiler identification (the symbols that hosts link
# stay), and no times or owners in the archive, so that the same sources give the same bytes.
find_program(GDAPP_STRIP NAMES strip REQUIRED)
file(GLOB_RECURSE archives "${CPACK_TEMPORARY_DIRECTORY}/*.a")
foreach(archive IN LISTS archives)
    execute_process(COMMAND "${GDAPP_STRIP}" --strip-debug --remove-section=.comment
                            --enable-deterministic-archives "${archive}"
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
