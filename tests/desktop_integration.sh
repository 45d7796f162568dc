#!/bin/sh
# Checks what the desktop gets from an install, with the freedesktop and Debian tools as the judges.
#   desktop_integration.sh files   BUILD APP_ID      installed launcher, AppStream entry and icons
#   desktop_integration.sh manual  BUILD             the manual page renders without a warning
#   desktop_integration.sh package BUILD APP_ID VERSION DATE   the .deb holds everything where it belongs,
#                                                              and lintian finds nothing to say against it
#   desktop_integration.sh session wayland|xcb HELPER PROGRAM  a first start, a typed task, a second start and
#                                                              quit on Weston's headless compositor or on Xvfb
# Exit 77 (skipped) only where a tool is not installed. KEEP=1 leaves the scratch folder behind, to look into.
set -eu
mode=$1 build=$2 id=${3:-} version=${4:-}
tmp=$(mktemp -d)
servers=""
trap 'for p in $servers; do kill "$p" 2>/dev/null || true; done; wait; [ -n "${KEEP:-}" ] || rm -rf "$tmp"' EXIT

need() {
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
    done
}
fail() {
    echo "FAIL: $*"
    exit 1
}

case $mode in
files)
    need desktop-file-validate appstreamcli file
    cmake --install "$build" --prefix "$tmp" >/dev/null
    desktop-file-validate "$tmp/share/applications/$id.desktop"
    grep -qx "Exec=tallyvane" "$tmp/share/applications/$id.desktop" || fail "Exec must run the program with no arguments"
    [ -x "$tmp/bin/tallyvane" ] || fail "no executable in bin/"
    appstreamcli validate --no-net --strict "$tmp/share/metainfo/$id.metainfo.xml"
    for dir in "$tmp"/share/icons/hicolor/*x*; do
        size=${dir##*/}
        file "$dir/apps/$id.png" | grep -q "PNG image data, ${size%x*} x ${size#*x}," || fail "$dir/apps/$id.png is not $size"
    done
    ;;
manual)
    need groff
    # -ww: every warning, those of -wall and the undefined macros and registers besides.
    groff -ww -man -Tutf8 "$build/data/tallyvane.1" >/dev/null 2>"$tmp/warnings"
    [ ! -s "$tmp/warnings" ] || fail "groff warns: $(cat "$tmp/warnings")"
    ;;
package)
    need cpack dpkg-deb dpkg-shlibdeps dpkg-parsechangelog file lintian readelf
    date=$5
    (cd "$build" && cpack -G DEB -B "$tmp" >"$tmp/cpack.log") || { cat "$tmp/cpack.log"; fail "cpack"; }
    deb=$tmp/tallyvane_${version}_amd64.deb
    [ -f "$deb" ] || fail "no $deb"
    dpkg-deb -c "$deb" | awk '{print $6}' >"$tmp/contents"
    for path in usr/bin/tallyvane usr/share/applications/$id.desktop usr/share/metainfo/$id.metainfo.xml \
        usr/share/icons/hicolor/scalable/apps/$id.svg usr/share/man/man1/tallyvane.1.gz \
        usr/share/doc/tallyvane/copyright; do
        grep -qx "./$path" "$tmp/contents" || fail "$path is not in the package"
    done
    for size in 16 32 48 64 128 256; do
        grep -qx "./usr/share/icons/hicolor/${size}x${size}/apps/$id.png" "$tmp/contents" || fail "no ${size}px icon"
    done
    depends=$(dpkg-deb -f "$deb" Depends)
    for lib in libqt6widgets6 libsqlite3-0 qt6-qpa-plugins; do
        echo "$depends" | grep -q "$lib" || fail "Depends lacks $lib: $depends"
    done
    dpkg-deb -f "$deb" Recommends | grep -q "qt6-wayland" || fail "qt6-wayland is not recommended"
    # Every error, warning and hardening tag fails; the pedantic and informational rest is shown.
    lintian -I --pedantic --no-cfg "$deb" >"$tmp/lintian" 2>&1 || true
    cat "$tmp/lintian"
    ! grep -E '^(E|W): |hardening' "$tmp/lintian" || fail "lintian"
    # A release whose changelog was not brought up to date.
    dpkg-deb --fsys-tarfile "$deb" | tar -xO ./usr/share/doc/tallyvane/changelog.gz | gzip -dc >"$tmp/changelog"
    [ "$(dpkg-parsechangelog -l "$tmp/changelog" -S Version)" = "$version" ] || fail "the changelog is not at $version"
    [ "$(date -u -d "$(dpkg-parsechangelog -l "$tmp/changelog" -S Date)" +%F)" = "$date" ] ||
        fail "the changelog's last entry is not dated $date"
    # The package overrides lintian's fortify tag, whose heuristic cannot see calls proved safe at compile
    # time: the fortified wrappers of glibc's headers in the binary's debug lines show the flag was there.
    readelf --debug-dump=line "$build/app/tallyvane" | grep -q 'string_fortified\.h' ||
        fail "the program is not built with _FORTIFY_SOURCE"
    ;;
