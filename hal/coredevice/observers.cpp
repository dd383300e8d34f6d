#include <algorithm>
#include <coredevice/api.h>
#include <coredevice/observers.h>
#include <cstring>

namespace coredevice {
namespace {
constexpr const char *TAG = "BATTERYSERVICE";
constexpr int64_t RUNNING_CALL_WAIT_NS = 1000000000;
thread_local int t_inside = 0;

void call(ObserverKind kind, tki_observer cb, const BatteryReport &r) {
    switch (kind) {
    case ObserverKind::temperature:
        reinterpret_cast<tki_battery_temperature_cb>(cb)(r.plugged.data(), r.status, r.health, r.present, r.level, r.voltage,
                                                         r.temperature, r.current, r.charge_counter, r.cycle_count,
                                                         r.max_current);
        break;
    case ObserverKind::volt:
        reinterpret_cast<tki_battery_volt_cb>(cb)(r.status, r.health, r.present, r.voltage, r.level);
        break;
    case ObserverKind::touch_panel:
        reinterpret_cast<tki_tp_status_cb>(cb)(r.touch_panel);
        break;
    }
}
} // namespace

bool inside_observer() { return t_inside > 0; }

std::optional<ObserverKind> observer_kind(const char *name) {
    if (!name) return std::nullopt;
    if (strcmp(name, TKI_OBSERVER_TEMPERATURE) == 0) return ObserverKind::temperature;
    if (strcmp(name, TKI_OBSERVER_VOLT) == 0) return ObserverKind::volt;
    if (strcmp(name, TKI_OBSERVER_TP) == 0) return ObserverKind::touch_panel;
    return std::nullopt;
}

bool Observers::add(ObserverKind kind, tki_observer cb) {
    const std::lock_guard guard(m_lock);
    const auto same = [&](const auto &o) { return o->kind == kind && o->cb == cb; };
    if (std::any_of(m_list.begin(), m_list.end(), same)) return true;
    if (m_list.size() >= ROOM) return false;
    m_list.push_back(std::make_shared<Observer>(kind, cb));
    return true;
}

bool Observers::remove(ObserverKind kind, tki_observer cb) {
    std::shared_ptr<Observer> gone;
    {
        const std::lock_guard guard(m_lock);
        const auto same = [&](const auto &o) { return o->kind == kind && o->cb == cb; };
        const auto found = std::find_if(m_list.begin(), m_list.end(), same);
        if (found == m_list.end()) return false;
        gone = *found;
        gone->removed = true;
        m_list.erase(found);
        if (!gone->running || inside_observer()) return true;
    }
    if (!hal::wait_answering(gone->idle, RUNNING_CALL_WAIT_NS)) HAL_LOG_E(TAG, "its call still runs");
    return true;
}

bool Observers::begin(Observer &observer, const BatteryReport &report) {
    const std::lock_guard guard(m_lock);
    if (observer.removed) return false;
    if (observer.kind == ObserverKind::touch_panel) {
        if (report.touch_panel == TOUCH_PANEL_OK || report.touch_panel == observer.touch_panel) return false;
        observer.touch_panel = report.touch_panel;
    }
    ++observer.running;
    return true;
}

void Observers::end(Observer &observer) {
    const std::lock_guard guard(m_lock);
    if (--observer.running == 0 && observer.removed) observer.idle.set();
}

void Observers::report(const BatteryReport &report) {
    std::vector<std::shared_ptr<Observer>> list;
    {
        const std::lock_guard guard(m_lock);
        list = m_list;
    }
    for (const auto &observer : list) {
        if (!begin(*observer, report)) continue;
        ++t_inside;
        call(observer->kind, observer->cb, report);
        --t_inside;
        end(*observer);
    }
}

} // namespace coredevice
