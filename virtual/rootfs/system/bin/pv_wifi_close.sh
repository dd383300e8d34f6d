#!/bin/sh
# Ends the supplicant and takes the wireless interface down. A handset that never had one up has nothing to do.
ip link show wlan0 >/dev/null 2>&1 || exit 0
/app/vair down
ip addr flush dev wlan0
exec ip link set wlan0 down
