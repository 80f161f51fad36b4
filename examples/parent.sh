#!/bin/bash
# A parent of parlen-mac-vm, to copy from: bash and jq.
#
#   parent.sh <bundle> [option of run...]
#   parent.sh create|clone|status <option...>
#
# The first one starts a guest, and takes one order per line from its own standard input, each only after the answer
# to the last:
#
#   {"type":"text","text":"ls\n"}   any command of the protocol, as JSON
#   wait running                    until the guest runs; also: held (by a full disk), network-lost, window-action, end
#   wait up                         until a guest with the guest kit is up; prints what it says. With --logs-share
#
# At the end of the orders it stops the guest: in order, then hard, then by killing the tool. Prints each event, and
# at last one line: how it ended. The status is the tool's.
set -uf
tool=${PARLEN_PROGRAM:-parlen-mac-vm}
read -r orderly_ms hard_ms <<<"${PARLEN_PATIENCE:-60000 10000}"  # for an orderly stop, for a hard one
proto=1
error=null stopped=null running=no ended=no action=no answer='' partial='' logs=.

# start <arguments of the tool...>: in a session of its own, so that Ctrl-C in this terminal does not switch the guest
# off. One jq reads the events of all its life and puts what matters here in front of them. Standard error goes where
# ours goes, and into the file `notes`: what is not read is lost.
start() {
  notes=$(mktemp) && trap 'rm -f "$notes"' EXIT
  coproc TOOL {
    exec setsid "$tool" "$@" \
      2> >(exec setsid tee -a "$notes" >&2) \
      > >(exec setsid jq --unbuffered -r '[.type, .state, .code, .proto, tojson] | map(tostring) | join("\u001f")')
  }
  tool_pid=${TOOL_PID?}
  exec {events}<&"${TOOL[0]}" {commands}>&"${TOOL[1]}"
  eval "exec ${TOOL[0]}<&- ${TOOL[1]}>&-"
  trap '' PIPE  # the tool may end while it is written to; not before its start: it would inherit this
}

send() {
  # The tool may have ended: then its end says what happened.
  { printf '%s\n' "$1" >&"$commands"; } 2>/dev/null || true
}

# take <type> <state> <code> <proto> <event>: what this event means; sets `answer` if it answers a command.
take() {
  case $1/$2 in
    ready/*) [[ $4 == "$proto" ]] || { error='{"code":"unknown-protocol"}' && kill -TERM "$tool_pid"; } ;;
    state/running) running=yes ;;
    state/stopped) stopped=$5 ;;
    guest-power/* | input-done/*) answer=given ;;
    window-action/*) action=yes ;;
    error/*)
      case $3 in
        pause-refused | resume-refused | input-failed) answer=refused ;;
        *) error=$5 ;;
      esac
      ;;
  esac # what is not known here is printed, and else ignored
}

# next_event [seconds]: reads one event; 1 when there was none in time. Sets `ended` at the end of the stream.
next_event() {
  local line result=0
  IFS= read -r ${1:+-t "$1"} -u "$events" line || result=$?
  partial+=$line
  ((result <= 128)) || return 1
  if ((result != 0)); then
    ended=yes
    return 1
  fi
  local IFS=$'\x1f'
  # shellcheck disable=SC2086  # it is to be split
  set -- $partial
  partial=
  printf '%s\n' "$5"
  take "$@"
}

# ask <command>: sends it and waits for its answer. Refusals overtake, so only one is ever under way.
ask() {
  answer=
  send "$1"
  while [[ -z $answer ]] && next_event; do :; done
}

# await_note <start of a line>: until standard error has it.
await_note() {
  until grep -q "^parlen-mac-vm: $1" "$notes" || [[ $ended == yes ]]; do next_event 0.05; done
}

await() {
  case $1 in
    running) while [[ $running == no ]] && next_event; do :; done ;;
    window-action) while [[ $action == no ]] && next_event; do :; done ;;
    held) await_note 'the guest is paused: ' ;;
    network-lost) await_note 'network attachment disconnected (' ;;
    end) while next_event; do :; done ;;
    up)
      until [[ -e $logs/up || $ended == yes ]]; do next_event 0.25; done
      [[ -e $logs/up ]] && jq -c . "$logs/up"
      ;;
  esac
}

obey() {
  case $1 in
    'wait '*) await "${1#wait }" ;;
    *)
      case $(jq -r .type <<<"$1") in
        pause | resume | text | key) ask "$1" ;;
        *) send "$1" ;;
      esac
      ;;
  esac
}

# end_within <ms>: reads on until the tool has ended its output, or the time is over.
end_within() {
  local -i left end=$((${EPOCHREALTIME/[.,]/} / 1000 + $1))
  while [[ $ended == no ]] && ((left = end - ${EPOCHREALTIME/[.,]/} / 1000, left > 0)); do
    next_event "$((left / 1000)).$(printf %03d $((left % 1000)))"
  done
  [[ $ended == yes ]]
}

stop() {
  send '{"type":"stop"}'
  end_within "$orderly_ms" || { kill -TERM "$tool_pid" && end_within "$hard_ms"; } || kill -KILL "$tool_pid"
  while [[ $ended == no ]]; do next_event; done
}

# finish: prints how it ended, once the process has. Its input stays open until here: its end would be a stop.
finish() {
  while [[ $ended == no ]]; do next_event; done
  exec {commands}>&-
  wait "$tool_pid"
  local -r status=$?
  jq -cn --argjson status "$status" --argjson stopped "$stopped" --argjson error "$error" \
    '{status: $status, crashed: ($stopped.crashed // ($error != null)), reason: $stopped.reason, error: $error.code}'
  exit "$status"
}

case $1 in
  create | clone | status) start "$@" ;;
  *)
    # The folder of the guest kit, without what an earlier run has left.
    for word; do [[ ${last-} == --logs-share ]] && logs=$word && rm -f "$logs/up"; last=$word; done
    start run --bundle "$@"
    while [[ $ended == no ]] && read -r order; do obey "$order"; done
    stop
    ;;
esac
finish
