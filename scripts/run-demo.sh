#!/usr/bin/env bash
# The demo: builds the host, the display emulator and qmdvars, starts two
# emulated LED displays and the Lumarex host with a display list that points at them.
#
#   display 1 "Lobby sign"   one unit at address 1, TCP port P
#   display 2 "Gate signs"   a group of four units (addresses 1 to 4), port P+1
#
# With a screen the emulators stop when the host exits. Without one the host
# only checks itself, and the emulators keep running headless for qmdvars
# until `scripts/run-demo.sh --stop`.
#
#   scripts/run-demo.sh                   optimised build (build/release)
#   scripts/run-demo.sh --dev             debug build (build/dev)
#   scripts/run-demo.sh --fresh           forget everything the demo wrote first (settings, variables, display list)
#   scripts/run-demo.sh --stop            stop the signs and console left running by a run without a screen
#   scripts/run-demo.sh -- ARGS...        extra arguments for Lumarex
#                                         (for example -- --screenshot shot.png)
#
# Environment: LUMAREX_DEMO_PORT (default 47010) is the first emulator's TCP
# port; LUMAREX_DEMO_BUILD names an already configured build folder to use
# instead of a preset's.
# Everything the demo writes lives in <build>/demo/: the host's folder with its
# Displays.dat (host/), both settings stores (settings/), the variable file
# (QMDvarinfo.vls), the logs and `env`, which points qmdvars at all of these
# (`. <build>/demo/env`), so the demo never needs root and never touches this
# machine's real settings.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
fresh=0
stop=0
lumarex_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --dev) preset=dev ;;
    --release) preset=release ;;
    --fresh) fresh=1 ;;
    --stop) stop=1 ;;
    --) shift; lumarex_args=("$@"); break ;;
    -h|--help) sed -n '2,26p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "run-demo: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

