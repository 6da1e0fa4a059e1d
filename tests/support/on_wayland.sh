#!/bin/sh
# Runs the window suite on a compositor that scripts/lib/wayland.sh started: sway with its frames or
# quelt's, weston, or kwin (only the scaled-output test). Exits 77 (skipped) without that compositor.
run=$1 suite=$2 frames=server sock="" only="*"
case $run in
  sway*) dir=${QUELT_SWAY_DIR:-} sock=$dir/ipc.sock && [ $run = sway ] || frames=client ;;
  weston) dir=${QUELT_WESTON_DIR:-} ;;
  kwin) dir=${QUELT_KWIN_DIR:-} only="Windows.ScaledOutput*" && export QUELT_FRACTIONAL_RUN=1 ;;
esac
[ -n "$dir" ] && [ -S "$dir/wayland-1" ] || { echo "no $run compositor: skipped"; exit 77; }
exec env -u DISPLAY -u WAYLAND_SOCKET XDG_RUNTIME_DIR="$dir" WAYLAND_DISPLAY="$dir/wayland-1" \
  SWAYSOCK="$sock" QUELT_DECORATIONS=$frames "$suite" --gtest_brief=1 --gtest_filter="$only"
