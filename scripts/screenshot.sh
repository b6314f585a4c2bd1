#!/usr/bin/env bash
# Starts relka on a private X server (Xvfb) against the local service
# simulator, waits until its window is shown, saves a picture of it, opens
# the settings dialog from the keyboard and saves a picture of that, closes
# it, presses "&Download" from the keyboard, waits for the information box
# of a finished run, closes it and saves a picture of the finished window,
# then closes the program with Escape and checks that it ended cleanly.
#
#   scripts/screenshot.sh [build directory] [output directory]
#
# Defaults: build and docs. The program runs with a private settings store
# holding the demo rectangle, so the user's own settings are never touched.
# Needs Xvfb, xwininfo (x11-utils) and xdotool; the end-to-end test runs it.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
out=${2:-docs}
mkdir -p "$out"
out=$(realpath "$out")

relka=$build/app/relka
grab=$build/tests/app/grabscreen
for tool in Xvfb xwininfo xdotool "$relka" "$grab"; do
  command -v "$tool" >/dev/null || { echo "screenshot.sh: $tool not found" >&2; exit 1; }
done

. scripts/simulator.sh
scratch=$(mktemp -d)
xvfb=""
program=""
stop_session() {
  [ -n "$program" ] && kill "$program" 2>/dev/null || true
  [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null || true
  wait "$program" "$xvfb" 2>/dev/null || true
  program="" xvfb=""
}
trap 'stop_session; stop_simulator; rm -rf "$scratch"' EXIT

start_simulator "$build" "$scratch/relka-sim.log"
write_demo_settings "$scratch/config" "$scratch/work"

# Prints the id of the viewable window with the given title, or fails.
# Qt keeps hidden helper windows under the application's name too.
viewable_window() {
  local id
  id=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | head -n 1)
  [ -n "$id" ] && echo "$id"
}

# wait_for_window TITLE [TENTHS_OF_SECONDS]
wait_for_window() {
  local id
  for _ in $(seq "${2:-200}"); do
    if id=$(viewable_window "$1"); then
      sleep 0.5 # let the first paint finish
      echo "$id"
      return 0
    fi
    sleep 0.1
  done
  echo "screenshot.sh: no window \"$1\" appeared" >&2
  cat "$scratch/xvfb.log" >&2
  return 1
}

# Starts a private X server and the program on it; fails when either does
# not come up. -displayfd makes the server pick a free display and tell us
# its number.
start_session() {
  rm -f "$scratch/display"
  mkfifo "$scratch/display"
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$scratch/display" 2>"$scratch/xvfb.log" &
  xvfb=$!
  local number
  read -r -t 20 number <"$scratch/display" || { echo "screenshot.sh: Xvfb did not start" >&2; return 1; }
  export DISPLAY=:$number QT_QPA_PLATFORM=xcb XDG_CONFIG_HOME=$scratch/config
  "$relka" &
  program=$!
  main=$(wait_for_window "Relka - OSM & SRTM Data")
}

# Other X servers starting or stopping on the same machine at the same
# moment can make a start fail now and then: try again on a fresh server.
for attempt in 1 2 3; do
  start_session && break
  stop_session
  [ "$attempt" -lt 3 ] || exit 1
  echo "screenshot.sh: starting again" >&2
done
"$grab" "$out/main-dialog.png" "$main"

# The address field has the focus; two tabs lead to "Settings...".
xdotool windowfocus --sync "$main"
xdotool key --delay 100 Tab Tab space
settings=$(wait_for_window "Settings")
"$grab" "$out/settings-dialog.png" "$settings"

xdotool key Escape
for _ in $(seq 50); do
  viewable_window "Settings" >/dev/null || break
  sleep 0.2
done
# Alt+D presses "&Download"; a whole run ends in the information box.
xdotool windowfocus --sync "$main"
xdotool key alt+d
wait_for_window "relka" 6000 >/dev/null || { tail -5 "$scratch/work/messages.txt" >&2; exit 1; }
xdotool key Return
for _ in $(seq 50); do
  viewable_window "relka" >/dev/null || break
  sleep 0.2
done
sleep 0.5
"$grab" "$out/main-dialog-finished.png" "$main"
for result in -el-corr.png -el-col-scaled.png; do
  ls "$scratch/work/"*"$result" >/dev/null || { echo "screenshot.sh: no $result written" >&2; exit 1; }
done

xdotool windowfocus --sync "$main"
xdotool key Escape

status=0
for _ in $(seq 50); do
  kill -0 "$program" 2>/dev/null || break
  sleep 0.2
done
if kill -0 "$program" 2>/dev/null; then
  echo "screenshot.sh: relka did not close on Escape" >&2
  exit 1
fi
wait "$program" || status=$?
program=""
[ "$status" -eq 0 ] || { echo "screenshot.sh: relka exited with $status" >&2; exit 1; }
echo "Saved $out/main-dialog.png, $out/settings-dialog.png and $out/main-dialog-finished.png"
