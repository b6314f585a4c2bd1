#!/usr/bin/env bash
# Starts relka on a private X server (Xvfb), waits until its window is shown,
# saves a picture of it, opens the settings dialog from the keyboard, saves a
# picture of that, then closes both with Escape and checks that the program
# ended cleanly.
#
#   scripts/screenshot.sh [build directory] [output directory]
#
# Defaults: build and docs. The program runs with a private settings store
# holding a sample rectangle, so the user's own settings are never touched.
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

scratch=$(mktemp -d)
xvfb=""
program=""
stop_session() {
  [ -n "$program" ] && kill "$program" 2>/dev/null || true
  [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null || true
  wait 2>/dev/null || true
  program="" xvfb=""
}
trap 'stop_session; rm -rf "$scratch"' EXIT

mkdir -p "$scratch/config/Brenholt" "$scratch/work"
cat >"$scratch/config/Brenholt/relka.conf" <<CONF
[General]
downloadNorth=40.25
downloadSouth=39.75
downloadWest=-106
downloadEast=-105
downloadArea=1° (lon) by 0.5° (lat)
elevationDataSource=SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]
CONF

# Prints the id of the viewable window with the given title, or fails.
viewable_window() {
  local info
  info=$(xwininfo -name "$1" 2>/dev/null) || return 1
  grep -q 'Map State: IsViewable' <<<"$info" || return 1
  awk '/Window id:/ { print $4; exit }' <<<"$info"
}

wait_for_window() {
  local id
  for _ in $(seq 100); do
    if id=$(viewable_window "$1"); then
      sleep 0.5 # let the first paint finish
      echo "$id"
      return 0
    fi
    sleep 0.2
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
  # The default working directory "." is the scratch folder.
  (cd "$scratch/work" && exec "$relka") &
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
echo "Saved $out/main-dialog.png and $out/settings-dialog.png"
