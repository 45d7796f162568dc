#!/usr/bin/env bash
# Installs what is missing, builds, and either starts the program (run) or runs every test (test).
set -euo pipefail
cd "$(dirname "$0")"

PACKAGES=(g++ cmake ninja-build pkg-config qt6-base-dev libgl-dev libsqlite3-dev sqlite3 clang-format
          python3 python3-aiosmtpd msmtp khard python3-vobject
          evolution-data-server python3-gi gir1.2-ebook-1.2 gir1.2-ebookcontacts-1.2 gir1.2-edataserver-1.2
          vdirsyncer dbus radicale
          lintian weston qt6-wayland xvfb xdotool at-spi2-core python3-pyatspi
          desktop-file-utils appstream groff dpkg-dev file)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    echo "Installing: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build() { # preset, extra cmake args... (the trees are in CMakePresets.json)
    local preset=$1
    shift
    cmake --preset "$preset" "$@" >/dev/null
    cmake --build --preset "$preset" --parallel "$(nproc)"
}

case "${1:-}" in
run)
    install_missing
    build normal
    exec ./build/app/tallyvane
    ;;
test)
    install_missing
    # Warnings fail the test build, while a plain run still builds with them.
    build normal -DTV_WERROR=ON
    cmake --build build --target format-check
    (cd build && ctest --output-on-failure --timeout 600)
    # The same tests again under AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer.
    build sanitizers -DTV_WERROR=ON
    (cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure --timeout 900)
    ;;
*)
    echo "usage: $0 run|test" >&2
    exit 2
    ;;
esac
