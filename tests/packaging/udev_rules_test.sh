#!/bin/sh
# Lets the device manager apply the rules in a folder to simulated USB devices, together with those that
# this computer has.
#   udev_rules_test.sh FOLDER
set -eu

if [ "${2:-}" != in-namespace ]; then
    # Rules are read from fixed places: this process and its children get a /run of their own.
    for options in --mount "--mount --map-root-user"; do
        ! unshare $options true 2>/dev/null || exec unshare $options sh "$0" "$1" in-namespace
    done
    echo "no mount namespace can be made here: run this as root" >&2
    exit 77
fi

mount -t tmpfs tmpfs /run
mkdir -p /run/udev/rules.d
cp "$1"/*.rules /run/udev/rules.d/
# As systemd has it, which is not everywhere: acts on the tags that are set by then.
echo 'TAG=="uaccess", ENV{MAJOR}!="", RUN{builtin}+="uaccess"' >/run/udev/rules.d/73-seat-late.rules

# What the rules give the node of the USB device $1:$2: group, mode, and the rest by a word each.
apply()
{
    cat >/run/device <<DEVICE
P: /devices/usb1/1-1
N: bus/usb/001/002
E: DEVTYPE=usb_device
E: SUBSYSTEM=usb
E: MAJOR=189
E: MINOR=1
A: idVendor=$1
A: idProduct=$2
DEVICE
    umockdev-run --device /run/device -- \
        udevadm test --action=add /sys/devices/usb1/1-1 >/run/log 2>&1
    awk '
        / GROUP [0-9]+$/ { group = $NF; next }
        / MODE [0-9]+$/ { mode = $NF; next }
        /60-rigtool[-a-z]*\.rules:[0-9]/ { complaints = complaints ", " $0 }  # of a line it cannot read
        /^ID_MM_DEVICE_IGNORE=1$/ { ignored = " no-modem-manager" }
        /^run: .*uaccess/ { granted = " whoever-is-at-the-seat" }
        END { print group, mode ignored granted complaints }' /run/log
}

status=0
while read -r vendor product expected; do
    case $expected in
        root*) expected=${expected#root} ;;
        *) expected=$(getent group "${expected%% *}" | cut -d: -f3)" ${expected#* }" ;;
    esac
    found=$(apply "$vendor" "$product")
    [ "$found" != "$expected" ] || continue
    echo "$vendor:$product: expected '$expected', found '$found'"
    status=1
done <<CASES
0403 6001 dialout 0660 no-modem-manager
0403 6014 root 0664 no-modem-manager
0403 6015 root 0664 no-modem-manager
1a86 7523 root 0664 no-modem-manager
10c4 ea60 root 0664 no-modem-manager
067b 2303 root 0664 no-modem-manager
045e 02c4 plugdev 0660 whoever-is-at-the-seat
045e 02d8 plugdev 0660 whoever-is-at-the-seat
045e 02d9 plugdev 0660 whoever-is-at-the-seat
045e 02ae root 0664
0403 6010 root 0664
CASES
exit $status
