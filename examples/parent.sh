#!/bin/bash
# parent.sh <bundle> - a parent of parlen-mac-vm, to copy from: bash and jq.
#
# Starts a guest, and takes one order per line from its own standard input, each only after the answer to the last:
#
#   pause | resume | type <text> | press <chord> | show <title> | hide | wait running
#
# At the end of the orders it stops the guest: in order, then hard, then by killing the tool. Prints each event, and
# at last one line: how the run ended. The status is the tool's.
set -u
tool=${PARLEN_PROGRAM:-parlen-mac-vm}
patience=${PARLEN_PATIENCE:-60}  # seconds for an orderly stop; a sixth of it for a hard one
proto=1

# A session of its own: Ctrl-C in this terminal must not switch the guest off. Standard error goes where ours goes.
coproc TOOL { exec setsid "$tool" run --bundle "$1"; }
tool_pid=${TOOL_PID?}
exec {events}<&"${TOOL[0]}" {commands}>&"${TOOL[1]}"
eval "exec ${TOOL[0]}<&- ${TOOL[1]}>&-"
trap '' PIPE  # the tool may end while it is written to; not before its start: it would inherit this

error=null stopped=null running=no ended=no answer=

send() {
  # The tool may have ended: then its end says what happened.
  { printf '%s\n' "$1" >&"$commands"; } 2>/dev/null || true
}

# take <event>: what this event means; sets `answer` if it answers a command.
take() {
  local type state code
  IFS=$'\t' read -r type state code < <(jq -r '[.type, .state // "-", .code // "-"] | @tsv' <<<"$1")
  case $type/$state in
    ready/*) [[ $(jq .proto <<<"$1") == "$proto" ]] || kill -TERM "$tool_pid" ;;
    state/running) running=yes ;;
    state/stopped) stopped=$1 ;;
    guest-power/* | input-done/*) answer=given ;;
    error/*)
      case $code in
        pause-refused | resume-refused | input-failed) answer=refused ;;
        *) error=$1 ;;
      esac
      ;;
  esac # what is not known here is printed, and else ignored
}

# next_event [seconds]: reads one event; 1 when there was none in time. Sets `ended` at the end of the stream.
next_event() {
  local line result=0
  IFS= read -r ${1:+-t "$1"} -u "$events" line || result=$?
  ((result <= 128)) || return 1
  if ((result != 0)); then
    ended=yes
    return 1
  fi
  printf '%s\n' "$line"
  take "$line"
}

# ask <command>: sends it and waits for its answer. Refusals overtake, so only one is ever under way.
ask() {
  answer=
  send "$1"
  while [[ -z $answer ]] && next_event; do :; done
}

await_running() {
  while [[ $running == no ]] && next_event; do :; done
}

# end_within <seconds>: reads on until the tool has ended its output, or the time is over.
end_within() {
  local -r end=$((SECONDS + $1))
  while [[ $ended == no ]] && ((SECONDS < end)); do next_event 1 || true; done
  [[ $ended == yes ]]
}

obey() {
  local -r order=$1 rest=$2
  case $order in
    pause | resume) ask "{\"type\":\"$order\"}" ;;
    type) ask "$(jq -cn --arg text "$rest" '{type: "text", text: $text}')" ;;
    press) ask "$(jq -cn --arg key "$rest" '{type: "key", key: $key}')" ;;
    show) send "$(jq -cn --arg title "$rest" '{type: "window", show: true, title: $title}')" ;;
    hide) send '{"type":"window","show":false}' ;;
    wait) await_running ;;
    *) echo "parent.sh: unknown order '$order'" >&2 ;;
  esac
}

while read -r order rest && [[ $ended == no ]]; do
  obey "$order" "$rest"
done

send '{"type":"stop"}'
end_within "$patience" || { kill -TERM "$tool_pid" && end_within $((patience / 6 + 1)); } ||
  kill -KILL "$tool_pid"
# Standard input stays open until here: its end would be a stop.
while [[ $ended == no ]]; do next_event; done
exec {commands}>&-
wait "$tool_pid"
status=$?
jq -cn --argjson status "$status" --argjson stopped "$stopped" --argjson error "$error" \
  '{status: $status, crashed: ($stopped.crashed // ($error != null)), reason: $stopped.reason, error: $error.code}'
exit "$status"
