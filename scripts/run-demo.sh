#!/usr/bin/env bash
# The demo: builds the host and the display emulator, starts two emulated LED
# displays and the Lumarex host with a display list that points at them.
#
#   display 1 "Lobby sign"   one unit at address 1, TCP port P
#   display 2 "Gate signs"   a group of four units (addresses 1 to 4), port P+1
#
# The emulators stop when the host exits.
#
#   scripts/run-demo.sh                   optimised build (build/release)
#   scripts/run-demo.sh --dev             debug build (build/dev)
#   scripts/run-demo.sh --fresh           forget the demo's settings, variables and display list first
#   scripts/run-demo.sh -- ARGS...        extra arguments for Lumarex
#                                         (for example -- --screenshot shot.png)
#
# Environment: LUMAREX_DEMO_PORT (default 47010) is the first emulator's TCP
# port; LUMAREX_DEMO_BUILD names an already configured build folder to use
# instead of a preset's.
# Everything the demo writes lives in <build>/demo/: the host's folder with its
# Displays.dat (host/), both settings stores (settings/) and the logs, so the
# demo never needs root and never touches this machine's real settings.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
fresh=0
lumarex_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --dev) preset=dev ;;
    --release) preset=release ;;
    --fresh) fresh=1 ;;
    --) shift; lumarex_args=("$@"); break ;;
    -h|--help) sed -n '2,21p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "run-demo: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

have_screen=0
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  have_screen=1
fi
if [ "$have_screen" = 0 ] && [ ${#lumarex_args[@]} -eq 0 ]; then
  cat >&2 <<'EOF'
run-demo: there is no screen here (neither DISPLAY nor WAYLAND_DISPLAY is set).
The demo shows windows: run it on a virtual screen instead, for example
    xvfb-run -a -s "-screen 0 1600x1000x24" bash scripts/run-demo.sh
and look at it through a VNC server on that screen, or take screenshots with
    bash scripts/run-demo.sh -- --screenshot lumarex.png
Checking the build meanwhile with the host's self-test.
EOF
fi

if ! scripts/install-deps.sh; then
  echo "run-demo: could not install the packages (run scripts/install-deps.sh as root once)" >&2
fi

if [ -n "${LUMAREX_DEMO_BUILD:-}" ]; then
  build="${LUMAREX_DEMO_BUILD%/}"
  cmake --build "$build" -j2 --target Lumarex lumarex-emulator qmdvars
else
  build="build/$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target Lumarex lumarex-emulator qmdvars
fi
bin="$(cd "$build/bin" && pwd)"
demo="$build/demo"
[ "$fresh" = 1 ] && rm -rf "$demo"
mkdir -p "$demo/host" "$demo/settings"
demo="$(cd "$demo" && pwd)"
export ZOL_MACHINE_STORE="$demo/settings/machine.ini"
export ZOL_USER_STORE="$demo/settings/user.ini"
port="${LUMAREX_DEMO_PORT:-47010}"
port2=$((port + 1))

# The host's folder: its display list, written once; the host's display list
# editor may change it afterwards.
if [ ! -f "$demo/host/Displays.dat" ]; then
  cat >"$demo/host/Displays.dat" <<EOF
# Lumarex display list: number|name|kind|link target|serial parameters|TCP port|dial number|addresses
1|Lobby sign|3|127.0.0.1||$port||1
2|Gate signs|3|127.0.0.1||$port2||1
EOF
  echo "run-demo: wrote $demo/host/Displays.dat (display 1 at 127.0.0.1:$port, display 2 at 127.0.0.1:$port2)"
fi
if [ ! -f "$bin/BadWords.txt" ]; then
  printf '# Words the bad-word checker masks, one a line.\ndarn\nheck\n' >"$bin/BadWords.txt"
fi

pids=()
stop_emulators() {
  for pid in "${pids[@]}"; do
    if kill -0 "$pid" 2>/dev/null; then
      kill "$pid" 2>/dev/null || true
      wait "$pid" 2>/dev/null || true
    fi
  done
}
trap stop_emulators EXIT INT TERM

# start_emulator LOG ARGS...: starts one and waits until it listens.
start_emulator() {
  local log="$1"
  shift
  local args=("$@")
  [ "$have_screen" = 1 ] || args+=(--headless)
  "$bin/lumarex-emulator" "${args[@]}" >"$log" 2>&1 &
  pids+=($!)
  for _ in $(seq 1 100); do
    grep -q '^LISTENING tcp' "$log" 2>/dev/null && break
    if ! kill -0 "${pids[-1]}" 2>/dev/null; then
      echo "run-demo: an emulator did not start (is the port taken? set LUMAREX_DEMO_PORT):" >&2
      cat "$log" >&2
      exit 1
    fi
    sleep 0.1
  done
  if ! grep -q '^LISTENING tcp' "$log"; then
    echo "run-demo: an emulator is not listening after 10 s (log: $log)" >&2
    exit 1
  fi
  echo "run-demo: emulator $(grep '^LISTENING tcp' "$log" | head -n1) (log: $log)"
}
start_emulator "$demo/emulator-1.log" --tcp "127.0.0.1:$port" --demo --label "display 1 Lobby sign"
start_emulator "$demo/emulator-2.log" --tcp "127.0.0.1:$port2" --group 1:1,1,b --label "display 2 Gate signs (group of 4)"

# The web console over the same displays and variables (scripts/demo-serve.sh).
source scripts/demo-serve.sh
start_web "$demo" "$bin"

# A first playfile with a variable token, so Transmit shows a variable at once.
host_args=(--app-path "$demo/host")
if [ ${#lumarex_args[@]} -eq 0 ] || ! printf '%s\n' "${lumarex_args[@]}" | grep -qx -- '--playfile'; then
  host_args+=(--playfile 'WELCOME VBL001')
fi

if [ "$have_screen" = 1 ]; then
  cat <<EOF
run-demo: starting the host; the web console is $web_url (account $web_account, password $web_password). First steps:
  1. Plug-ins > Variable Access/QMD opens the variable manager; type a text for Text Var 1.
  2. Press "Update Display", tick display 1 or 2 and the variable, and watch the emulator's sign.
  3. Back in the host, press Transmit: the playfile "WELCOME VBL001" shows with your text.
EOF
  "$bin/Lumarex" "${host_args[@]}" "${lumarex_args[@]}"
elif [ ${#lumarex_args[@]} -gt 0 ] && command -v xvfb-run >/dev/null; then
  # No screen: the host runs on a virtual one (for screenshots and checks).
  xvfb-run -a "$bin/Lumarex" "${host_args[@]}" "${lumarex_args[@]}"
else
  if ! QT_QPA_PLATFORM=offscreen "$bin/Lumarex" --app-path "$demo/host" --self-test; then
    echo "run-demo: the host's self-test failed" >&2
    exit 1
  fi
  # No screen: the displays and the web console keep running until Ctrl-C.
  echo "run-demo: the emulated displays and the web console run until Ctrl-C; log in from a browser:"
  print_web
  wait
fi
