#!/usr/bin/env bash
# Writes the seed corpus of fuzz_context_load: real context files, written by
# the unit simulator of a build (velarnctl unit --context), which keeps its
# transport session in the same format as the daemon: one with an empty
# queue, one with server messages queued while no daemon answered.
# Usage: fuzz/seeds_context_load.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
velarnctl=${1:-build/release}/tools/velarnctl
out=fuzz/corpus/context_load
mkdir -p "$out"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Nobody listens at the peer, so the link stays down and messages stay queued.
unit() {  # name, commands
  printf '%s\n' "$2" | "$velarnctl" unit --local 127.0.0.1:0 --peer 127.0.0.1:9 --no-connect \
    --context "$scratch/$1" >/dev/null
  cp "$scratch/$1" "$out/$1"
}
unit empty_queue 'quit'
unit queued_messages 'send {"id": "NewTextMessageInMsg", "nodes": {"1": 7, "2": "Hi"}}
send {"id": "CancelOrderInMsg", "nodes": {"1": 1001}}
send hex 04 06 01 c1
quit'
ls -la "$out"
