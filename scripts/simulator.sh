# Sourced by the scripts that run the program against the local service
# simulator or the gateway. start_simulator BUILD_DIR LOG_FILE starts
# BUILD_DIR/sim/relka-sim on a free loopback port, waits until it listens and
# points the program's three services at it; start_service PROGRAM LOG_FILE
# [OPTIONS...] does the same for another server that prints its address
# (relka-gateway); stop_simulator ends either.

start_simulator() {
  start_service "$1/sim/relka-sim" "$2"
}

start_service() {
  local fifo
  fifo=$(mktemp -u)
  mkfifo "$fifo"
  "$1" --listen 127.0.0.1:0 "${@:3}" >"$fifo" 2>"$2" &
  simulator=$!
  local address=""
  read -r -t 20 address <"$fifo" || true
  rm -f "$fifo"
  if [ -z "$address" ]; then
    echo "$(basename "$1") did not start (log: $2)" >&2
    return 1
  fi
  export RELKA_ELEVATION_SERVER=$address RELKA_TILE_SERVER=$address RELKA_GEOCODER=$address
  simulator_address=$address
}

stop_simulator() {
  [ -n "${simulator:-}" ] && kill "$simulator" 2>/dev/null || true
  simulator=""
}

# write_demo_settings CONFIG_HOME WORK_DIR: a settings store with a 1° x 0.5°
# rectangle near Boulder, SRTM 3 arc-second data, WORK_DIR as the working
# directory and the GeoTIFF, world files, a heightmap for Unreal and the
# hillshade as additional outputs, unless CONFIG_HOME holds one already.
write_demo_settings() {
  local file=$1/Brenholt/relka.conf
  mkdir -p "$1/Brenholt" "$2"
  [ -e "$file" ] && return 0
  cat >"$file" <<CONF
[General]
downloadNorth=40.25
downloadSouth=39.75
downloadWest=-106
downloadEast=-105
downloadArea=1° (lon) by 0.5° (lat)
elevationDataSource=SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]
workingDirectory=$2
additionalOutputs=geotiff, worldfiles, heightmap, hillshade
heightmapEngine=unreal
CONF
}
