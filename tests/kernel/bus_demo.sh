#!/bin/sh
# In the guest: the demo and the checker of hosts over I2C and SPI, with the rig's host behind the kernel's buses, which
# presses no button by itself, and its interrupt line through sysfs and through its chip's character device.
set -e
say() { zent-busrig-say "$@"; }
demo() {
    echo "== the demo over $*"
    : >/tmp/demo # now: the demo's own shell may come to it late, and what the last one said would be read
    hostlink-demo --link "$@" --gpio 17 --file-size 16384 >/tmp/demo 2>&1 &
    demo=$!
    while ! grep -q "Waiting for somebody" /tmp/demo && kill -0 $demo 2>/dev/null; do usleep 20000; done
    # A sysfs line stays exported, one of a character device is held as long as the demo runs.
    case $* in *gpio-chip*) [ ! -e /sys/class/gpio/gpio17 ] ;; *) [ -e /sys/class/gpio/gpio17 ] ;; esac
    say press 1
    wait $demo || { cat /tmp/demo; exit 1; }
    cat /tmp/demo
    grep -q "All went well." /tmp/demo
    say reset
}
demo i2c --device /dev/i2c-1 --i2c-address 66
demo spi --device /dev/spidev0.0
demo i2c --device /dev/i2c-1 --i2c-address 66 --gpio-chip riggpio
demo spi --device /dev/spidev0.0 --gpio-chip riggpio

# Checks that need the line's edges and its level. The host lets the line fall once for each packet and gives none up, however
# long it takes.
say host-options interruptRepeatMs=60000,responseTimeoutMs=60000 >/dev/null
check() {
    echo "== the checker over $*"
    zent-hostcheck --link "$@" --response-timeout 20000 --only bus-announce --only bus-after-nack \
        --only bus-write-while-low --only get-in-order | tee /tmp/check
    grep -q "^4 passed, 0 failed, 0 skipped" /tmp/check
}
check i2c --device /dev/i2c-1 --i2c-address 66 --gpio-chip riggpio --gpio 17
check spi --device /dev/spidev0.0 --gpio-chip riggpio --gpio-line HOST_IRQ
if zent-hostcheck --link spi --device /dev/spidev0.0 --gpio-chip riggpio --gpio-line NOBODY --only own-form; then exit 1; fi
