#!/bin/sh
# Renders the application icon's PNG sizes from its SVG drawing; rerun after changing the drawing.
# Needs rsvg-convert (Debian package librsvg2-bin). Run from anywhere.
set -eu
cd "$(dirname "$0")"
for size in 16 32 48 64 128 256; do
    rsvg-convert --width "$size" --height "$size" com.tallyvane.Tallyvane.svg --output "com.tallyvane.Tallyvane-$size.png"
done
