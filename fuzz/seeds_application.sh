#!/usr/bin/env bash
# Writes the seed corpus of fuzz_application: scripts of steps built from the
# server message seeds of fuzz_message_codec, so that the fuzzer starts with
# orders and text messages in the inbox and a configuration in force.
# A step: kind byte (0 server message, 2 navigation message, 3 unit event),
# then its bytes (see fuzz_application.cpp).
# Usage: fuzz/seeds_application.sh
set -euo pipefail
cd "$(dirname "$0")/.."
in=fuzz/corpus/message_codec
out=fuzz/corpus/application
mkdir -p "$out"

server() {  # a server message from the data stream: kind 0, flag 0, length, bytes
  local file=$in/$1
  printf '\x00\x00'
  printf "\\x$(printf '%02x' "$(stat -c %s "$file")")"
  cat "$file"
}
zuk() {  # the same as the unit's parameter "ZUK"
  local file=$in/$1
  printf '\x00\x01'
  printf "\\x$(printf '%02x' "$(stat -c %s "$file")")"
  cat "$file"
}
unit() { printf '\x03'; printf "$1"; }   # a unit event: selector and payload
nav() { printf '\x02'; printf "$1"; }    # a navigation message: class and fields

# The link comes up with a new session, the configuration arrives, orders and
# a text message follow, the driver works them.
{
  unit '\x00\x01'
  zuk configuration_all
  server new_order_smallest
  server new_order_full
  server text_message_hi
  unit '\x05\x31'
  unit '\x02\x03\x05\x02ab\x1f\x01c\x23\x00'
  nav '\x05\x00\x01\x02\x03\x04\x05\x06\x07'
  nav '\x09\x00\x01\x02\x03\x04\x05\x06\x07'
  nav '\x0c\x00\x01\x02\x03\x04\x05\x06\x07'
} >"$out/session"

# Server messages that change and remove what is there.
{
  server new_order_full
  server update_order_nulls
  server cancel_order
  server reset
  server tree_example_0501
} >"$out/server_changes"

# Position data: fixes from the unit, the GPS feed setting, the logbook.
{
  unit '\x00\x00'
  unit '\x06\x01\x01'
  unit '\x03\x41\x02\xde\x7a\x8e\x00\xb0\xa2\x0c\x33\x49\x43\x80\x00\x5a\x00\x00\x00\x07\x00'
  unit '\x04\x02\x01\x00\x12\xd6\x87'
  unit '\x01'
} >"$out/positions"
ls -la "$out"
