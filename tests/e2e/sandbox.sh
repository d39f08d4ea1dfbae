# Sourced: runs the real daemon on its literal paths, in a bubblewrap sandbox over one scratch directory.
#
# sandbox_make DIR      a healthy phone: every node the daemon reads, empty state directories
# sandbox_run DIR CMD.. runs CMD in the sandbox; DIR/sys, data, mnt, var and run stand at their places. As in
#                       sysfs, a node that is missing cannot be created from inside.

sandbox_make() {
    battery=$1/sys/class/power_supply/battery
    mkdir -p "$battery/device" "$1/sys/class/thermal/thermal_zone6" "$1/sys/devices/platform/charger" \
        "$1/data/vendor/vorn" "$1/mnt/vendor/nvcfg/vorn" "$1/var/lib" "$1/run"
    echo 4123456 >"$battery/voltage_now"
    echo 251 >"$battery/temp"
    echo 2500000 >"$battery/charge_counter"
    echo 12 >"$battery/cycle_count"
    echo 63 >"$battery/capacity"
    echo 1500000 >"$battery/current_now"
    echo Charging >"$battery/status"
    echo 6300 >"$battery/device/gm30_ui_soc"
    echo ATL >"$battery/device/cell_vendor_name"
    echo 31000 >"$1/sys/class/thermal/thermal_zone6/temp"
    echo 5000000 >"$1/sys/devices/platform/charger/vbus"
}

sandbox_run() {
    sandbox=$1
    shift
    exec bwrap --die-with-parent --unshare-pid --proc /proc --dev /dev --ro-bind /usr /usr --ro-bind /etc /etc \
        --symlink usr/bin /bin --symlink usr/lib /lib --symlink usr/lib64 /lib64 --ro-bind "$PROGRAM_DIR" /program \
        --ro-bind "$sandbox/sys" /sys --bind "$sandbox/data" /data --bind "$sandbox/mnt" /mnt \
        --bind "$sandbox/var" /var --bind "$sandbox/run" /run "$@"
}
