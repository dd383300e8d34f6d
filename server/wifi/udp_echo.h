// The echo server for throughput measurements over WiFi.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint16_t WIFI_UDP_PORT = 3536;
constexpr size_t WIFI_DATAGRAM_MAX = 256; // bytes of a datagram that are kept

// Starts the thread (an older one ends first). False when it could not be made. Channel thread.
bool wifi_udp_start();
// Ends it and gives the port back. Any thread.
void wifi_udp_stop();
bool wifi_udp_runs();