# Emulators a run without a screen left running: stopped by --stop, and before
# every new run (they hold the ports).
stop_left_running() {
  local demo_dir="$1"
  [ -f "$demo_dir/emulators.pid" ] || return 0
  while read -r pid; do
    kill "$pid" 2>/dev/null || true
  done <"$demo_dir/emulators.pid"
  rm -f "$demo_dir/emulators.pid"
}
if [ "$stop" = 1 ]; then
  for d in build/*/demo; do [ -d "$d" ] && stop_left_running "$d"; done
  echo "run-demo: stopped the demo's signs and web console"
  exit 0
fi

have_screen=0
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  have_screen=1
fi

if ! scripts/install-deps.sh; then
  echo "run-demo: could not install the packages (run scripts/install-deps.sh as root once)" >&2
fi

targets=(Lumarex lumarex-emulator qmdvars)
if [ -n "${LUMAREX_DEMO_BUILD:-}" ]; then
  build="${LUMAREX_DEMO_BUILD%/}"
  cmake --build "$build" -j2 --target "${targets[@]}"
else
  build="build/$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target "${targets[@]}"
fi
bin="$(cd "$build/bin" && pwd)"
demo="$build/demo"
stop_left_running "$demo"
[ "$fresh" = 1 ] && rm -rf "$demo"
mkdir -p "$demo/host" "$demo/settings"
demo="$(cd "$demo" && pwd)"
export ZOL_MACHINE_STORE="$demo/settings/machine.ini"
export ZOL_USER_STORE="$demo/settings/user.ini"
port="${LUMAREX_DEMO_PORT:-47010}"
port2=$((port + 1))

# The demo's own variable file, named in its own settings (the value the
# plug-in reads as "QMDVarFileLoc"), so that --fresh forgets the variables too.
if ! grep -qs 'QMDVarFileLoc' "$ZOL_MACHINE_STORE"; then
  python3 - "$ZOL_MACHINE_STORE" "$demo/QMDvarinfo.vls" <<'PYTHON'
import sys
store, vls = sys.argv[1], sys.argv[2]
line = 'Morvel\\Lumarex3\\VariablePlugin\\QMDVarFileLoc="%s"\n' % vls.replace('\\', '\\\\').replace('"', '\\"')
try:
    lines = open(store).readlines()
except FileNotFoundError:
    lines = []
if '[Software]\n' in lines:
    lines.insert(lines.index('[Software]\n') + 1, line)
else:
    lines += (['\n'] if lines else []) + ['[Software]\n', line]
open(store, 'w').writelines(lines)
PYTHON
fi
cat >"$demo/env" <<ENV
# Source this (. $demo/env) to work on the demo with qmdvars: its settings,
# display list ($demo/host/Displays.dat) and variable file ($demo/QMDvarinfo.vls).
export ZOL_MACHINE_STORE="$ZOL_MACHINE_STORE"
export ZOL_USER_STORE="$ZOL_USER_STORE"
export PATH="$bin:\$PATH"
ENV

# The host's folder: its display list, written once; the host's display list
# editor may change it afterwards.
if [ ! -f "$demo/host/Displays.dat" ]; then
  cat >"$demo/host/Displays.dat" <<LIST
# Lumarex display list: number|name|kind|link target|serial parameters|TCP port|dial number|addresses
1|Lobby sign|3|127.0.0.1||$port||1
2|Gate signs|3|127.0.0.1||$port2||1
LIST
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

# wait_listening LOG WHAT PORT_VARIABLE: waits until the program started last
# writes its LISTENING line to LOG; stops the demo when it exits or takes 10 s.
wait_listening() {
  local log="$1" what="$2" port_variable="$3"
  for _ in $(seq 1 100); do
    grep -q '^LISTENING ' "$log" 2>/dev/null && return 0
    if ! kill -0 "${pids[-1]}" 2>/dev/null; then
      echo "run-demo: $what did not start (is the port taken? set $port_variable):" >&2
      cat "$log" >&2
      exit 1
    fi
    sleep 0.1
  done
  echo "run-demo: $what is not listening after 10 s (log: $log)" >&2
  exit 1
}

# start_emulator LOG ARGS...: starts one and waits until it listens.
start_emulator() {
  local log="$1"
  shift
  local args=("$@")
  [ "$have_screen" = 1 ] || args+=(--headless)
  "$bin/lumarex-emulator" "${args[@]}" >"$log" 2>&1 &
  pids+=($!)
  wait_listening "$log" "an emulator" LUMAREX_DEMO_PORT
}
# The signs one above the other and the host to their right (--geometry), so
# that no window covers another on a screen of 1600 x 1000 or more.
start_emulator "$demo/emulator-1.log" --tcp "127.0.0.1:$port" --demo --label "display 1 Lobby sign" \
  --geometry 760x240+0+0
start_emulator "$demo/emulator-2.log" --tcp "127.0.0.1:$port2" --group 1:1,1,b \
  --label "display 2 Gate signs (group of 4)" --geometry 760x240+0+300

# The web console over the same displays and variables (scripts/demo-serve.sh).
source scripts/demo-serve.sh
start_web "$demo" "$bin"

# A first playfile with a variable token, so Transmit shows a variable at once.
host_args=(--app-path "$demo/host" --geometry +780+0)
if [ ${#lumarex_args[@]} -eq 0 ] || ! printf '%s\n' "${lumarex_args[@]}" | grep -qx -- '--playfile'; then
  host_args+=(--playfile 'WELCOME VBL001')
fi

# What runs now and what to do next: always the last lines the script prints.
cli_steps() {
  echo "  On the command line (in another terminal), with the demo's settings:"
  echo "      . $demo/env"
  echo "      qmdvars set 1 --data \"TERMINAL B\" && qmdvars update --displays 1 --vars 1"
  echo "      qmdvars history --display 1"
}

if [ "$have_screen" = 1 ]; then
  echo
  echo "run-demo: now running: two emulated signs (display 1 at 127.0.0.1:$port, display 2 at 127.0.0.1:$port2)"
  echo "  and the Lumarex host (its log: $demo/lumarex.log). Closing the host stops them all."
  echo "  Next, in the host's window:"
  echo "    1. Plug-ins > Variable Access/QMD opens the variable manager; type a text for Text Var 1."
  echo "    2. Press \"Update Display\", tick Text Var 1, OK, then Select All, OK: the signs show it."
  echo "    3. Press \"Done\", then Transmit: the playfile \"WELCOME VBL001\" shows with your text."
  cli_steps
  echo "  The web console, in a browser on this machine:"
  print_web
  "$bin/Lumarex" "${host_args[@]}" "${lumarex_args[@]}" >"$demo/lumarex.log" 2>&1
elif [ ${#lumarex_args[@]} -gt 0 ] && command -v xvfb-run >/dev/null; then
  # No screen: the host runs on a virtual one (for screenshots and checks).
  xvfb-run -a "$bin/Lumarex" "${host_args[@]}" "${lumarex_args[@]}"
else
  if ! QT_QPA_PLATFORM=offscreen "$bin/Lumarex" --app-path "$demo/host" --self-test >"$demo/self-test.log" 2>&1; then
    cat "$demo/self-test.log" >&2
    echo "run-demo: the host's self-test FAILED (its output is above and in $demo/self-test.log)" >&2
    exit 1
  fi
  # The signs stay on for qmdvars; --stop (or the next run) ends them.
  printf '%s\n' "${pids[@]}" >"$demo/emulators.pid"
  pids=()
  echo
  echo "run-demo: the build works (the host's self-test passed: $demo/self-test.log)."
  echo "  There is no screen here (neither DISPLAY nor WAYLAND_DISPLAY is set), so no window opened."
  echo "  Now running, headless: qmdvars serve (the web console) and display 1 at 127.0.0.1:$port and display 2 at 127.0.0.1:$port2;"
  echo "  what each sign shows is logged as SHOW lines in $demo/emulator-1.log and emulator-2.log."
  cli_steps
  echo "      grep SHOW $demo/emulator-1.log | tail -n 1"
  echo "  The windows, on a virtual screen (look at it through a VNC server, or take screenshots):"
  echo "      xvfb-run -a -s \"-screen 0 1600x1000x24\" bash scripts/run-demo.sh"
  echo "  Stop the signs and the console with: bash scripts/run-demo.sh --stop"
  echo "  Log in from a browser:"
  print_web
fi
