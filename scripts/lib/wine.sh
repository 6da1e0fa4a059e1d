# A persistent wineserver for quelt's Wine prefix while the Windows suite runs: each test
# program then starts in a fraction of a second instead of bringing Wine up and down again.
# Call start_wineserver in a subshell of its own: it sets that subshell's EXIT trap (replacing
# any other, so start a private Xvfb outside it) to stop the server, and it stops only a server
# it started itself.
QUELT_WINE_RUN="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/wine-run"

start_wineserver() {
  local wine_run=$QUELT_WINE_RUN
  "$wine_run" --init
  local attempt status
  for attempt in $(seq 1 20); do
    "$wine_run" --server > /dev/null 2>&1 < /dev/null &
    QUELT_WINESERVER_PID=$!
    sleep 0.3
    if kill -0 "$QUELT_WINESERVER_PID" 2> /dev/null; then
      trap 'stop_wineserver' EXIT
      echo "wineserver for the Wine prefix (pid $QUELT_WINESERVER_PID)"
      # The first program brings up Wine's system processes, which keep its standard error
      # open as long as they live: start them here, on no terminal or pipe that anyone reads
      # to the end (CTest would wait for them until its time-out).
      "$wine_run" cmd /c exit > /dev/null 2>&1 < /dev/null
      return 0
    fi
    status=0
    wait "$QUELT_WINESERVER_PID" || status=$?
    QUELT_WINESERVER_PID=""
    # 2: a server already runs for the prefix. One left by an earlier program ends within
    # seconds; a persistent one of someone else is used as it is.
    [ "$status" -eq 2 ] || { echo "wineserver failed to start ($status)" >&2; return 1; }
    sleep 0.5
  done
  echo "a wineserver of another run serves the Wine prefix; leaving it as it is"
}

stop_wineserver() {
  local wine_run=$QUELT_WINE_RUN
  if [ -n "${QUELT_WINESERVER_PID:-}" ] && kill -0 "$QUELT_WINESERVER_PID" 2> /dev/null; then
    "$wine_run" --kill || true
    wait "$QUELT_WINESERVER_PID" 2> /dev/null || true
  fi
  QUELT_WINESERVER_PID=""
}
