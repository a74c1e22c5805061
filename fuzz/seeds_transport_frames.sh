#!/usr/bin/env bash
# Writes the seed corpus of fuzz_transport_frames: scripts in its record
# format (see the head of fuzz/fuzz_transport_frames.cpp). The layer starts
# connected in session 0x1234 with one packet (number 1) in flight.
# Usage: fuzz/seeds_transport_frames.sh
set -euo pipefail
cd "$(dirname "$0")/.."
out=fuzz/corpus/transport_frames
mkdir -p "$out"

bytes() { for b in "$@"; do printf "\\x$b"; done; }
frame() { printf "\\x$(printf %02x $#)"; bytes "$@"; }        # one packet from the unit
data() { local s=$1; shift; frame 42 43 "$s" "$@"; }              # sequence, payload
ack() { frame 42 44 "$1"; }
send() { local f=$1; shift; bytes f0 "$f" "$(printf %02x $#)" "$@"; }  # flags, payload
op() { bytes "$1"; }                  # f1 Disconnect, f2 Listen, f3 Connect, f4 Stop+Listen
request() { frame 42 40 00 01 03 "$1" "$2"; }  # connect request, session low, high

{ data 01 04 06; ack 01; frame 42 45 00; data 01 04 06; data 02 04 03 01 01 00 02; data 00; } \
  >"$out/data_and_acks"
{ send 01 04 0b; ack 01; send 02 04 07 01 01 00 01; send 04 01 01; ack 02; ack 03; ack 09; } >"$out/sends"
{ request 00 00; request 00 00; data 00 04 06; data 01 04 06; } >"$out/reconnect"
{
  frame                                 # empty
  frame 42 43                           # too short
  frame 41 43 01 04 06                  # wrong magic
  frame 42 83 01 04 06                  # wrong direction
  frame 42 42 01                        # type 2
  frame 42 47 01                        # type 7
  frame 42 40 00 01 03 34               # short connect request
  frame 42 46 00 01                     # short reset
  frame 42 46 00 01 03                  # reset
  frame 42 41 00 01 03 34 12            # connect response while connected
  frame 42 73 05 04 06                  # data with bits 5-4 set
} >"$out/malformed"
{
  send 02 04 07 01 01 00 02; send 01 08 01; op f4; request 34 12; ack 01; data 03 04 06
  op f4; request 00 00; data 01 04 06
} >"$out/stop_and_resume"
{
  op f1; data 01 04 06; op f3; request 34 12; frame 42 41 00 01 03 34 12; data 01 04 06
  op f1; op f3; frame 42 41 00 01 03 99 00; op f2
} >"$out/disconnect_and_connect"
