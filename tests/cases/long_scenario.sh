#!/bin/sh
# long_scenario.sh VORN_LAB SCENARIO: what it expects holds, and its trace replays to the same events.
set -eu
lab=$1 scenario=$2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
"$lab" simulate --quiet "$scenario" --trace "$place/trace.csv" --events "$place/lived.jsonl"
zone=$(sed -n 's/^time_zone = "\(.*\)"/\1/p' "$scenario")
TZ=${zone:-UTC} "$lab" replay "$place/trace.csv" --events "$place/replayed.jsonl" > "$place/story.txt"
cmp "$place/lived.jsonl" "$place/replayed.jsonl"
