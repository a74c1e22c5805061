#!/usr/bin/env bash
# Writes the seed corpus of fuzz_message_codec from JSON descriptions, with
# the velarnctl of a build: the worked examples of the message format, one
# message of each incoming class and the long header forms.
# Usage: fuzz/seeds_message_codec.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
velarnctl=${1:-build/release}/tools/velarnctl
out=fuzz/corpus/message_codec
mkdir -p "$out"

seed() {  # name, JSON description
  "$velarnctl" msg encode "$2" -o "$out/$1"
}

seed text_message_hi '{"id": "0x0404", "nodes": {"1": 7, "2": "Hi"}}'
seed tree_example_0501 '{"id": "0x0501", "nodes": {"1": 5000, "2": -1, "3": {"1": true, "2": 70000},
  "5": [null, {"bytes": "ab cd"}]}}'
seed new_order_smallest '{"id": "NewOrderInMsg", "nodes": {"1": 1001, "2": "A1", "3": 1, "4": "Go", "5": 1,
  "7": false}}'
seed new_order_full '{"id": "NewOrderInMsg", "nodes": {"1": 4000000001, "2": "ORD-7", "3": 300,
  "4": "Pick up two pallets", "5": 31, "6": {"1": 48137000, "2": -11575000, "3": "Marienplatz"},
  "7": true, "8": 790000000, "9": [{"1": "office", "2": "+49 89 1"}, {"2": "112"}]}}'
seed update_order_nulls '{"id": "UpdateOrderInMsg", "nodes": {"1": 7, "2": "B2", "6": null, "8": null,
  "9": null}}'
seed cancel_order '{"id": "CancelOrderInMsg", "nodes": {"1": 99}}'
seed configuration_all '{"id": "ConfigurationInMsg", "nodes": {"1": true, "2": false, "3": true, "4": true,
  "5": false, "6": true, "7": 600, "8": 3600, "10": false, "11": 2}}'
seed reset '{"id": "ResetInMsg", "nodes": {"1": true, "2": false}}'
seed text_message_workflow_event '{"id": "TextMessageWorkflowEventOutMsg", "nodes": {"1": 300000000000,
  "2": 0, "0x8D": 1000, "0x8E": 102}}'
seed integer_widths '{"id": 1, "nodes": {"1": 255, "2": 256, "3": 65535, "4": 65536, "5": 4294967295,
  "6": 4294967296, "7": -256, "8": -9223372036854775808}}'
seed long_forms "{\"id\": 2, \"nodes\": {\"1\": [$(printf 'null,%.0s' $(seq 299))null],
  \"2\": \"$(printf 'x%.0s' $(seq 300))\", \"3\": {\"1\": 1, \"2\": 2, \"3\": 3, \"4\": 4, \"5\": 5, \"6\": 6,
  \"7\": 7, \"8\": 8}}}"
ls -l "$out"
