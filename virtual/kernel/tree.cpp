#include "kernel/tree.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <set>
#include <stdexcept>
#include <thread>

namespace vh {

namespace {
constexpr size_t PAGE = 4096; // the most that an attribute takes or gives

// The value as the driver keeps it, or nothing when it refuses. Numbers lose their leading zeros, as in a driver.
std::optional<std::string> accepted(const Rule &rule, std::string_view text) {
    switch (rule.kind) {
    case Rule::Kind::integer: {
        if (text.starts_with('+')) text.remove_prefix(1);
        long number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
        if (number < rule.min || number > rule.max) return std::nullopt;
        return std::to_string(number);
    }
    case Rule::Kind::choice:
        if (std::find(rule.choices.begin(), rule.choices.end(), text) == rule.choices.end()) return std::nullopt;
        return std::string(text);
    case Rule::Kind::driver:
        return rule.store(text);
    case Rule::Kind::text:
        break;
    }
    return std::string(text);
}

// 0, or what a reader or writer is told.
int refusal(const Node &node, const Fault &fault) {
    if (!node.present) return -ENODEV;
    return fault.kind == Fault::Kind::eio ? -EIO : 0;
}
} // namespace

Rule integer(long min, long max) { return {Rule::Kind::integer, min, max, {}, {}}; }
Rule choice(std::vector<std::string> choices) { return {Rule::Kind::choice, 0, 0, std::move(choices), {}}; }
Rule text() { return {}; }
Rule driver(std::function<std::optional<std::string>(std::string_view)> store) {
    return {Rule::Kind::driver, 0, 0, {}, std::move(store)};
}

std::optional<Fault> parse_fault(std::string_view text) {
    if (text == "none") return Fault{};
    if (text == "eio") return Fault{Fault::Kind::eio, 0};
    if (text == "stale") return Fault{Fault::Kind::stale, 0};
    constexpr std::string_view delay = "delay=";
    if (!text.starts_with(delay)) return std::nullopt;
    text.remove_prefix(delay.size());
    int ms = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), ms);
    if (error != std::errc() || end != text.data() + text.size() || ms < 0) return std::nullopt;
    return Fault{Fault::Kind::delay, ms};
}

std::string fault_text(const Fault &fault) {
    switch (fault.kind) {
    case Fault::Kind::eio: return "eio";
    case Fault::Kind::stale: return "stale";
    case Fault::Kind::delay: return "delay=" + std::to_string(fault.delay_ms);
    case Fault::Kind::none: break;
    }
    return "none";
}

void Tree::add(const std::string &path, Rule rule, Access access, const std::string &value) {
    auto node = std::make_unique<Node>();
    node->path = path;
    node->rule = std::move(rule);
    node->access = access;
    node->power_on = node->value = value;
    nodes_[path] = std::move(node);
}

void Tree::on_change(const std::string &path, std::function<void(const std::string &)> reaction) {
    Node *node = any(path);
    if (!node) throw std::logic_error("no attribute " + path);
    reactions_[node] = std::move(reaction);
}

void Tree::on_read(const std::string &path, std::function<std::string(const std::string &)> show) {
    Node *node = any(path);
    if (!node) throw std::logic_error("no attribute " + path);
    node->show = std::move(show);
}

std::string Tree::shown(const Node &node) const {
    std::unique_lock lock(mutex_);
    std::string value = node.value;
    lock.unlock();
    return node.show ? node.show(value) : value;
}

Fault Tree::fault_waited_out(const Node &node) const {
    std::unique_lock lock(mutex_);
    const Fault fault = node.fault;
    lock.unlock();
    if (fault.kind == Fault::Kind::delay) std::this_thread::sleep_for(std::chrono::milliseconds(fault.delay_ms));
    return fault;
}

int Tree::read(Node &node, std::string &out) const {
    const Fault fault = fault_waited_out(node);
    if (const int error = refusal(node, fault)) return error;
    if (fault.kind == Fault::Kind::stale) {
        const std::lock_guard lock(mutex_);
        out = node.stale;
    } else {
        out = shown(node);
    }
    out += '\n';
    return 0;
}

int Tree::write(Node &node, std::string_view bytes) {
    if (const int error = refusal(node, fault_waited_out(node))) return error;
    if (bytes.size() > PAGE) return -EINVAL;
    if (bytes.ends_with('\n')) bytes.remove_suffix(1);
    const std::optional<std::string> value = accepted(node.rule, bytes);
    if (!value) return -EINVAL;
    std::unique_lock lock(mutex_);
    journal_.push_back({node.path, std::string(bytes)});
    ++written_;
    if (journal_.size() > JOURNAL) journal_.pop_front();
    lock.unlock();
    change(node, *value);
    return 0;
}

