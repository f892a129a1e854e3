#!/usr/bin/env bash

# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# Every file of the source tree carries its licence and copyright, as reuse reads them. Exits 77
# (skipped) without Debian's reuse, or outside a git work tree, where reuse would take build
# trees and downloaded packages for sources.
#   licensing.sh SOURCE_DIR
set -euo pipefail
tree=$1
if ! command -v reuse >/dev/null; then
    echo "reuse is not installed (Debian package reuse)"
    exit 77
fi
if ! git -C "$tree" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    echo "not in a git work tree: reuse would read every file under the tree"
    exit 77
fi
reuse --root "$tree" lint
