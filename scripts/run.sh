#!/usr/bin/env bash
# Installs what is missing, builds relka, starts the local service simulator
# on a free loopback port and starts the program pointed at it.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build

fifo=$(mktemp -u)
mkfifo "$fifo"
build/sim/relka-sim --listen 127.0.0.1:0 >"$fifo" 2>build/relka-sim.log &
sim=$!
trap 'kill $sim 2>/dev/null || true; rm -f "$fifo"' EXIT
read -r address <"$fifo"

export RELKA_ELEVATION_SERVER=$address RELKA_TILE_SERVER=$address RELKA_GEOCODER=$address
echo "Services simulated at $address (log: build/relka-sim.log)"
build/app/relka "$@"
