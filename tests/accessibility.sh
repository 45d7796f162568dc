#!/bin/sh
# What a screen reader reads: the program on a private accessibility bus under Xvfb, walked by pyatspi.
#   accessibility.sh PROGRAM
# Exit 77 (skipped) only where a tool is not installed.
set -eu
program=$1
here=$(dirname "$0")
launcher=/usr/libexec/at-spi-bus-launcher
for tool in Xvfb dbus-run-session "$launcher"; do
    command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
/usr/bin/python3 -c 'import pyatspi' 2>/dev/null || { echo "SKIP: python3-pyatspi is not installed"; exit 77; }

home=$(mktemp -d)
xvfb=
cleanup() {
    [ -z "$xvfb" ] || kill "$xvfb" 2>/dev/null || true
    rm -rf "$home"
}
trap cleanup EXIT
# The services that the bus starts take its environment: the home is in place before it.
export HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" \
    XDG_CACHE_HOME="$home/.cache" XDG_RUNTIME_DIR="$home/run"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR" "$home/Documents"
chmod 700 "$XDG_RUNTIME_DIR"
echo 'XDG_DOCUMENTS_DIR="$HOME/Documents"' >"$XDG_CONFIG_HOME/user-dirs.dirs"
# An address book with one person in one group, for the import window to open on.
mkdir -p "$XDG_DATA_HOME/contacts"
printf 'BEGIN:VCARD\r\nVERSION:3.0\r\nUID:ada\r\nFN:Ada Lovelace\r\nN:Lovelace;Ada;;;\r\nEMAIL:ada@example.com\r\nCATEGORIES:Friends\r\nEND:VCARD\r\n' \
    >"$XDG_DATA_HOME/contacts/ada.vcf"

# Xvfb picks a free display and writes its number once it accepts clients. It must not reset when its last
# client leaves: the bus launcher's connection can end just as the program's begins, which a reset turns away.
Xvfb -displayfd 3 -noreset -screen 0 1280x1024x24 -nolisten tcp 3>"$home/display" 2>"$home/xvfb.log" &
xvfb=$!
while kill -0 "$xvfb" 2>/dev/null && [ ! -s "$home/display" ]; do
    sleep 0.1
done
[ -s "$home/display" ] || { cat "$home/xvfb.log"; echo "FAIL: Xvfb did not start"; exit 1; }
export DISPLAY=":$(cat "$home/display")"
# Under xcb the windows reach the bus, on offscreen they do not; the bridge starts without a desktop asking for it.
export QT_QPA_PLATFORM=xcb QT_ACCESSIBILITY=1 QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1

dbus-run-session -- sh -c '
    "$1" --launch-immediately &
    launcher=$!
    /usr/bin/python3 "$2" "$3" "$4"
    status=$?
    kill "$launcher" 2>/dev/null
    exit $status' sh "$launcher" "$here/accessibility.py" "$program" "$home/Documents/Tally Vane/Tally Vane.rbd" \
    2>"$home/bus.log" || {
    grep -v "fd limit" "$home/bus.log" >&2 || true
    kill -0 "$xvfb" 2>/dev/null || { echo "Xvfb ended:"; cat "$home/xvfb.log"; }
    exit 1
}
