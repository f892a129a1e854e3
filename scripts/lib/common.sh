# SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
#
# SPDX-License-Identifier: LGPL-2.1-or-later

# Shared by the scripts in scripts/: package installation and the build.
# shellcheck shell=bash

GDAPP_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

# What building and testing need on Debian 12.
GDAPP_BUILD_PACKAGES=(
    cmake ninja-build g++ pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-networkauth-dev
    qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools libgl-dev libssl-dev
    qt6-qpa-plugins curl
)

# What the tests use besides: the TLS front end and its throwaway certificates; the HTTP proxy;
# the package's dependencies, its checker and its manual pages; the licence checker; the virtual
# display, real input and screenshots of the window tests, and jq for the emulator's answers there;
# Hypothesis for the model-based test of gdapp.
GDAPP_TEST_PACKAGES=(nginx-light openssl tinyproxy dpkg-dev lintian man-db reuse xvfb xdotool
    imagemagick jq python3-hypothesis)

say() { printf '==> %s\n' "$*" >&2; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# ensure_packages PKG...: installs the packages that are not installed yet.
ensure_packages() {
    local missing=()
    local pkg
    for pkg in "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' \
            || missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "installing ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# build DIR [CMAKE ARGS...]: configures and builds the project in DIR.
build() {
    local dir=$1
    shift
    cmake -S "$GDAPP_ROOT" -B "$dir" -G Ninja "$@" >/dev/null
    cmake --build "$dir"
}

# build_quietly DIR LOG TARGET...: configures DIR as the scripts do and builds only the targets
# named, all the output going to LOG.
build_quietly() {
    local dir=$1 log=$2
    shift 2
    mkdir -p "$dir"
    { cmake -S "$GDAPP_ROOT" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        && cmake --build "$dir" --target "$@"; } >"$log" 2>&1
}

# ensure_browser_test: Chromium and the driver library of the browser test. Says so and returns
# non-zero when they cannot be installed; the test then reports itself skipped.
ensure_browser_test() {
    if ! ensure_packages chromium nodejs; then
        say "Chromium could not be installed: the browser test will be skipped"
        return 1
    fi
    if ! (cd "$GDAPP_ROOT/tests/browser" && npm ci --no-audit --no-fund --silent >/dev/null 2>&1); then
        say "playwright-core could not be installed: the browser test will be skipped"
        return 1
    fi
}
