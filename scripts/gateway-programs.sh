# shellcheck shell=bash
# What the scripts that run a gateway's programs in the private root have in common. To be sourced.

# The programs that run, ended by end_programs in this order.
daemon='' simulator='' broker=''

# Waits for a condition, at most so many seconds.
wait_for() {
  local tries=$(($1 * 20))
  shift
  until "$@"; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || return 1
    sleep 0.05
  done
}

# shellcheck disable=SC2317  # called by wait_for
broker_answers() { (exec 3<>/dev/tcp/127.0.0.1/1883) 2>/dev/null; }

# Starts the broker, which writes to this file. Returns 1 if it does not answer.
start_broker() {
  printf '%s\n' 'user root' 'listener 1883 127.0.0.1' 'allow_anonymous true' 'persistence false' 'max_queued_messages 0' \
    'set_tcp_nodelay true' "log_dest file $1" >/tmp/broker.conf
  mosquitto -c /tmp/broker.conf >>"$1" 2>&1 &
  broker=$!
  wait_for 10 broker_answers
}

end_programs() {
  local process
  for process in $simulator $daemon $broker; do
    kill -TERM "$process" 2>/dev/null || true
  done
  wait || true
}
