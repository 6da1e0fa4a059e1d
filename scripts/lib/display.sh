# Starts a private Xvfb when no X display is set, and stops it (only it) when the script exits.
start_display() {
  if [ -n "${DISPLAY:-}" ]; then return 0; fi
  if ! command -v Xvfb > /dev/null; then return 0; fi
  local n
  for n in $(seq 90 120); do
    [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] || break
  done
  Xvfb ":$n" -screen 0 1920x1080x24 -nolisten tcp -noreset > /dev/null 2>&1 &
  QUELT_XVFB_PID=$!
  trap 'kill "$QUELT_XVFB_PID" 2> /dev/null || true' EXIT
  local i
  for i in $(seq 1 100); do
    if [ -e "/tmp/.X11-unix/X$n" ]; then break; fi
    sleep 0.05
  done
  export DISPLAY=":$n"
  echo "Xvfb on $DISPLAY (pid $QUELT_XVFB_PID)"
}
