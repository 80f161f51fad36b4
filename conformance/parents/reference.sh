#!/bin/bash
# Puts examples/parent.sh through the conformance kit:  reference.sh <request>
set -u
request=$1
here=$(dirname "$(readlink -f "$0")")
# In the tree, or where both are installed.
parent=$here/../../examples/parent.sh
[[ -e $parent ]] || parent=$here/../../../doc/parlen-mac-vm/examples/parent.sh

eval "$(jq -r '"export PARLEN_PROGRAM=\(.tool | @sh) PARLEN_PATIENCE=\(.patienceMs | join(" ") | @sh)
  arguments=(\(.arguments | @sh))"' "$request")"
if [[ ${arguments[0]} == run ]]; then arguments=("${arguments[@]:2}"); fi # parent.sh <bundle> [option...]

folder=$(mktemp -d) && trap 'rm -rf "$folder"' EXIT
# In a file, which the shell reads in blocks; a pipe it reads byte by byte.
jq -rc '.steps[] | if .wait then "wait " + .wait else .send end' "$request" >"$folder/orders"
# The parent's standard error has ended only when the tool's has.
"$parent" "${arguments[@]}" 2>&1 >"$folder/events" <"$folder/orders" | tee "$folder/notes" >&2

# shellcheck disable=SC2016
jq -cn --slurpfile events "$folder/events" --rawfile notes "$folder/notes" --slurpfile request "$request" '
  ($events | last) as $how | ($events[:-1] | last) as $last
  | ($request[0].steps | map(.send // empty)) as $sent
  | [$events[] | if .type == "guest-power" or .type == "input-done" then "done"
      elif .type == "error" then .code | select(. == ("pause-refused", "resume-refused", "input-failed"))
      else empty end] as $given
  | reduce $sent[] as $command ({given: $given, answers: []};
      if $command.type == "window" then .answers += ["sent"]
      else .answers += [.given[0] // "ended"] | .given |= .[1:] end)
  | .answers as $answers
  | (if $how.error == "unknown-protocol" then {outcome: $how.error}
      elif $request[0].arguments[0] != "run" and $how.status == 0 then {outcome: "done", last: $last}
      elif ($how.reason // "" | startswith("guest stopped")) then {outcome: "shut-down"}
      elif $how.reason == "host requested stop" then {outcome: "switched-off"}
      elif $how.error then {outcome: "failed", code: $how.error}
      else {outcome: "killed"} end)
  + {answers: $answers, actions: [$events[] | select(.type == "window-action").action],
     noticed: [$notes | split("\n")[]
       | if startswith("parlen-mac-vm: the guest is paused: ") then "held"
         elif startswith("parlen-mac-vm: network attachment disconnected (") then "network-lost"
         else empty end]}'
