#include "launcher/box.h"

#include "launcher/hardware_request.h"
#include "launcher/state_dir.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace vh {

namespace {
using Clock = std::chrono::steady_clock;
constexpr int STATUS_REBOOT = 129;    // bwrap's, when the first process was ended by reboot(2)
constexpr int STATUS_POWER_OFF = 130;
constexpr std::chrono::seconds STOP_LIMIT{3};

void write_file_once(const char *path, const std::string &text) {
    const Fd fd(open(path, O_WRONLY | O_CLOEXEC));
    if (!fd || write(fd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error(std::string(path) + ": " + strerror(errno));
}

void signal_event(const Fd &event) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t n = write(event.get(), &one, sizeof one);
}

void clear_event(const Fd &event) {
    uint64_t count;
    [[maybe_unused]] const ssize_t n = read(event.get(), &count, sizeof count);
}

// When somebody last wrote into a FIFO.
Clock::time_point last_written(const std::string &fifo) {
    struct stat s {};
    if (stat(fifo.c_str(), &s) != 0) return {};
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now); // which the time of a write is taken from
    return Clock::now() - std::chrono::seconds(now.tv_sec - s.st_mtim.tv_sec) -
           std::chrono::nanoseconds(now.tv_nsec - s.st_mtim.tv_nsec);
}

// The port inside that the PC link leads to.
int at_port(const StatePaths &paths) {
    std::ifstream file(paths.props() + "/persist.vxo.at.port");
    int port = 0;
    return file >> port && port > 0 && port < 65536 ? port : 3535;
}

std::chrono::milliseconds short_boot(double speed) {
    return std::chrono::milliseconds(std::max(300L, static_cast<long>(2000 / speed)));
}
} // namespace

