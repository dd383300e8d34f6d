#include "launcher/watch.h"

#include "launcher/control.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace vh {

using nlohmann::json;

namespace {
void signal_event(const Fd &event) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t n = write(event.get(), &one, sizeof one);
}

json described(const Tree &tree, const std::string &path) {
    const std::optional<Tree::Seen> seen = tree.look(path);
    if (!seen) return nullptr;
    return {path, seen->value, seen->fault, seen->present, seen->settable};
}

bool send_line(int client, const json &message) {
    const std::string text = message.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    for (size_t sent = 0; sent < text.size();) {
        const ssize_t n = send(client, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}
} // namespace

void Watchers::attribute_changed(const std::string &path) {
    if (count_ == 0) return;
    const std::scoped_lock lock(mutex_);
    for (const std::shared_ptr<News> &news : all_) {
        news->any = true;
        if (!path.empty()) news->paths.insert(path);
        signal_event(news->event);
    }
}

void Watchers::hardware_changed() {
    const std::scoped_lock lock(mutex_);
    for (const std::shared_ptr<News> &news : all_) {
        news->any = news->hardware = true;
        signal_event(news->event);
    }
}

void Watchers::serve(ControlHost &host, int client) {
    const auto news = std::make_shared<News>();
    news->event.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!news->event) return;
    {
        const std::scoped_lock lock(mutex_);
        all_.push_back(news);
        ++count_;
    }
    json status = host.status();
    json attributes = json::array();
    for (const std::string &path : host.tree().paths()) attributes.push_back(described(host.tree(), path));
    bool there = send_line(client, {{"ok", true}, {"status", status}, {"attributes", attributes}, {"hardware", true}});
    while (there) {
        pollfd fds[] = {{client, POLLIN | POLLRDHUP, 0}, {news->event.get(), POLLIN, 0}};
        poll(fds, 2, -1);
        if (fds[0].revents) break; // it left, or says what nobody asked for
        uint64_t count;
        [[maybe_unused]] const ssize_t n = read(news->event.get(), &count, sizeof count);
        std::unique_lock lock(mutex_);
        const std::set<std::string> paths = std::move(news->paths);
        const bool any = news->any, hardware = news->hardware;
        news->paths.clear();
        news->any = news->hardware = false;
        lock.unlock();
        if (!any) continue;
        json message = json::object();
        if (json now = host.status(); now != status) message["status"] = status = std::move(now);
        for (const std::string &path : paths) message["attributes"].push_back(described(host.tree(), path));
        if (hardware) message["hardware"] = true;
        if (!message.empty()) there = send_line(client, message);
    }
    const std::scoped_lock lock(mutex_);
    std::erase(all_, news);
    --count_;
}

} // namespace vh
