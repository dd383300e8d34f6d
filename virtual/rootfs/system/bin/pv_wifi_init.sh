#!/bin/sh
# Loads the wireless driver, which makes wlan0, and starts the supplicant. A handset without a radio has nothing to do.
[ -d /sys/class/net/wlan0 ] || exit 0
/app/vair up && ip link set wlan0 up