Box::Box(StatePaths paths, SandboxPlan plan, Fd launcher)
    : paths_(std::move(paths)), plan_(std::move(plan)), launcher_(std::move(launcher)),
      orders_ready_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), power_cut_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Box::enter_namespaces() const {
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        throw std::runtime_error(std::string("user namespace: ") + strerror(errno));
    write_file_once("/proc/self/setgroups", "deny");
    write_file_once("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_file_once("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        throw std::runtime_error(std::string("mount namespace: ") + strerror(errno));
}

// The start of scaled time holds for all boots of one launch, so that time never jumps back.
void Box::make_props_clock() {
    if (plan_.options.speed <= 1) return;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    char text[64];
    snprintf(text, sizeof text, "%g %lld", plan_.options.speed,
             static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec);
    clock_ = text;
}

int Box::run() {
    try {
        const Panel panel{plan_.options.width, plan_.options.height};
        enter_namespaces();
        make_props_clock();
        device_ = std::make_unique<Device>(panel, plan_.options.speed);
        for (const std::string &part : plan_.options.unfit) device_->hardware().fit(part, false);
        show_cameras(paths_, device_->hardware());
        // A command in place of the program is nobody's to suspend.
        if (!plan_.once)
            device_->connect_freezer([this](bool freeze) { tell_vinit({freeze ? "freeze" : "thaw"}); },
                                     [this] { return last_written(paths_.event(1)); });
        device_->tree().on_any_change([this](const Node &node) { watchers_.attribute_changed(node.path); });
        kernel_ = std::make_unique<FuseMount>(device_->tree(), mount_dir(paths_), paths_.sounds());
        if (plan_.options.storage == "faults") {
            storage_ = std::make_unique<Storage>(paths_, [this] { signal_event(power_cut_); });
            storage_mount_ = std::make_unique<StorageMount>(*storage_, storage_dir(paths_));
        }
        control_ = std::make_unique<ControlServer>(*this, paths_.control_socket());
        return boot_loop();
    } catch (const std::exception &error) {
        say(std::string("cannot boot: ") + error.what());
        return 1;
    }
}

int Box::boot_loop() {
    BootLoopGuard guard(short_boot(plan_.options.speed));
    for (;;) {
        const auto begin = Clock::now();
        const End end = boot_once();
        const auto lived = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
        switch (end) {
        case End::finished: return program_status_;
        case End::stopped: return 0;
        case End::failed: return 1;
        case End::restarted: break;
        case End::reboot:
            set_last("reboot");
            if (plan_.options.once || plan_.once) return STATUS_REBOOT;
            if (guard.is_loop(lived)) {
                set_last("boot-loop");
                say("restarts again and again (" + std::to_string(BootLoopGuard::LIMIT) + " short boots): given up");
                if (!stay_off()) return 1;
                guard = BootLoopGuard(short_boot(plan_.options.speed));
                break;
            }
            say("restarted by reboot");
            break;
        case End::power_cut:
            set_last("power-cut");
            say("the power was cut");
            if (plan_.options.once || plan_.once) return STATUS_REBOOT;
            break;
        case End::power_off:
            set_last("power-off");
            say("powered off");
            if (plan_.options.once || plan_.once) return STATUS_POWER_OFF;
            if (!stay_off()) return 0;
            break;
        }
    }
}

// Waits until the operator boots (true) or stops (false).
bool Box::stay_off() {
    set_state("off");
    for (;;) {
        pollfd fds[] = {{orders_ready_.get(), POLLIN, 0}, {launcher_.get(), POLLIN, 0}};
        poll(fds, 2, -1);
        if (fds[1].revents) return false;
        while (const std::optional<Order> order = take_order()) {
            if (*order == Order::stop) return false;
            return true;
        }
    }
}

Box::End Box::boot_once() {
    set_state("booting");
    prepare_boot(paths_, plan_.options, clock_);
    device_->tree().reset();
    device_->power(true);
    clear_event(power_cut_);
    const Fd pc_listener(listen_unix(paths_.pc_socket(), 64));
    SandboxPlan plan = plan_;
    plan.options.unfit = device_->hardware().unfitted();
    Sandbox sandbox = start_sandbox(paths_, plan, pc_listener);
    {
        const std::scoped_lock lock(mutex_);
        ++boots_;
        sandbox_control_ = sandbox.control.get();
    }
    const End end = wait_for_end(sandbox);
    {
        const std::scoped_lock lock(mutex_);
        sandbox_control_ = -1;
        init_pid_ = program_pid_ = -1;
    }
    if (storage_) storage_->sandbox_is_gone();
    device_->power(false);
    drop_commands();
    unlink(paths_.pc_socket().c_str());
    return end;
}

Box::End Box::wait_for_end(Sandbox &sandbox) {
    std::optional<End> wanted;
    std::optional<Clock::time_point> deadline;
    for (;;) {
        pollfd fds[] = {{sandbox.pidfd.get(), POLLIN, 0},
                        {sandbox.control.get(), POLLIN, 0},
                        {orders_ready_.get(), POLLIN, 0},
                        {wanted ? -1 : launcher_.get(), POLLIN, 0},
                        {power_cut_.get(), POLLIN, 0}};
        const int timeout = deadline ? 50 : -1;
        poll(fds, 5, timeout);
        if (fds[1].revents & POLLIN) {
            if (const std::optional<Message> message = receive_message(sandbox.control.get())) {
                handle_message(*message);
                continue; // what vinit said last is heard before its end
            }
        }
        if (fds[0].revents) break;
        while (const std::optional<Order> order = take_order())
            if (*order != Order::boot) wanted = *order == Order::stop ? End::stopped : End::restarted;
        if (fds[3].revents) wanted = End::stopped;
        if (fds[4].revents) {
            wanted = End::power_cut;
            deadline = Clock::now() + STOP_LIMIT;
            end_at_once(sandbox);
        } else if (wanted && !deadline) {
            deadline = Clock::now() + STOP_LIMIT;
            send_message(sandbox.control.get(), {"stop"});
        } else if (deadline && Clock::now() > *deadline) {
            kill(sandbox.pid, SIGKILL);
        }
    }
    int wait_status = 0;
    waitpid(sandbox.pid, &wait_status, 0);
    return wanted ? *wanted : end_of(wait_status);
}

// Its first process is killed, and the kernel kills all others before that one is gone; bwrap only waits for that.
void Box::end_at_once(const Sandbox &sandbox) {
    clear_event(power_cut_);
    const std::scoped_lock lock(mutex_);
    kill(init_pid_ > 0 ? init_pid_ : sandbox.pid, SIGKILL);
}

Box::End Box::end_of(int wait_status) const {
    const int status = shell_status(wait_status);
    if (status == STATUS_REBOOT) return End::reboot;
    if (status == STATUS_POWER_OFF) return End::power_off;
    if (status == 0 && plan_.once) return End::finished;
    say("the sandbox failed with status " + std::to_string(status));
    return End::failed;
}

void Box::handle_message(const Message &message) {
    take_message(message);
    watchers_.status_changed();
}

void Box::take_message(const Message &message) {
    const std::string verb = message.fields.empty() ? "" : message.fields[0];
    const std::string argument = message.fields.size() > 1 ? message.fields[1] : "";
    if (verb == "hello") {
        if (message.fds.size() == 2) {
            kernel_->set_real_proc(Fd(dup(message.fds[0].get())));
            const std::scoped_lock lock(fitting_);
            dev_.reset(dup(message.fds[1].get()));
            show_device_names(dev_, device_->hardware()); // as it has become meanwhile
        }
        const std::scoped_lock lock(mutex_);
        init_pid_ = message.sender;
        state_ = "running";
    } else if (verb == "program") {
        device_->suspend().wake("program"); // it gets its time to start
        const std::scoped_lock lock(mutex_);
        program_pid_ = message.sender;
    } else if (verb == "exited") {
        const std::scoped_lock lock(mutex_);
        program_pid_ = -1;
        program_status_ = atoi(argument.c_str());
        if (plan_.once) return;
        constexpr int SIGNALS = 64; // a program that returns -1 ends with 255, which no signal is
        last_ = program_status_ > 128 && program_status_ <= 128 + SIGNALS ? "crash" : "exit";
        say("the program ended with status " + argument + ", started again");
    } else if (verb == "exec-done" && message.fields.size() == 3) {
        const std::scoped_lock lock(mutex_);
        if (const auto command = commands_.find(argument); command != commands_.end()) {
            command->second->status = atoi(message.fields[2].c_str());
            command->second->done = true;
            command_done_.notify_all();
        }
    } else if (verb == "sync") {
        sync_came(argument);
    } else if (verb == "frozen") {
        device_->suspend().frozen();
    } else if (verb == "wake") {
        device_->suspend().wake(argument);
    } else if (verb == "note") {
        if (!told_note_) say(argument);
        told_note_ = true;
    }
}

// A sync(2) inside waits until all that was written is durable. Without power nobody is answered.
void Box::sync_came(const std::string &call) {
    if (storage_ && !storage_->sync()) return;
    const std::scoped_lock lock(mutex_);
    if (sandbox_control_ >= 0) send_message(sandbox_control_, {"synced", call});
}

nlohmann::json Box::storage(const nlohmann::json &request) {
    if (!storage_) throw std::runtime_error("the storage takes no orders; stop the handset and boot it with --storage faults");
    if (request.contains("cut") && request.at("cut").value("at", 0) == 0) {
        const std::scoped_lock lock(mutex_);
        if (state_ != "running") throw std::runtime_error("there is no power to cut: the handset is not running");
    }
    return storage_->order(request);
}

nlohmann::json Box::hardware(const nlohmann::json &request) {
    const std::scoped_lock lock(fitting_);
    nlohmann::json answer = run_hardware(device_->hardware(), request);
    if (request.at("op") == "sensor") return answer;
    show_cameras(paths_, device_->hardware());
    if (dev_) show_device_names(dev_, device_->hardware());
    BootOptions options = load_options(paths_);
    options.unfit = device_->hardware().unfitted();
    save_options(paths_, options);
    return answer;
}

void Box::tell_vinit(const std::vector<std::string> &fields) {
    const std::scoped_lock lock(mutex_);
    if (sandbox_control_ >= 0) send_message(sandbox_control_, fields);
}

nlohmann::json Box::status() {
    const int port = at_port(paths_);
    const bool sleeps = device_->suspend().sleeps();
    const std::scoped_lock lock(mutex_);
    return {{"state", state_},
            {"boots", boots_},
            {"init_pid", init_pid_},
            {"program_pid", program_pid_},
            {"last", last_},
            {"size", {plan_.options.width, plan_.options.height}},
            {"sleeps", sleeps},
            {"port", port}};
}

void Box::order(Order order) {
    const std::scoped_lock lock(mutex_);
    if (state_ == "off" && order == Order::reboot) throw std::runtime_error("the handset is off");
    if (state_ != "off" && order == Order::boot) throw std::runtime_error("the handset is on");
    orders_.push_back(order);
    signal_event(orders_ready_);
}

std::optional<Order> Box::take_order() {
    const std::scoped_lock lock(mutex_);
    clear_event(orders_ready_);
    if (orders_.empty()) return std::nullopt;
    const Order order = orders_.front();
    orders_.pop_front();
    return order;
}

int Box::execute(const std::vector<std::string> &argv, const std::vector<int> &stdio, int client) {
    std::unique_lock lock(mutex_);
    if (state_ != "running" || sandbox_control_ < 0) throw std::runtime_error("the handset is not running");
    const std::string id = std::to_string(++next_command_);
    std::vector<std::string> fields{"exec", id, "/data"};
    fields.insert(fields.end(), argv.begin(), argv.end());
    if (!send_message(sandbox_control_, fields, stdio)) throw std::runtime_error(strerror(errno));
    Command command;
    commands_[id] = &command;
    bool killed = false;
    while (!command.done) {
        if (client < 0) {
            command_done_.wait(lock);
            continue;
        }
        command_done_.wait_for(lock, std::chrono::milliseconds(100));
        pollfd hung_up{client, POLLIN | POLLRDHUP, 0};
        if (killed || command.done || poll(&hung_up, 1, 0) <= 0) continue;
        if (sandbox_control_ >= 0) send_message(sandbox_control_, {"kill", id});
        killed = true;
    }
    commands_.erase(id);
    return command.status;
}

// The sandbox is gone, and every command in it.
void Box::drop_commands() {
    const std::scoped_lock lock(mutex_);
    for (auto &[id, command] : commands_) command->done = true;
    command_done_.notify_all();
}

void Box::say(const std::string &line) const { send_message(launcher_.get(), {"line", line}); }

void Box::set_state(const std::string &state) {
    {
        const std::scoped_lock lock(mutex_);
        state_ = state;
    }
    watchers_.status_changed();
}

void Box::set_last(const std::string &last) {
    const std::scoped_lock lock(mutex_);
    last_ = last;
}

} // namespace vh
