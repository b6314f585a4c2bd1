#!/usr/bin/env bash
# Installs what is missing, builds relka, starts the local service simulator
# on a free loopback port and starts the program pointed at it, with demo
# settings of its own under build/demo (never the user's settings): a
# rectangle, an area and a data source chosen, the work files in
# build/demo/work.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
. scripts/simulator.sh

trap stop_simulator EXIT
start_simulator build build/relka-sim.log
demo=$(pwd)/build/demo
write_demo_settings "$demo/config" "$demo/work"
export XDG_CONFIG_HOME=$demo/config
echo "Services simulated at $simulator_address (log: build/relka-sim.log); work files in $demo/work"
build/app/relka "$@"
