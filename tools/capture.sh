#!/bin/sh
# Samples the nodes that vorn reads and writes a trace that "vorn-lab replay" takes: one row per sample, with
# the wall clock and the seconds since the first one (which run on while the device sleeps).
#
# A node that is missing gives an empty cell, one that cannot be read <error>, one that holds nothing <empty>.
# Runs on a device (adb shell) and on any Linux machine; needs a POSIX shell, date, head and sleep.
#
# shellcheck disable=SC2034  # the variables of the nodes are used through eval

usage() {
    cat <<'END'
Usage: capture.sh [-i SECONDS] [-n SAMPLES] [-o FILE] [COLUMN=PATH]...

  -i SECONDS   from one sample to the next (default 10, as the daemon)
  -n SAMPLES   stop after so many (default: until interrupted)
  -o FILE      write there (default: standard output)
  COLUMN=PATH  read this column from another node; without PATH leave the column out

Columns: voltage_now temp charge_counter cycle_count capacity current_now status gm30_ui_soc
cell_vendor_name thermal_zone6_temp vbus mock_n_day_threshold_sec mock_batt_stress_offset

A laptop, for example, whose battery tells no temperature:
  capture.sh -o trace.csv temp= voltage_now=/sys/class/power_supply/BAT0/voltage_now ...
  vorn-lab replay --set temp=250 trace.csv
END
}

fail() {
    echo "capture.sh: $1" >&2
    exit 2
}

battery=/sys/class/power_supply/battery
data=/data/vendor/vorn
columns="voltage_now temp charge_counter cycle_count capacity current_now status gm30_ui_soc
cell_vendor_name thermal_zone6_temp vbus mock_n_day_threshold_sec mock_batt_stress_offset"

# Each column's node is in the variable node_COLUMN.
node_voltage_now=$battery/voltage_now
node_temp=$battery/temp
node_charge_counter=$battery/charge_counter
node_cycle_count=$battery/cycle_count
node_capacity=$battery/capacity
node_current_now=$battery/current_now
node_status=$battery/status
node_gm30_ui_soc=$battery/device/gm30_ui_soc
node_cell_vendor_name=$battery/device/cell_vendor_name
node_thermal_zone6_temp=/sys/class/thermal/thermal_zone6/temp
node_vbus=/sys/devices/platform/charger/vbus
node_mock_n_day_threshold_sec=$data/mock_n_day_threshold_sec
node_mock_batt_stress_offset=$data/mock_batt_stress_offset

interval=10
samples=0
output=
line_feed='
'
most_bytes=256 # of a node; the daemon looks at the first 15

while getopts i:n:o:h option; do
    case $option in
    i) interval=$OPTARG ;;
    n) samples=$OPTARG ;;
    o) output=$OPTARG ;;
    h) usage && exit 0 ;;
    *) usage >&2 && exit 2 ;;
    esac
done
shift $((OPTIND - 1))

case $interval in
'' | . | *[!0-9.]* | *.*.*) fail "-i: not a number of seconds: $interval" ;;
esac
case $samples in
'' | *[!0-9]*) fail "-n: not a number of samples: $samples" ;;
esac
for assignment in "$@"; do
    column=${assignment%%=*}
    case "$assignment" in
    *=*) ;;
    *) fail "not COLUMN=PATH: $assignment" ;;
    esac
    is_known=no
    for known in $columns; do
        [ "$column" = "$known" ] && is_known=yes
    done
    [ $is_known = yes ] || fail "no such column: $column"
    eval "node_$column=\${assignment#*=}"
done

# Puts the cell for the node $2 of column $1 into $cell.
read_cell() {
    cell=
    if [ ! -e "$2" ]; then
        # A test file that is not there must not be there in the replay either.
        case $1 in mock_*) cell='<missing>' ;; esac
        return
    fi
    # The x keeps the line feeds at the end, which $() would drop.
    if ! cell=$(head -c $most_bytes "$2" 2>/dev/null && echo x); then
        cell='<error>'
        return
    fi
    cell=${cell%x}
    case $cell in
    '') cell='<empty>' && return ;;
    "$line_feed") cell=' ' ;; # an empty cell would be a missing node
    esac
    cell=${cell%"$line_feed"}
    quote_cell
}

# Puts $cell in quotation marks, and doubles those in it, where it could be read as something else.
quote_cell() {
    case $cell in
    *[\",]* | *"$line_feed"* | *"$carriage_return"* | ' '* | *' ') ;;
    *) return ;;
    esac
    rest=$cell
    cell=
    while :; do
        case $rest in
        *\"*)
            cell=$cell${rest%%\"*}\"\"
            rest=${rest#*\"}
            ;;
        *) break ;;
        esac
    done
    cell=\"$cell$rest\"
}
carriage_return=$(printf '\r')

# Puts the whole seconds since boot, sleep included, into $uptime_s.
read_uptime() {
    read -r uptime_s rest </proc/uptime || fail "/proc/uptime: cannot be read"
    uptime_s=${uptime_s%%.*}
}

# A signal ends the sleep at once. A sample that it interrupts is dropped, as its reads may have failed for it.
is_stopped=no
sleeper=
stop() {
    is_stopped=yes
    [ -n "$sleeper" ] && kill "$sleeper" 2>/dev/null
}
trap stop INT TERM HUP

if [ -n "$output" ]; then
    (: >"$output") 2>/dev/null || fail "$output: cannot be written"
    exec >"$output"
fi

header=elapsed_s,realtime_s
for column in $columns; do
    eval "node=\$node_$column"
    [ -n "$node" ] && header=$header,$column
done
echo "$header"

read_uptime
start_s=$uptime_s
count=0
while [ $is_stopped = no ]; do
    read_uptime
    row=$((uptime_s - start_s)),$(date +%s)
    for column in $columns; do
        eval "node=\$node_$column"
        [ -n "$node" ] || continue
        read_cell "$column" "$node"
        row=$row,$cell
    done
    [ $is_stopped = yes ] && break
    printf '%s\n' "$row" || exit 1
    count=$((count + 1))
    [ "$count" -eq "$samples" ] && break
    sleep "$interval" &
    sleeper=$!
    [ $is_stopped = yes ] && stop
    wait "$sleeper"
    sleeper=
done
exit 0
