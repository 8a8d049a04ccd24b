#!/bin/sh
# ask REQUEST...: has the world outside do it (outside.py tells what it can), and tells what it answered.
exec 3<>/dev/outside
echo "$*" >&3
read -r verdict text <&3
echo "$text"
[ "$verdict" = ok ]
