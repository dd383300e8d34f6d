// The handset as it lives across its reboots: its kernel, its control socket and its boot loop. Runs in a process of its
// own, forked from the launcher, in a user and a mount namespace of its own.
#pragma once

#include "common/message.h"
#include "kernel/device.h"
#include "kernel/fuse_fs.h"
#include "launcher/bridge_server.h"
#include "launcher/control.h"
#include "launcher/sandbox.h"
#include "storage/passthrough.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace vh {

// Whether too many boots in a row were short ones.
class BootLoopGuard {
public:
    explicit BootLoopGuard(std::chrono::milliseconds short_boot) : short_boot_(short_boot) {}
    bool is_loop(std::chrono::milliseconds lived) {
        in_a_row_ = lived < short_boot_ ? in_a_row_ + 1 : 0;
        return in_a_row_ >= LIMIT;
    }
    static constexpr int LIMIT = 10;

private:
    std::chrono::milliseconds short_boot_;
    int in_a_row_ = 0;
};

class Box : public ControlHost {
public:
    // launcher: messages to ("line TEXT") and from ("stop") the launcher.
    Box(StatePaths paths, SandboxPlan plan, Fd launcher);

    // Makes the namespaces, mounts the kernel, boots until the end. The exit status of the whole handset.
    int run();

    nlohmann::json status() override;
    void order(Order order) override;
    Tree &tree() override { return device_->tree(); }
    BatteryModel &battery() override { return device_->battery(); }
    Modem &modem() override { return device_->modem(); }
    Watchers &watchers() override { return watchers_; }
    nlohmann::json storage(const nlohmann::json &request) override;
    nlohmann::json hardware(const nlohmann::json &request) override;
    uint16_t bridge(uint16_t port) override { return bridge_.listen(port); }
    int execute(const std::vector<std::string> &argv, const std::vector<int> &stdio, int client) override;

private:
    enum class End { reboot, power_off, power_cut, stopped, restarted, finished, failed };
    struct Command { // of the operator, while it runs
        bool done = false;
        int status = 255;
    };

    void enter_namespaces() const;
    void make_props_clock();
    int boot_loop();
    bool stay_off();
    End boot_once();
    End wait_for_end(Sandbox &sandbox);
    End end_of(int wait_status) const;
    void handle_message(const Message &message);
    void take_message(const Message &message);
    void tell_vinit(const std::vector<std::string> &fields);
    void sync_came(const std::string &call);
    void end_at_once(const Sandbox &sandbox);
    std::optional<Order> take_order();
    void say(const std::string &line) const;
    void set_state(const std::string &state);
    void set_last(const std::string &last);
    void drop_commands();

    const StatePaths paths_;
    const SandboxPlan plan_;
    const Fd launcher_;
    std::string clock_;
    std::unique_ptr<Device> device_;
    std::unique_ptr<FuseMount> kernel_;
    std::unique_ptr<Storage> storage_; // only when it takes orders
    std::unique_ptr<StorageMount> storage_mount_;
    BridgeServer bridge_{*this};
    std::unique_ptr<ControlServer> control_;
    std::mutex fitting_; // what is fitted, where it is kept and shown, and the cameras' pictures
    Fd dev_;             // the /dev of the sandbox that was started last
    Fd orders_ready_, power_cut_; // eventfd
    Watchers watchers_;

    std::mutex mutex_; // everything below
    std::condition_variable command_done_;
    std::deque<Order> orders_;
    std::map<std::string, Command *> commands_;
    int next_command_ = 0;
    int sandbox_control_ = -1;
    std::string state_ = "booting", last_ = "start";
    int boots_ = 0;
    pid_t init_pid_ = -1, program_pid_ = -1;
    int program_status_ = 0;
    bool told_note_ = false;
};

} // namespace vh
