#!/bin/sh
# Brings the wireless interface up. A handset without one has nothing to do.
[ -d /sys/class/net/wlan0 ] || ip link show wlan0 >/dev/null 2>&1 || exit 0
exec ip link set wlan0 up