std::vector<Tree::Written> Tree::journal() const {
    const std::scoped_lock lock(mutex_);
    return {journal_.begin(), journal_.end()};
}

size_t Tree::written() const {
    const std::scoped_lock lock(mutex_);
    return written_;
}

std::vector<std::string> Tree::paths() const {
    std::vector<std::string> all;
    for (const auto &[path, node] : nodes_) all.push_back(path);
    return all;
}

std::optional<Tree::Seen> Tree::look(const std::string &path) const {
    const Node *node = any(path);
    if (!node) return std::nullopt;
    Seen seen{shown(*node), "", node->present, node->access != Access::read_only};
    const std::scoped_lock lock(mutex_);
    seen.fault = fault_text(node->fault);
    return seen;
}

void Tree::store(Node &node, const std::string &value) {
    {
        const std::scoped_lock lock(mutex_);
        node.value = value;
    }
    changed(node);
}

void Tree::changed(Node &node) {
    ++node.changes;
    for (const auto &listener : listeners_) listener(node);
}

void Tree::change(Node &node, const std::string &value) {
    store(node, value);
    if (const auto reaction = reactions_.find(&node); reaction != reactions_.end()) reaction->second(value);
}

bool Tree::set(const std::string &path, const std::string &value) {
    Node *node = any(path);
    if (!node || value.size() > PAGE) return false;
    change(*node, value);
    return true;
}

bool Tree::publish(const std::string &path, const std::string &value) {
    Node *node = any(path);
    if (node) store(*node, value);
    return node != nullptr;
}

std::optional<std::string> Tree::get(const std::string &path) const {
    const Node *node = any(path);
    return node ? std::optional(shown(*node)) : std::nullopt;
}

bool Tree::set_fault(const std::string &path, const Fault &fault) {
    Node *node = any(path);
    if (!node) return false;
    const std::string now = shown(*node);
    const std::scoped_lock lock(mutex_);
    if (fault.kind == Fault::Kind::stale && node->fault.kind != Fault::Kind::stale) node->stale = now;
    node->fault = fault;
    return true;
}

void Tree::reset() {
    for (const auto &[path, node] : nodes_)
        if (node->access != Access::read_only) change(*node, node->power_on);
    const std::scoped_lock lock(mutex_);
    journal_.clear();
    written_ = 0;
}

Node *Tree::any(const std::string &path) const {
    const auto found = nodes_.find(path);
    return found == nodes_.end() ? nullptr : found->second.get();
}

Node *Tree::find(const std::string &path) const {
    Node *node = any(path);
    return node && node->present ? node : nullptr;
}

bool Tree::is_folder(const std::string &path) const {
    if (path == "/") return true;
    const std::string prefix = path + "/";
    for (auto it = nodes_.lower_bound(prefix); it != nodes_.end() && it->first.starts_with(prefix); ++it)
        if (it->second->present) return true;
    return false;
}

std::vector<std::string> Tree::children(const std::string &folder) const {
    const std::string prefix = folder == "/" ? "/" : folder + "/";
    std::set<std::string> names;
    for (auto it = nodes_.lower_bound(prefix); it != nodes_.end() && it->first.starts_with(prefix); ++it)
        if (it->second->present)
            names.insert(it->first.substr(prefix.size(), it->first.find('/', prefix.size()) - prefix.size()));
    return {names.begin(), names.end()};
}

void Tree::set_present(const std::string &path, bool present) {
    std::set<std::string> gone;
    std::vector<Node *> hit;
    for (auto it = nodes_.lower_bound(path); it != nodes_.end() && it->first.starts_with(path); ++it) {
        const bool below = it->first.size() == path.size() || it->first[path.size()] == '/';
        if (below && it->second->present.exchange(present) != present) hit.push_back(it->second.get());
    }
    for (const Node *node : hit) {
        size_t end = node->path.find('/', 1);
        while (end != std::string::npos && is_folder(node->path.substr(0, end))) end = node->path.find('/', end + 1);
        gone.insert(node->path.substr(0, end));
    }
    if (!present && gone_)
        for (const std::string &name : gone) gone_(name);
    for (Node *node : hit) changed(*node); // who waits for it wakes up
}

} // namespace vh
