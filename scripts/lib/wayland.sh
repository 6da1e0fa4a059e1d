# Wayland compositors for the window suites, on their headless backends: sway (wlroots, with the
# pixman renderer; it refuses to run as root, so it runs as an unprivileged user made for it,
# while clients connect as the caller) and weston. Each gets a runtime directory of its own;
# only the processes started here are stopped, when the script exits.
#   start_sway [scale]   sets QUELT_SWAY_DIR: its runtime directory, with wayland-1 and ipc.sock
#   start_weston         sets QUELT_WESTON_DIR: its runtime directory, with wayland-1
#   start_kwin           sets QUELT_KWIN_DIR: kwin's virtual backend at scale 1.5 (fractional
#                        scaling), its runtime directory with wayland-1
QUELT_WAYLAND_PIDS=()
QUELT_WAYLAND_DIRS=()

stop_compositors() {
  local pid
  for pid in "${QUELT_WAYLAND_PIDS[@]}"; do kill "$pid" 2> /dev/null || true; done
  for pid in "${QUELT_WAYLAND_PIDS[@]}"; do wait "$pid" 2> /dev/null || true; done
  rm -rf "${QUELT_WAYLAND_DIRS[@]}"
  QUELT_WAYLAND_PIDS=()
  QUELT_WAYLAND_DIRS=()
}

# Waits up to 10 s for a socket to appear.
wait_socket() {  # path
  local i
  for i in $(seq 1 200); do [ -S "$1" ] && return 0; sleep 0.05; done
  return 1
}

# A runtime directory of its own for a compositor, removed when the script exits: QUELT_NEW_DIR.
new_runtime_dir() {  # name, mode
  QUELT_NEW_DIR=$(mktemp -d "/tmp/quelt-$1.XXXXXX")
  QUELT_WAYLAND_DIRS+=("$QUELT_NEW_DIR")
  chmod "$2" "$QUELT_NEW_DIR"
  trap 'stop_compositors; type stop_displays > /dev/null 2>&1 && stop_displays' EXIT
}

# Keeps the compositor just started (its process) to be stopped, waits until it listens on
# wayland-1 in its directory and names that directory in the given variable.
listening() {  # name, variable, directory, process
  QUELT_WAYLAND_PIDS+=("$4")
  wait_socket "$3/wayland-1" || { echo "$1 did not start:" >&2; cat "$3/log" >&2; return 1; }
  export "$2=$3"
  echo "$1 on $3/wayland-1 (pid $4)"
}

start_sway() {  # [scale]
  command -v sway > /dev/null || return 0
  local user=quelt-wayland dir
  id -u "$user" > /dev/null 2>&1 || useradd -M -s /usr/sbin/nologin "$user" 2> /dev/null ||
    { echo "no user to run sway as: skipped" >&2; return 0; }
  new_runtime_dir sway 711
  dir=$QUELT_NEW_DIR
  chown "$user" "$dir"
  cat > "$dir/config" <<CONFIG
output HEADLESS-1 resolution 1280x800 scale ${1:-1}
default_border none
default_floating_border none
for_window [title=".*"] floating enable
seat seat0 fallback true
CONFIG
  runuser -u "$user" -- env -i PATH="$PATH" XDG_RUNTIME_DIR="$dir" WLR_BACKENDS=headless \
    WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 SWAYSOCK="$dir/ipc.sock" \
    sway -c "$dir/config" > "$dir/log" 2>&1 &
  QUELT_WAYLAND_PIDS+=($!)
  wait_socket "$dir/wayland-1" && wait_socket "$dir/ipc.sock" ||
    { echo "sway did not start:" >&2; cat "$dir/log" >&2; return 1; }
  # Clients run as the caller: the sockets are the sway user's, open to connect.
  chmod 777 "$dir/wayland-1" "$dir/ipc.sock" 2> /dev/null || true
  export QUELT_SWAY_DIR="$dir"
  echo "sway on $dir/wayland-1 (pid ${QUELT_WAYLAND_PIDS[-1]})"
}

start_weston() {
  command -v weston > /dev/null || return 0
  new_runtime_dir weston 700
  local dir=$QUELT_NEW_DIR
  # --debug offers the screenshooter that the suite reads windows back through.
  env -u DISPLAY -u WAYLAND_DISPLAY XDG_RUNTIME_DIR="$dir" weston --backend=headless-backend.so \
    --socket=wayland-1 --width=1280 --height=800 --idle-time=0 --use-pixman --debug > "$dir/log" 2>&1 &
  listening weston QUELT_WESTON_DIR "$dir" $!
}

start_kwin() {
  command -v kwin_wayland > /dev/null || return 0
  new_runtime_dir kwin 700
  local dir=$QUELT_NEW_DIR
  # Debian's kwin_wayland carries a file capability (to raise its scheduling priority), which a
  # container without that capability refuses to execute: a copy runs without it.
  cp "$(command -v kwin_wayland)" "$dir/kwin_wayland"
  # A 1280 x 800 logical screen at scale 1.5: 1920 x 1200 device pixels.
  env -u DISPLAY -u WAYLAND_DISPLAY XDG_RUNTIME_DIR="$dir" XDG_CONFIG_HOME="$dir/config" \
    QT_QPA_PLATFORM=offscreen KWIN_COMPOSE=Q "$dir/kwin_wayland" --virtual --no-lockscreen \
    --width 1280 --height 800 --scale 1.5 --socket wayland-1 > "$dir/log" 2>&1 &
  listening kwin QUELT_KWIN_DIR "$dir" $!
}
