# Sourced: runs the real daemon on its literal paths, in a bubblewrap sandbox over one scratch directory.
#
# E2E                   this directory, to be set before
# sandbox_make DIR      an ordinary phone: every node the daemon reads, empty state directories
# sandbox_run DIR CMD.. runs CMD in the sandbox; DIR/sys, data, mnt, var and run stand at their places. As in
#                       sysfs, a node that is missing cannot be created from inside.

sandbox_make() {
    mkdir -p "$1/data/vendor/vorn" "$1/mnt/vendor/nvcfg/vorn" "$1/var/lib" "$1/run"
    sed -n 's/^VORN_NODE("\(.*\)", "\(.*\)")$/\1 \2/p' "$E2E/../support/ordinary_device.def" | while read -r path text; do
        mkdir -p "$1${path%/*}"
        echo "$text" >"$1$path"
    done
}

sandbox_run() {
    sandbox=$1
    shift
    exec bwrap --die-with-parent --unshare-pid --proc /proc --dev /dev --ro-bind /usr /usr --ro-bind /etc /etc \
        --symlink usr/bin /bin --symlink usr/lib /lib --symlink usr/lib64 /lib64 --ro-bind "$PROGRAM_DIR" /program \
        --ro-bind "$sandbox/sys" /sys --bind "$sandbox/data" /data --bind "$sandbox/mnt" /mnt \
        --bind "$sandbox/var" /var --bind "$sandbox/run" /run "$@"
}
