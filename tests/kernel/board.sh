#!/bin/sh
# In the guest: what docs/boards.md says about nodes, lines and permissions, step by step.
failures=0

# expect CODE TEXT COMMAND...: the command's exit code is CODE (0, or not 0), and it says TEXT.
expect() {
    code=$1 text=$2
    shift 2
    "$@" >/tmp/said 2>&1
    got=$?
    if [ "$code" = 0 ] && [ $got != 0 ] || [ "$code" != 0 ] && [ $got = 0 ] || ! grep -qF "$text" /tmp/said; then
        echo "NOT AS EXPECTED ($got; wanted $code and \"$text\"): $*"
        cat /tmp/said
        failures=$((failures + 1))
    fi
}
as() {
    name=$1
    shift
    su "$name" -s /bin/sh -c "$*"
}
gpio=/sys/class/gpio
chip=/dev/$(ls /sys/devices/platform/riggpio | grep '^gpiochip' | head -1) # a board may have one of its own before it

echo "== what is there"
expect 0 "uart:16550A" cat /proc/tty/driver/serial
expect 0 "" ls /dev/i2c-1 /dev/spidev0.0
expect 0 "riggpio" cat $gpio/gpiochip0/label
expect 0 "0" cat $gpio/gpiochip0/base
echo 64 >$gpio/export # of the controller without interrupts and outputs
expect 0 "1" cat $gpio/gpio64/value
expect 1 "No such file" ls $gpio/gpio64/edge
expect 1 "No such file" ls $gpio/gpio64/direction

echo "== what the doctor says of it"
expect 0 "riggpio has 0 to" hostlink doctor
expect 0 "0x42 is acknowledged" hostlink doctor --i2c /dev/i2c-1 --address 0x42 --gpio 17
expect 3 "nobody acknowledges 0x43" hostlink doctor --i2c /dev/i2c-1 --address 0x43 --gpio 17
expect 0 "driver      /dev/spidev0.0: spidev" hostlink doctor --spi /dev/spidev0.0 --gpio 17
expect 0 "buffer      /dev/spidev0.0: spidev takes 4096 bytes" hostlink doctor --spi /dev/spidev0.0 --gpio 17
expect 3 "no interrupts: the link would be deaf" hostlink doctor --gpio 64
expect 0 "free for the link" hostlink doctor --gpio-chip $chip --gpio 17
expect 0 "free for the link" hostlink doctor --gpio-chip riggpio --gpio 17
expect 3 "there is no line 9999" hostlink doctor --gpio-chip $chip --gpio 9999
expect 0 "driver      $ZENT_PORT_FIRST: serial" hostlink doctor --uart "$ZENT_PORT_FIRST"
echo 27 >$gpio/export
expect 3 'held by "sysfs"' hostlink doctor --gpio-chip $chip --gpio 27
echo 27 >$gpio/unexport

echo "== the serial port"
ask hostsim first --input-event-every 500 >/dev/null
chgrp dialout "$ZENT_PORT_FIRST"
chmod 660 "$ZENT_PORT_FIRST"
demo="hostlink-demo --file-size 1000 --device $ZENT_PORT_FIRST"
expect 1 "is this user in the group of the device file?" as user "$demo"
expect 3 "sudo usermod -aG dialout user" as user "hostlink doctor --uart $ZENT_PORT_FIRST"
expect 0 "All went well." as member "$demo"
ask hostsim-stop first >/dev/null

echo "== a bus and its interrupt line"
zent-busrig-say host-options inputEventEveryMs=500 >/dev/null
demo="hostlink-demo --link i2c --i2c-address 66 --gpio 17 --file-size 1000 --device /dev/i2c-1"
expect 1 "Permission denied" as member "$demo"
expect 3 "sudo groupadd -f -r i2c; sudo chgrp i2c /dev/i2c-1" as member "hostlink doctor --i2c /dev/i2c-1 --address 0x42 --gpio 17"
chgrp hostlink /dev/i2c-1
chmod 660 /dev/i2c-1
echo 17 >$gpio/export
for file in direction edge value; do
    chgrp hostlink $gpio/gpio17/$file
    chmod 660 $gpio/gpio17/$file
done
expect 1 "" as user "$demo"
expect 0 "All went well." as member "$demo"
[ $failures = 0 ]
