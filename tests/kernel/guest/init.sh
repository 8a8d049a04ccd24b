#!/bin/busybox sh
# The guest's first program: loads the modules, runs /run/command and says to the outside how that ended.
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
chmod 1777 /tmp
while read -r module; do insmod "/modules/$module" || echo "The module $module does not load"; done </modules/order
echo 1 >/proc/sys/kernel/printk

# Devices come when their drivers are ready; each look takes a fiftieth of a second.
appears() {
    for look in $(seq 3000); do
        [ -e "$1" ] && return
        usleep 20000
    done
    echo "$1 does not appear"
}
for device in /dev/vport0p1 /dev/ttyUSB0; do appears "$device"; done
ln -s vport0p1 /dev/outside
exec 3>/dev/outside
echo "booted $(cut -d ' ' -f 1 /proc/uptime) $(uname -r)" >&3
exec 3>&-

. /run/command
code=$?
echo "ended $code" >/dev/outside
sync
poweroff -f
