#!/bin/sh
# Draws pylon.ico again from pylon.svg (rsvg-convert of librsvg2-bin, convert of imagemagick).
set -eu
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for size in 16 20 24 32 48 64 256; do
  rsvg-convert -w $size -h $size pylon.svg -o "$work/$size.png"
done
convert "$work/16.png" "$work/20.png" "$work/24.png" "$work/32.png" "$work/48.png" "$work/64.png" \
  "$work/256.png" pylon.ico
