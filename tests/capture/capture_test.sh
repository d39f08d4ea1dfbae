#!/bin/sh
# tools/capture.sh run for real on made-up nodes, its trace replayed.
# Usage: capture_test.sh PATH/TO/vorn-lab SHELL...     (for example busybox sh)
set -eu
lab=$1
shift
shell=$*
capture=$(cd "$(dirname "$0")/../.." && pwd)/tools/capture.sh
command -v "$1" >/dev/null || {
    echo "SKIP: no $1 here"
    exit 77
}
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
cd "$box"
failures=0

expect() { # WHAT FOUND EXPECTED
    if [ "$2" = "$3" ]; then return; fi
    printf 'FAIL: %s:\nfound    %s\nexpected %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}
run() { $shell "$capture" "$@"; }
wait_for_rows() { # FILE ROWS, the header not counted
    until [ -e "$1" ] && [ "$(wc -l <"$1")" -gt "$2" ]; do sleep 0.1; done
}
without_times() { sed 's/^[0-9]*,[0-9]\{10\},/E,R,/'; }

# Every kind of node, and text that CSV must quote.
printf '4123456\n' >voltage
printf -- '-250' >temp
: >capacity
mkdir unreadable
printf 'Not "charging", or\nso\n' >status
printf '\n' >vendor
printf ' 7\n' >ui_soc
printf '60\n' >mock
nodes="voltage_now=voltage temp=temp capacity=capacity current_now=unreadable status=status
gm30_ui_soc=ui_soc cell_vendor_name=vendor thermal_zone6_temp=nowhere vbus= charge_counter= cycle_count=
mock_n_day_threshold_sec=mock mock_batt_stress_offset=nowhere"
expected='elapsed_s,realtime_s,voltage_now,temp,capacity,current_now,status,gm30_ui_soc,cell_vendor_name,thermal_zone6_temp,mock_n_day_threshold_sec,mock_batt_stress_offset
E,R,4123456,-250,<empty>,<error>,"Not ""charging"", or
so"," 7"," ",,60,<missing>'
# shellcheck disable=SC2086  # words on purpose
run -n 1 $nodes >one.csv
expect "one sample" "$(without_times <one.csv)" "$expected"

# The daemon reads the same from the replay as it would from the nodes.
mkdir -p root/data/vendor/vorn
printf '20000\n' >root/data/vendor/vorn/mock_batt_stress_offset
"$lab" replay one.csv --root root --save-root root --events events.jsonl
expect "the short reads" "$(grep -c 'file read error' events.jsonl)" 5
expect "the test file that is not there" "$(grep -o 'stress_hours=[0-9]*' events.jsonl)" "stress_hours=0"
expect "the other one" "$(cat root/data/vendor/vorn/mock_n_day_threshold_sec)" 60
expect "the voltage" "$(grep -o 'batt_volt=[0-9]*' events.jsonl)" "batt_volt=4123"

# Time runs on from row to row, on both clocks, and nodes are read anew.
begin=$(date +%s)
$shell "$capture" -i 1.1 -n 3 -o three.csv voltage_now=voltage &
wait_for_rows three.csv 1
printf '4000000\n' >voltage
wait $!
expect "first and last voltage" "$(sed -n '2p;$p' three.csv | cut -d, -f3 | tr '\n' ' ')" "4123456 4000000 "
elapsed=$(sed -n '$s/,.*//p' three.csv)
end=$(sed -n '$s/^[0-9]*,\([0-9]*\),.*/\1/p' three.csv)
expect "elapsed seconds $elapsed" "$([ "$elapsed" -ge 2 ] && [ "$elapsed" -le 60 ] && echo right)" right
expect "wall clock $end" "$([ "$end" -ge $((begin + 2)) ] && [ "$end" -le "$(date +%s)" ] && echo right)" right
"$lab" replay three.csv --series series.csv >replay.log
expect "cycles" "$(grep -c '^1,' series.csv)" 3

# A signal stops it at once, between two rows.
for signal in TERM HUP; do
    rm -f stopped.csv
    $shell "$capture" -i 60 -o stopped.csv voltage_now=voltage &
    process=$!
    wait_for_rows stopped.csv 1
    begin=$(date +%s)
    kill -s $signal $process
    status=0
    wait $process || status=$?
    expect "exit status after $signal" $status 0
    expect "stopped by $signal at once" "$([ $(($(date +%s) - begin)) -le 20 ] && echo yes)" yes
    expect "last row" "$(sed -n '2s/^[0-9]*,[0-9]*,4000000,.*$/whole/p' stopped.csv)" whole
    expect "rows" "$(wc -l <stopped.csv)" 2
    expect "nothing after the last line feed" "$(tail -c 1 stopped.csv | od -An -tx1 | tr -d ' ')" 0a
done

# Bad usage says what, and writes nothing.
for arguments in "-i x" "-i ." "-n -1" "voltage=voltage" "voltage" "-o nowhere/trace.csv"; do
    status=0
    # shellcheck disable=SC2086  # words on purpose
    message=$(run -n 1 $arguments 2>&1 >out) || status=$?
    expect "exit status of $arguments" $status 2
    expect "lines about $arguments" "$(printf '%s\n' "$message" | wc -l)" 1
    expect "output of $arguments" "$(cat out)" ""
done

[ $failures -eq 0 ] && echo "all as expected under $shell"
[ $failures -eq 0 ]
