# X servers for the window suites. Each server is a private Xvfb that chooses its own free
# display number (-displayfd), so that several suites may start servers at the same time; only
# the processes started here are stopped, when the script exits.
#   start_display      a bare Xvfb as DISPLAY, unless a display is set already
#   start_wm_display   a second Xvfb with openbox managing it, as QUELT_WM_DISPLAY
QUELT_DISPLAY_PIDS=()

stop_displays() {
  local pid
  for pid in "${QUELT_DISPLAY_PIDS[@]}"; do kill "$pid" 2> /dev/null || true; done
  for pid in "${QUELT_DISPLAY_PIDS[@]}"; do wait "$pid" 2> /dev/null || true; done
  QUELT_DISPLAY_PIDS=()
}

# Starts an Xvfb (of 24-bit colour unless a depth is given) and sets QUELT_NEW_DISPLAY to its
# display (":N") once it accepts clients; fails after 10 s.
new_xvfb() {  # [depth]
  local number_file number="" i
  number_file=$(mktemp)
  Xvfb -displayfd 3 -screen 0 "1920x1080x${1:-24}" -nolisten tcp -noreset 3> "$number_file" \
    > /dev/null 2>&1 &
  QUELT_DISPLAY_PIDS+=($!)
  # Xvfb writes the number, with a line end, when it is ready.
  for i in $(seq 1 200); do
    number=$(cat "$number_file")
    case "$number" in *[0-9]) [ "$(wc -l < "$number_file")" -ge 1 ] && break ;; esac
    kill -0 "${QUELT_DISPLAY_PIDS[-1]}" 2> /dev/null || break
    sleep 0.05
  done
  rm -f "$number_file"
  number=$(echo "$number" | tr -dc 0-9)
  [ -n "$number" ] || { echo "Xvfb did not start" >&2; return 1; }
  # Under load the number can come before the server answers: wait for its first answer.
  for i in $(seq 1 200); do
    xdpyinfo -display ":$number" > /dev/null 2>&1 && break
    sleep 0.05
  done
  xdpyinfo -display ":$number" > /dev/null 2>&1 || { echo "Xvfb :$number does not answer" >&2; return 1; }
  QUELT_NEW_DISPLAY=":$number"
}

start_display() {
  if [ -n "${DISPLAY:-}" ]; then return 0; fi
  if ! command -v Xvfb > /dev/null; then return 0; fi
  trap stop_displays EXIT
  new_xvfb || return 1
  export DISPLAY=$QUELT_NEW_DISPLAY
  echo "Xvfb on $DISPLAY (pid ${QUELT_DISPLAY_PIDS[-1]})"
}

start_wm_display() {
  command -v Xvfb > /dev/null && command -v openbox > /dev/null || return 0
  trap stop_displays EXIT
  local display i
  new_xvfb || return 1
  display=$QUELT_NEW_DISPLAY
  DISPLAY=$display openbox --config-file /dev/null > /dev/null 2>&1 &
  QUELT_DISPLAY_PIDS+=($!)
  # The window manager is ready when it has announced itself on the root window.
  for i in $(seq 1 200); do
    DISPLAY=$display xprop -root _NET_SUPPORTING_WM_CHECK 2> /dev/null | grep -q 'window id' && break
    sleep 0.05
  done
  DISPLAY=$display xprop -root _NET_SUPPORTING_WM_CHECK 2> /dev/null | grep -q 'window id' ||
    { echo "openbox did not start on $display" >&2; return 1; }
  export QUELT_WM_DISPLAY=$display
  echo "Xvfb with openbox on $QUELT_WM_DISPLAY (pid ${QUELT_DISPLAY_PIDS[-1]})"
}
