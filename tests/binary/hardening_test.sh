#!/bin/sh
# The daemon as it was linked: what its file says of its defences, and all that it can ask of the system.
# Usage: hardening_test.sh PATH/TO/vorn ONLY_LAYOUT (0; 1 where sanitizers bring their own checks, and for the lab)
set -eu
vorn=$1
failures=0
fail() {
    echo "FAIL: $1"
    failures=$((failures + 1))
}

# Memory is laid out to resist. With NOW, relocated data is read-only from the start.
dynamic=$(readelf -Wd "$vorn")
segments=$(readelf -Wl "$vorn")
echo "$segments" | grep -q '^Elf file type is DYN' || fail "it is not position-independent"
for flag in NOW PIE; do
    echo "$dynamic" | grep -q "(FLAGS_1).*\b$flag\b" || fail "no flag $flag"
done
if echo "$dynamic" | grep -q '(TEXTREL)'; then fail "text is relocated"; fi
for segment in GNU_RELRO GNU_STACK; do
    echo "$segments" | grep -q "^ *$segment " || fail "no segment $segment"
done
if echo "$segments" | grep -E '^ *(LOAD|GNU_STACK) ' | grep -q ' RWE '; then fail "what can be written can be run"; fi
[ "$2" = 0 ] || exit $failures

# Overflows are noticed.
symbols=$(readelf -Ws "$vorn" | awk '{ print $8 }')
for check in __stack_chk_fail __vsnprintf_chk; do
    echo "$symbols" | grep -q "^$check" || fail "no $check"
done
if echo "$symbols" | grep -q '^_ZTI'; then fail "there is type information of a class"; fi

# Indirect jumps may land only where a landing pad stands: at the head of the daemon's functions.
if readelf -h "$vorn" | grep -q AArch64; then
    pad='bti|paciasp'
    objdump=$(command -v aarch64-linux-gnu-objdump || echo objdump)
else
    pad=endbr64
    objdump=objdump
fi
"$objdump" -d --no-show-raw-insn "$vorn" | grep -A1 -E '^[0-9a-f]+ <_Z12daemon_cyclev>:' | grep -qE "$pad" ||
    fail "no landing pad at daemon_cycle"

# A daemon that polls needs no more than this. What it lacks counts: no timer or alarm that could wake a device, no
# wake lock (which takes an ioctl or a kept descriptor), no thread, no process, no network, no heap.
files='open read write fsync close access fstat rename unlink mkdir flock dup2 poll'
times='sleep clock_gettime time difftime localtime_r mktime'
texts='snprintf vsnprintf strcmp strncmp strncpy strcspn strlen strnlen memcpy memset memmove exp getpid signal'
start_and_checks='__libc_start_main __errno_location __stack_chk_fail __snprintf_chk __vsnprintf_chk __strncpy_chk'
if echo "$dynamic" | grep -q '(NEEDED)'; then # a static one brings more along than its own
    imports=$(readelf -W --dyn-syms "$vorn" | awk '$7 == "UND" && $5 == "GLOBAL" { sub("@.*", "", $8); print $8 }')
    [ -n "$imports" ] || fail "it imports nothing"
    for name in $imports; do
        case " $files $times $texts $start_and_checks " in
            *" $name "*) ;;
            *) fail "it calls $name" ;;
        esac
    done
fi
exit $failures
