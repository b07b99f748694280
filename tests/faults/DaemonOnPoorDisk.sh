#!/bin/bash
# Stands in the daemon's place and becomes it, on a disk that lacks what DATACOLLECTOR_DISK_LACKS names. For
# scripts/test-journals.sh, which sets DATACOLLECTOR_REAL_DAEMON and DATACOLLECTOR_FAULT_LIBRARY.
export LD_PRELOAD="$DATACOLLECTOR_FAULT_LIBRARY${LD_PRELOAD:+:$LD_PRELOAD}"
export ASAN_OPTIONS="verify_asan_link_order=0${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
exec -a DataCollector "$DATACOLLECTOR_REAL_DAEMON" "$@"