session)
    platform=$2 helper=$3 program=$4
    need sqlite3
    # A home, a runtime folder and a display of the test's own: the user's desktop and files stay out of it.
    export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/home/.config" XDG_DATA_HOME="$tmp/home/.local/share"
    export XDG_RUNTIME_DIR="$tmp/run" QT_QPA_PLATFORM=$platform
    mkdir -p "$HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
    unset DISPLAY WAYLAND_DISPLAY
    if [ "$platform" = wayland ]; then
        need weston
        dpkg-query -W qt6-wayland >/dev/null 2>&1 || { echo "SKIP: qt6-wayland is not installed"; exit 77; }
        weston --backend=headless-backend.so --socket=tallyvane-test --no-config --idle-time=0 \
            --log="$tmp/weston.log" &
        servers="$servers $!"
        export WAYLAND_DISPLAY=tallyvane-test
        # A headless compositor has no seat, and Qt 6.4's Wayland input method then crashes on the first key
        # a line edit gets (QWaylandInputDevice::textInput on no device); a desktop always has a seat.
        export QT_IM_MODULE=none
        ready="[ -S $XDG_RUNTIME_DIR/tallyvane-test ]"
        # The protocol as the clients speak it: what the window really is, and whether a start connected at all.
        export WAYLAND_DEBUG=client
    else
        need Xvfb xdotool
        Xvfb -displayfd 3 -nolisten tcp 3>"$tmp/display" 2>"$tmp/xvfb.log" &
        servers="$servers $!"
        ready='[ -s "$tmp/display" ]'
    fi
    for _ in $(seq 100); do eval "$ready" && break || sleep 0.1; done
    eval "$ready" || fail "the display server did not start"
    [ "$platform" = wayland ] || export DISPLAY=":$(cat "$tmp/display")"
    db="$HOME/Documents/Tally Vane/Tally Vane.rbd"

    mkfifo "$tmp/in"
    "$helper" <"$tmp/in" >"$tmp/out" 2>"$tmp/first.log" &
    first=$!
    servers="$first $servers"
    exec 3>"$tmp/in"
    await() { # waits for the first start to say the line
        for _ in $(seq 300); do
            grep -qx "$1" "$tmp/out" && return 0
            kill -0 "$first" 2>/dev/null || break
            sleep 0.1
        done
        cat "$tmp/out"
        fail "the first start never said \"$1\""
    }
    windows() { # the program's visible top-level windows, as the display server has them
        if [ "$platform" = wayland ]; then
            grep -c 'xdg_surface@[0-9]*\.get_toplevel' "$1" || true
        else
            xdotool search --onlyvisible --name '^Tallyvane$' | wc -l
        fi
    }
    await typed
    grep -qx "platform $platform" "$tmp/out" || fail "not on $platform: $(head -1 "$tmp/out")"
    grep -qx "exposed 1" "$tmp/out" || fail "the window was never shown"
    [ "$(windows "$tmp/first.log")" = 1 ] || fail "the first start has not one window of its own"
    [ "$platform" = xcb ] || grep -q 'xdg_toplevel@[0-9]*\.set_title("Tallyvane")' "$tmp/first.log" ||
        fail "the window is no Wayland surface of the compositor's"
    [ "$(sqlite3 "$db" 'SELECT Projeto, Titulo FROM Tarefas')" = "Tallyvane|Ship 1.0" ] || fail "the task is not stored"

    # The second start asks the first forward and ends, without a window or a connection of its own.
    timeout 10 "$program" 2>"$tmp/second.log" || fail "the second start ended with $?: $(cat "$tmp/second.log")"
    await forward
    kill -0 "$first" || fail "the first start ended with the second"
    [ "$platform" = xcb ] || ! grep -q 'wl_display' "$tmp/second.log" || fail "the second start reached the compositor"
    [ "$(windows "$tmp/first.log")" = 1 ] || fail "a second window opened"

    echo quit >&3
    wait "$first" || fail "the program ended with $?: $(cat "$tmp/first.log" | tail -5)"
    grep -qx "messages " "$tmp/out" || fail "$(grep messages "$tmp/out")"
    grep -qx "closed 0" "$tmp/out" || fail "the program did not close"
    [ "$(wc -l <"$HOME/.config/Tallyvane")" = 41 ] || fail "the preferences file was not written whole"
    [ "$(sqlite3 "$db" 'PRAGMA integrity_check; SELECT count(*) FROM Tarefas')" = "ok
1" ] || fail "the database is not whole"
    ;;
*)
    fail "unknown mode $mode"
    ;;
esac
echo "ok: $mode"
