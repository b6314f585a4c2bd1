#!/usr/bin/env bash
# Installs what is missing, builds relka, starts the local service simulator
# on a free loopback port and starts the program pointed at it, with demo
# settings of its own under build/demo (never the user's settings): a
# rectangle, an area and a data source chosen, the work files in
# build/demo/work.
# With --real first, relka-gateway takes the simulator's place: real terrain
# from public sources, configured by its RELKA_GATEWAY_* environment
# variables (see README.md); the sources' attribution goes to
# build/demo/work/ATTRIBUTION.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
real=""
if [ "${1:-}" = "--real" ]; then
  real=1
  shift
fi
scripts/install-deps.sh
scripts/build.sh build
. scripts/simulator.sh

trap stop_simulator EXIT
demo=$(pwd)/build/demo
write_demo_settings "$demo/config" "$demo/work"
if [ -n "$real" ]; then
  start_service build/gateway/relka-gateway build/relka-gateway.log \
    --attribution-file "$demo/work/ATTRIBUTION.txt"
  echo "Services from public data at $simulator_address (log: build/relka-gateway.log); work files in $demo/work"
else
  start_simulator build build/relka-sim.log
  echo "Services simulated at $simulator_address (log: build/relka-sim.log); work files in $demo/work"
fi
export XDG_CONFIG_HOME=$demo/config
build/app/relka "$@"
