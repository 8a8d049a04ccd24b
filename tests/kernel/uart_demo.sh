#!/bin/sh
# In the guest: the demo over each kind of serial port, against a simulated host outside.
set -e
for port in first usb card; do
    ask hostsim $port --input-event-every 500
    path=$(eval echo "\$ZENT_PORT_$(echo $port | tr a-z A-Z)")
    echo "== the demo over $path"
    hostlink-demo --device "$path" --file-size 16384 | tee /tmp/demo
    grep -q "All went well." /tmp/demo
    ask hostsim-stop $port
done
