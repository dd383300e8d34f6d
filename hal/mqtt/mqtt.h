// lib_vxo_mqtt.so: hands messages to an MQTT broker, one at a time, each acknowledged before the next. Apart from the program,
// which loads it by this name at its first upload, so that no start pays for libmosquitto and its TLS.
//
// Everything happens on the calling thread; one connection per thread.
#pragma once

#include <cstddef>

struct VxoMqttServer {
    const char *host;      // name or address
    int port;              // 1 to 65535
    const char *client_id; // of this handset
    const char *ca_file;   // PEM file of the authority that signed the broker's certificate; null: no TLS
    int protocol;          // 4: MQTT 3.1.1; 5: MQTT 5
    int (*go_on)();        // asked at least every 200 ms; 0 gives up
};
struct VxoMqtt;

extern "C" {
// Connects and logs in, within 10 s. Null: not reached, or refused; `error` (at least 128 bytes) says why.
__attribute__((visibility("default"))) VxoMqtt *vxo_mqtt_open(const VxoMqttServer *server, char *error, size_t size) noexcept;
// Publishes with QoS 1. 0 once the broker has acknowledged it; -1: it has not within 10 s, whether it got it or not.
__attribute__((visibility("default"))) int vxo_mqtt_publish(VxoMqtt *connection, const char *topic, const void *payload, size_t length,
                                                            char *error, size_t size) noexcept;
// Takes leave of the broker. Null is nothing.
__attribute__((visibility("default"))) void vxo_mqtt_close(VxoMqtt *connection) noexcept;
}

using VxoMqttOpen = decltype(&vxo_mqtt_open);
using VxoMqttPublish = decltype(&vxo_mqtt_publish);
using VxoMqttClose = decltype(&vxo_mqtt_close);
