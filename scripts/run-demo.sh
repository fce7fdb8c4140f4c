#!/usr/bin/env bash
# The demo: builds the host and the display emulator, starts an emulated LED
# display on a TCP port, and starts the Lumarex host with a display list that
# points at it. The emulator stops when the host exits.
#
#   scripts/run-demo.sh                   optimised build (build/release)
#   scripts/run-demo.sh --dev             debug build (build/dev)
#   scripts/run-demo.sh -- ARGS...        extra arguments for Lumarex
#                                         (for example -- --screenshot shot.png)
#
# Environment: LUMAREX_DEMO_PORT (default 47010) is the emulator's TCP port;
# LUMAREX_DEMO_BUILD names an already configured build folder to use instead
# of a preset's.
# Settings live in <build>/demo/ (ZOL_MACHINE_STORE, ZOL_USER_STORE), so the
# demo never needs root and never touches this machine's real settings.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=release
lumarex_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --dev) preset=dev ;;
    --release) preset=release ;;
    --) shift; lumarex_args=("$@"); break ;;
    -h|--help) sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "run-demo: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

if ! scripts/install-deps.sh; then
  echo "run-demo: could not install the packages (run scripts/install-deps.sh as root once)" >&2
fi

if [ -n "${LUMAREX_DEMO_BUILD:-}" ]; then
  build="${LUMAREX_DEMO_BUILD%/}"
  cmake --build "$build" -j2 --target Lumarex lumarex-emulator
else
  build="build/$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target Lumarex lumarex-emulator
fi
bin="$build/bin"
demo="$build/demo"
mkdir -p "$demo"
demo="$(cd "$demo" && pwd)"
export ZOL_MACHINE_STORE="$demo/machine.ini"
export ZOL_USER_STORE="$demo/user.ini"
port="${LUMAREX_DEMO_PORT:-47010}"

# One emulated display, written once; the host's display list editor may change it.
if [ ! -f "$bin/Displays.dat" ]; then
  cat >"$bin/Displays.dat" <<EOF
# Lumarex display list: number|name|kind|link target|serial parameters|TCP port|dial number|addresses
1|Emulated display|3|127.0.0.1||$port||1
EOF
  echo "run-demo: wrote $bin/Displays.dat (display 1 at 127.0.0.1:$port)"
fi
if [ ! -f "$bin/BadWords.txt" ]; then
  printf '# Words the bad-word checker masks, one a line.\ndarn\nheck\n' >"$bin/BadWords.txt"
fi

have_display=0
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  have_display=1
fi

emulator_args=(--tcp "127.0.0.1:$port" --demo)
[ "$have_display" = 1 ] || emulator_args+=(--headless)
"$bin/lumarex-emulator" "${emulator_args[@]}" >"$demo/emulator.log" 2>&1 &
emulator_pid=$!
stop_emulator() {
  if kill -0 "$emulator_pid" 2>/dev/null; then
    kill "$emulator_pid" 2>/dev/null || true
    wait "$emulator_pid" 2>/dev/null || true
  fi
}
trap stop_emulator EXIT INT TERM

# Wait until it listens (or gives up, for example when the port is taken).
for _ in $(seq 1 100); do
  grep -q '^LISTENING tcp' "$demo/emulator.log" 2>/dev/null && break
  if ! kill -0 "$emulator_pid" 2>/dev/null; then
    echo "run-demo: the emulator did not start:" >&2
    cat "$demo/emulator.log" >&2
    exit 1
  fi
  sleep 0.1
done
if ! grep -q '^LISTENING tcp' "$demo/emulator.log"; then
  echo "run-demo: the emulator is not listening after 10 s" >&2
  exit 1
fi
echo "run-demo: emulator $(grep '^LISTENING tcp' "$demo/emulator.log" | head -n1) (log: $demo/emulator.log)"

if [ "$have_display" = 1 ]; then
  "$bin/Lumarex" "${lumarex_args[@]}"
elif command -v xvfb-run >/dev/null && [ ${#lumarex_args[@]} -gt 0 ]; then
  # No screen: the host runs on a virtual one (for screenshots and checks).
  xvfb-run -a "$bin/Lumarex" "${lumarex_args[@]}"
else
  echo "run-demo: no display; running the host's self-test instead" >&2
  QT_QPA_PLATFORM=offscreen "$bin/Lumarex" --self-test
fi
