#!/bin/busybox sh
# The guest's first program: loads the modules, takes what it is to run from the outside, runs /run/command and says to the
# outside how that ended.
/bin/busybox mkdir -p /usr/bin /run
/bin/busybox --install -s /usr/bin
ln -s busybox /bin/sh
export PATH=/bin:/usr/bin HOME=/
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev 2>/dev/null
mkdir -p /dev/pts /dev/shm
mount -t devpts devpts /dev/pts
mount -t tmpfs tmpfs /dev/shm
missing=
while read -r module; do insmod "/modules/$module" || missing="$missing $module"; done </modules/order
echo 1 >/proc/sys/kernel/printk

# Devices come when their drivers are ready; each look takes a fiftieth of a second.
appears() {
    for look in $(seq 3000); do
        [ -e "$1" ] && return
        usleep 20000
    done
    echo "$1 does not appear"
    return 1
}
appears /dev/vport0p2 || poweroff -f
ln -s vport0p1 /dev/outside
ln -s vport0p2 /dev/files

# The machine is saved here, and goes on from here for each test: later, and with others outside, who say when it is.
exec 3<>/dev/outside
echo "ready$missing" >&3
until read -r go now <&3; do usleep 20000; done
date -s "@$now" >/dev/null
echo "booted $(uname -r)" >&3
exec 3>&-
exec 4<>/dev/files
echo "ready" >&4 # waits until somebody is there, without whom a read would be at its end
cd / && cpio -i -d -u --quiet <&4 || echo "The guest cannot unpack what it is to run"
echo "taken" >&4
exec 4>&-
chmod 1777 /tmp
appears /dev/ttyUSB0

. /run/command
code=$?
echo "ended $code" >/dev/outside
sync
poweroff -f
