// Who wants to know of the battery and the touch panel.
#pragma once

#include <common/event.h>
#include <coredevice/power_supply.h>
#include <memory>
#include <mutex>
#include <vector>
#include <vxo_vcoredevice.h>

namespace coredevice {

enum class ObserverKind { temperature, volt, touch_panel };
std::optional<ObserverKind> observer_kind(const char *name);

class Observers {
public:
    static constexpr size_t ROOM = 16;
    [[nodiscard]] bool add(ObserverKind kind, tki_observer cb);
    // No call of it begins after the return. One that runs on another thread is waited for, at most a second: it may be
    // waiting for a message that the caller is just answering. False when it was not there.
    [[nodiscard]] bool remove(ObserverKind kind, tki_observer cb);
    void report(const BatteryReport &report);

private:
    struct Observer {
        Observer(ObserverKind k, tki_observer c) : kind(k), cb(c) {}
        const ObserverKind kind;
        const tki_observer cb;
        int touch_panel = TOUCH_PANEL_OK; // as last reported to it
        bool removed = false;
        int running = 0; // calls under way; two only while one service ends and the next begins
        hal::Event idle; // set when a removed one's running call has ended
    };
    bool begin(Observer &observer, const BatteryReport &report);
    void end(Observer &observer);

    std::mutex m_lock;
    std::vector<std::shared_ptr<Observer>> m_list;
};

// True on a thread that is inside an observer's call.
bool inside_observer();

} // namespace coredevice
