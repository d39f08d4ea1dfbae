#!/bin/busybox sh
# The first process of the machine: shows what the last power cut left, starts the daemon, makes a new phone of this
# one if it is told to, and tells of each state file that the daemon writes, until the power goes.
#
# From the kernel's command line: START, the time in seconds since 1970; FORMER, "new" for a phone without state
# files, "earlier" for one with those of the earlier layout, empty to go on; CUT, seconds after the daemon's start;
# OTHERS, "yes" where other programs have the disk flushed, as on a phone they do every few seconds.

/bin/busybox --install -s /bin
export PATH=/bin
mount -t devtmpfs none /dev
mount -t proc none /proc
for module in virtio_ring virtio virtio_pci_legacy_dev virtio_pci_modern_dev virtio_pci virtio_blk; do
    insmod /lib/$module.ko
done
date -s "@$START" >/dev/null
mount -t tmpfs none /sys
mount -t tmpfs none /tmp
cp -r /nodes/* /sys
mount -t ext4 /dev/vda /disk || echo 'trouble: the disk cannot be mounted'
for each in mnt data var; do mount --bind /disk/$each /$each; done

STATE=/mnt/vendor/nvcfg/vorn
FILES='batt_stress last_datetime charge_failures dyn_soc_params toc_clients last_battvolt batt_precharge_timer
batt_precharge_counter'

look_at_clock() { IFS=. read -r up _ </proc/uptime; } # without another process: each costs some of the machine's time
tell() { # WORD NAME
    content=missing
    [ -e "$STATE/$2" ] && content="=$(xxd -p "$STATE/$2" | tr -d '\n')"
    look_at_clock
    echo "$1 $up $2 $content"
}
tell_changes() {
    now_there=$(md5sum $STATE/* 2>/dev/null) || :
    [ "$now_there" = "$last_there" ] && return
    last_there=$now_there
    for file in $FILES; do tell wrote "$file"; done
}
start() {
    : >/tmp/log
    vorn 2>/tmp/log &
    daemon=$!
    until grep -q 'vorn running on platform' /tmp/log; do
        kill -0 $daemon 2>/dev/null || echo "trouble: the daemon does not start"
        usleep 100000
    done
    tell_changes
    look_at_clock
    echo "started $up $(cat /var/lib/vorn/persist.vendor.vorn.toc)"
}

echo # behind what the firmware wrote
for file in $FILES; do tell found "$file"; done
start
if [ -n "$FORMER" ]; then
    kill -9 $daemon
    look_at_clock
    echo "making $up $FORMER"
    rm -rf $STATE/* /data/vendor/vorn/* /var/lib/vorn
    [ "$FORMER" = earlier ] && cp /earlier/* /data/vendor/vorn/
    sync
    look_at_clock
    echo "new $up $FORMER"
    start
fi

begin=$up
while look_at_clock && now=$((up - begin)) && [ $now -lt "$CUT" ]; do
    echo $((3900000 + now)) >/sys/class/power_supply/battery/voltage_now
    # A look every ten seconds where something may be written soon, or where the end is near.
    step=10
    [ $((now % 3600)) -gt 60 ] && step=60
    [ $step -gt $((CUT - now)) ] && step=$((CUT - now))
    sleep $step
    tell_changes
    [ "$OTHERS" = yes ] && fsync /dev/vda
done
kill -0 $daemon || echo "trouble: the daemon is gone"
echo "cut $up"
while :; do :; done # busy, so that no time passes until the power is off
