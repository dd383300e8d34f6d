#include <mqtt/mqtt.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mosquitto.h>
#include <new>

namespace {
constexpr int KEEP_ALIVE_S = 60, LOOP_MS = 100, LOOPS_MAX = 100; // 10 s
constexpr int QOS = 1;
constexpr int PENDING = -1;

struct Client {
    void operator()(mosquitto *m) const { mosquitto_destroy(m); }
};

void tell(char *error, size_t size, const char *what, const char *why) {
    if (error && size) snprintf(error, size, "%s: %s", what, why);
}
} // namespace

struct VxoMqtt {
    std::unique_ptr<mosquitto, Client> client;
    int (*go_on)() = nullptr;
    int login = PENDING;      // the broker's answer
    int acknowledged = 0;     // the message that was acknowledged last
    int refused = 0;          // and why it was not taken, 0: it was

    // Serves the connection until done() holds. MOSQ_ERR_SUCCESS, or why not.
    template <class Done> int serve(Done done) {
        for (int i = 0; i < LOOPS_MAX; ++i) {
            if (done()) return MOSQ_ERR_SUCCESS;
            if (go_on && !go_on()) return MOSQ_ERR_UNKNOWN;
            if (const int result = mosquitto_loop(client.get(), LOOP_MS, 1); result != MOSQ_ERR_SUCCESS) return done() ? MOSQ_ERR_SUCCESS : result;
        }
        return MOSQ_ERR_TIMEOUT;
    }
};

namespace {
const char *reason(int result) {
    switch (result) {
    case MOSQ_ERR_TIMEOUT:
        return "no answer in time";
    case MOSQ_ERR_UNKNOWN:
        return "given up";
    default:
        return result == MOSQ_ERR_ERRNO ? strerror(errno) : mosquitto_strerror(result);
    }
}

const char *login_reason(int answer, int protocol) {
    return protocol == 5 ? mosquitto_reason_string(answer) : mosquitto_connack_string(answer);
}

bool prepare(VxoMqtt &c, const VxoMqttServer &server, char *error, size_t size) {
    c.client.reset(mosquitto_new(server.client_id, true, &c));
    if (!c.client) {
        tell(error, size, "client", strerror(errno));
        return false;
    }
    const int version = server.protocol == 5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311;
    mosquitto_int_option(c.client.get(), MOSQ_OPT_PROTOCOL_VERSION, version);
    mosquitto_connect_v5_callback_set(c.client.get(), [](mosquitto *, void *own, int answer, int, const mosquitto_property *) {
        static_cast<VxoMqtt *>(own)->login = answer;
    });
    mosquitto_publish_v5_callback_set(c.client.get(), [](mosquitto *, void *own, int id, int answer, const mosquitto_property *) {
        static_cast<VxoMqtt *>(own)->acknowledged = id;
        static_cast<VxoMqtt *>(own)->refused = answer >= 0x80 ? answer : 0;
    });
    if (!server.ca_file) return true;
    const int result = mosquitto_tls_set(c.client.get(), server.ca_file, nullptr, nullptr, nullptr, nullptr);
    if (result != MOSQ_ERR_SUCCESS) tell(error, size, server.ca_file, result == MOSQ_ERR_INVAL ? "no such CA file" : mosquitto_strerror(result));
    return result == MOSQ_ERR_SUCCESS;
}
} // namespace

VxoMqtt *vxo_mqtt_open(const VxoMqttServer *server, char *error, size_t size) noexcept {
    static const int ready = mosquitto_lib_init();
    std::unique_ptr<VxoMqtt> c(new (std::nothrow) VxoMqtt);
    if (ready != MOSQ_ERR_SUCCESS || !c) {
        tell(error, size, "library", "not ready");
        return nullptr;
    }
    c->go_on = server->go_on;
    if (!prepare(*c, *server, error, size)) return nullptr;
    // Does not wait for the broker, so that who gives up is heard.
    int result = mosquitto_connect_async(c->client.get(), server->host, server->port, KEEP_ALIVE_S);
    if (result == MOSQ_ERR_SUCCESS) result = c->serve([&] { return c->login != PENDING; });
    if (result == MOSQ_ERR_SUCCESS && c->login == 0) return c.release();
    tell(error, size, "broker", result == MOSQ_ERR_SUCCESS || c->login > 0 ? login_reason(c->login, server->protocol) : reason(result));
    return nullptr;
}

int vxo_mqtt_publish(VxoMqtt *c, const char *topic, const void *payload, size_t length, char *error, size_t size) noexcept {
    int id = 0;
    int result = mosquitto_publish(c->client.get(), &id, topic, static_cast<int>(length), payload, QOS, false);
    if (result == MOSQ_ERR_SUCCESS) result = c->serve([&] { return c->acknowledged == id; });
    if (result == MOSQ_ERR_SUCCESS && !c->refused) return 0;
    tell(error, size, topic, result == MOSQ_ERR_SUCCESS ? mosquitto_reason_string(c->refused) : reason(result));
    return -1;
}

void vxo_mqtt_close(VxoMqtt *c) noexcept {
    if (!c) return;
    mosquitto_disconnect(c->client.get());
    // What it has to say goes out; the broker then hangs up.
    for (int i = 0; i < 5 && mosquitto_loop(c->client.get(), LOOP_MS, 1) == MOSQ_ERR_SUCCESS; ++i) {
    }
    delete c;
}
