#!/bin/sh
# Checks what the desktop gets from an install, with the freedesktop and Debian tools as the judges.
#   desktop_integration.sh files   BUILD APP_ID      installed launcher, AppStream entry and icons
#   desktop_integration.sh manual  BUILD             the manual page renders without a warning
#   desktop_integration.sh package BUILD APP_ID VERSION DATE   the .deb holds everything where it belongs,
#                                                              and lintian finds nothing to say against it
# Exit 77 (skipped) only where a tool is not installed.
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
    # A release whose changelog was not brought up to date.
    dpkg-deb --fsys-tarfile "$deb" | tar -xO ./usr/share/doc/tallyvane/changelog.gz | gzip -dc >"$tmp/changelog"
    [ "$(dpkg-parsechangelog -l "$tmp/changelog" -S Version)" = "$version" ] || fail "the changelog is not at $version"
    [ "$(date -u -d "$(dpkg-parsechangelog -l "$tmp/changelog" -S Date)" +%F)" = "$date" ] ||
        fail "the changelog's last entry is not dated $date"
    # Every error, warning and hardening tag fails; the pedantic and informational rest is shown.
    lintian -I --pedantic --no-cfg "$deb" >"$tmp/lintian" 2>&1 || true
    cat "$tmp/lintian"
    ! grep -E '^(E|W): |hardening' "$tmp/lintian" || fail "lintian"
    # The package overrides lintian's fortify tag, whose heuristic cannot see calls proved safe at compile
    # time: the fortified wrappers of glibc's headers in the binary's debug lines show the flag was there.
    readelf --debug-dump=line "$build/app/tallyvane" | grep -q 'string_fortified\.h' ||
        fail "the program is not built with _FORTIFY_SOURCE"
    ;;
*)
    fail "unknown mode $mode"
    ;;
esac
echo "ok: $mode"
