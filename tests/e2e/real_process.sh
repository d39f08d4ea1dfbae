#!/bin/sh
# The real daemon as a process: start-up and two cycles, kill -9, restart. Usage: real_process.sh PATH/TO/vorn
set -eu
PROGRAM_DIR=$(cd "$(dirname "$1")" && pwd)
E2E=$(dirname "$0")
. "$E2E/sandbox.sh"
box=$(mktemp -d)
trap 'kill -9 $daemon 2>/dev/null || :; rm -rf "$box"' EXIT
umask 022
sandbox_make "$box"
nvcfg=$box/mnt/vendor/nvcfg/vorn
failures=0

expect() { # WHAT FOUND EXPECTED
    if [ "$2" = "$3" ]; then return; fi
    echo "FAIL: $1: found '$2', expected '$3'"
    failures=$((failures + 1))
}
logged() { grep -cF -- "$1" "$box/log" || :; }

start() { # the log goes to $box/log, empty before anyone waits for a line of this boot in it
    : >"$box/log"
    (sandbox_run "$box" /program/vorn) 2>"$box/log" &
    daemon=$!
}
wait_for() { # TEXT, in the log
    tries=0
    until grep -qF -- "$1" "$box/log" 2>/dev/null; do
        tries=$((tries + 1))
        if [ $tries -gt 250 ]; then
            echo "FAIL: '$1' never came; the log:"
            cat "$box/log"
            exit 1
        fi
        sleep 0.1
    done
}
kill_daemon() {
    kill -9 "$daemon"
    wait "$daemon" 2>/dev/null || :
}

# First start, from nothing: defaults, every property published.
start
wait_for "vorn running on platform VELDRANE"
expect "info lines in brief form" "$(grep -cE '^I/vorn    \( *[0-9]+\): --- vorn attempting to migrate' "$box/log")" 1
expect "error lines in brief form" "$(grep -cE '^E/vorn    \( *[0-9]+\): --- vorn No saved datetime ---$' "$box/log")" 1
expect "records in a form of their own" \
    "$(grep -cE '^M8/vorn    \( *[0-9]+\): lx6wwu6k:8ynv/2/03330401:100:.*table_valid=0;IN,stress_hours=0;IN' "$box/log")" 1
for property in toc=4450 batt_stress=4450 disable_charging.enabled=0; do
    expect "$property" "$(cat "$box/var/lib/vorn/persist.vendor.vorn.${property%%=*}")" "${property#*=}"
done
expect "pulldown property" "$(cat "$box/run/vorn/vendor.vorn.pulldown_toc")" 4450
expect "mode of a state file" "$(stat -c %a "$nvcfg/last_datetime")" 644
expect "mode of a test file made by reading it" "$(stat -c %a "$box/data/vendor/vorn/mock_batt_stress_offset")" 444
expect "size of last_datetime" "$(stat -c %s "$nvcfg/last_datetime")" 8

# The first cycle follows at once, the second after ten seconds. A node vanishes in between.
wait_for "zy5i/2/03330400"
rm "$box/sys/class/power_supply/battery/voltage_now"
wait_for "error getting sensor data, do not push"
expect "the missing node named" \
    "$(logged "file read error /sys/class/power_supply/battery/voltage_now ---")" 1
kill_daemon

# Second start: the permanent step of a stress trip is taken from its file, and the clock is not lost.
echo 4123456 >"$box/sys/class/power_supply/battery/voltage_now"
printf '\002' >"$nvcfg/toc_clients"
start
wait_for "vorn running on platform VELDRANE"
wait_for "zy5i/2/03330400"
expect "the step restored" "$(cat "$box/var/lib/vorn/persist.vendor.vorn.toc")" 4350
expect "a saved datetime now" "$(logged "No saved datetime")" 0
expect "nothing half-written" "$(find "$box/var" "$box/run" -name '*.new' | wc -l)" 0
kill_daemon

[ $failures -eq 0 ] && echo "1 passed, 0 failed"
exit $failures
