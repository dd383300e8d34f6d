#include "testwnd/sensor_feed.h"

#include <mutex>
#include <tp_clock.h>

#include "base/log_door.h"
#include "device/factory_slots.h"

namespace {
constexpr int WAIT_MS = 1000, LOOK_MS = 10;

std::mutex g_users_mutex; // held while the library starts and stops; taken before the other one
int g_users = 0;
std::mutex g_mutex; // guards the two below
SensorRules g_rules;
void (*g_changed)() = [] {};

void on_event(tki_module_data *event) {
    if (!event || event->type != TKI_MODULE_SENSORS || !event->data) return;
    const auto &sample = *static_cast<const tki_sensor_event *>(event->data);
    void (*changed)() = nullptr;
    {
        const std::scoped_lock lock(g_mutex);
        if (event->result == 0) g_rules.sample(sample);
        else g_rules.lost(sample.sensor);
        changed = g_changed;
    }
    changed();
}

bool start_library() {
    {
        const std::scoped_lock lock(g_mutex);
        g_rules.library_started();
    }
    if (tki_api_Sensors_Test_Start && tki_api_Sensors_Test_Start(on_event) == 0) return true;
    LOG_RAW(ANDROID_LOG_ERROR, "TKI_SENSOR", "%s the sensors did not start", __func__);
    return false;
}
} // namespace

bool sensor_feed_open() {
    const std::scoped_lock users(g_users_mutex);
    if (g_users == 0 && !start_library()) return false;
    ++g_users;
    return true;
}

int sensor_feed_close() {
    const std::scoped_lock users(g_users_mutex);
    if (g_users == 0 || --g_users > 0) return 0;
    return tki_api_Sensors_Test_Stop && tki_api_Sensors_Test_Stop() == 0 ? 0 : -1;
}

void sensor_feed_begin(const SensorLimits (&limits)[TKI_SENSORS], void (*changed)()) {
    const std::scoped_lock lock(g_mutex);
    g_rules.begin(limits);
    g_changed = changed;
}

SensorRules sensor_feed_rules() {
    const std::scoped_lock lock(g_mutex);
    return g_rules;
}

bool sensor_feed_next(int sensor, tki_sensor_event *out) {
    const unsigned before = sensor_feed_rules().samples(sensor);
    if (!sensor_feed_open()) return false;
    bool came = false;
    for (int waited = 0; !came && waited <= WAIT_MS; waited += LOOK_MS) {
        if (waited > 0) tp_clock_sleep_ms(LOOK_MS);
        const SensorRules rules = sensor_feed_rules();
        if (!rules.answers(sensor)) break;
        came = rules.samples(sensor) != before;
        if (came) *out = rules.last(sensor);
    }
    sensor_feed_close();
    return came;
}
