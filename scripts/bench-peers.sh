#!/bin/sh
# The daemon against a Python script (bench/peers/store.py) that does what one would write in its place: paho-mqtt and
# sqlite3 from Debian's packages, the database kept open with a write-ahead log and full synchronisation, QoS 2. Both
# take their turns at the same broker; records/s, CPU, syncs, bytes and peak memory of each.
#
# Usage: bench-peers.sh [--disk] [ROUNDS [RECORDS]]     as bench-flood.sh
exec "${0%/*}/bench-flood.sh" --script "$@"
