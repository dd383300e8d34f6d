#include "storage/storage.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace fs = std::filesystem;

namespace vh {

using nlohmann::json;

namespace {
constexpr std::string_view FULL_BUT = "full=";
const char *const FAULTS[] = {"none", "full", "read-only", "eio"};
const char *const PHASES[] = {"before", "middle", "after"};

std::string trash_folder(const std::string &root) { return root + "/run/trash"; }

// A process that will not see an answer any more.
bool is_ending(pid_t task) {
    std::ifstream status("/proc/" + std::to_string(task) + "/status");
    if (!status) return true;
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("State:") && line.find_first_of("ZX", 6) == 7) return true;
        if (!line.starts_with("SigPnd:") && !line.starts_with("ShdPnd:")) continue;
        if (std::stoull(line.substr(7), nullptr, 16) & 1ull << (SIGKILL - 1)) return true;
    }
    return false;
}
} // namespace

Storage::Storage(const StatePaths &paths, std::function<void()> cut_power)
    : root_(paths.root), cut_power_(std::move(cut_power)) {
    size_t i = 0;
    for (const char *folder : {"/data", "/cache"}) trees_[i].name = trees_[i].prefix = folder, ++i;
    for (const char *part : {"vxocfg", "vxoflag", "vxoprod"})
        trees_[i].name = part, trees_[i].prefix = paths.part(part).substr(root_.size()), ++i;
    fs::remove_all(trash_folder(root_));
    fs::create_directories(trash_folder(root_));
}

Storage::Tree *Storage::tree_of(const std::string &path) {
    const auto tree = std::find_if(trees_.begin(), trees_.end(), [&path](const Tree &t) {
        return path.starts_with(t.prefix) && (path.size() == t.prefix.size() || path[t.prefix.size()] == '/');
    });
    return tree == trees_.end() ? nullptr : &*tree;
}

size_t Storage::Tree::grant(off_t file_size, off_t offset, size_t size) {
    if (fault != Fault::full) return size;
    const off_t end = offset + static_cast<off_t>(size);
    const auto growth = static_cast<uint64_t>(std::max<off_t>(0, end - std::max(file_size, offset)));
    const uint64_t missing = growth > room ? growth - room : 0;
    room -= growth - missing;
    return size - static_cast<size_t>(missing);
}

int Storage::refusal(const Tree &tree, Need need) const {
    if (tree.fault == Fault::eio) return EIO;
    if (tree.fault == Fault::read_only && need != Need::nothing) return EROFS;
    return tree.fault == Fault::full && need == Need::room && tree.room == 0 ? ENOSPC : 0;
}

// Whether the power is to go at this one.
bool Storage::begin_operation(const std::string &kind, const std::string &path) {
    if (!armed_) return false;
    operations_.push_back({kind, path});
    return operations_.size() == cut_at_;
}

void Storage::end_operation() {
    if (!armed_) return;
    operations_.back().unsynced =
        std::any_of(trees_.begin(), trees_.end(), [](const Tree &tree) { return !tree.undo.empty(); });
}

int Storage::change(const Change &change) {
    std::unique_lock lock(mutex_);
    if (dark_) return hold(lock, change.requester);
    Tree *tree = tree_of(change.path);
    if (!tree) return -EACCES;
    if (const int error = refusal(*tree, change.need)) return -error;
    const bool cut = begin_operation(change.kind, change.path);
    UndoLog *undo = armed_ ? &tree->undo : nullptr;
    int result = 0;
    if (cut && phase_ == Phase::middle && change.half) change.half(undo);
    else if (!cut || phase_ != Phase::before) result = change.act(*tree, undo);
    end_operation();
    if (!cut) return result;
    go_dark();
    return phase_ == Phase::after ? result : hold(lock, change.requester);
}

bool Storage::sync() {
    const std::scoped_lock lock(mutex_);
    if (dark_) return false;
    const bool cut = begin_operation("sync", "");
    if (!cut || phase_ != Phase::before)
        for (Tree &tree : trees_) tree.undo.sync();
    end_operation();
    if (cut) go_dark();
    return !cut || phase_ == Phase::after;
}

int Storage::check_read(const std::string &path, pid_t requester) {
    std::unique_lock lock(mutex_);
    if (dark_) return hold(lock, requester);
    const Tree *tree = tree_of(path);
    return tree && tree->fault == Fault::eio ? -EIO : 0;
}

int Storage::check_write(const std::string &path) {
    const std::scoped_lock lock(mutex_);
    const Tree *tree = tree_of(path);
    if (!tree) return -EACCES;
    return tree->fault == Fault::read_only ? -EROFS : 0;
}

std::optional<uint64_t> Storage::free_bytes(const std::string &path) {
    const std::scoped_lock lock(mutex_);
    const Tree *tree = tree_of(path);
    return tree && tree->fault == Fault::full ? std::optional(tree->room) : std::nullopt;
}

std::string Storage::trash() { return trash_folder(root_) + "/" + std::to_string(++trashed_); }

void Storage::go_dark() {
    dark_ = true;
    cut_power_();
}

// The caller's process gets no answer while it lives. It cannot end before it has one: so it gets one once it is
// being killed.
int Storage::hold(std::unique_lock<std::mutex> &lock, pid_t requester) {
    while (dark_ && !is_ending(requester)) light_.wait_for(lock, std::chrono::milliseconds(1));
    return -EIO;
}

void Storage::sandbox_is_gone() {
    {
        const std::scoped_lock lock(mutex_);
        for (Tree &tree : trees_) dark_ && lose_ ? tree.undo.take_back() : tree.undo.sync();
        if (dark_) armed_ = false, cut_at_ = 0;
        dark_ = false;
    }
    light_.notify_all();
}

// Counts anew; what was written before is durable.
void Storage::arm() {
    operations_.clear();
    for (Tree &tree : trees_) tree.undo.sync();
    armed_ = true;
    cut_at_ = 0;
}

void Storage::order_fault(const std::string &name, const std::string &text) {
    const auto tree = std::find_if(trees_.begin(), trees_.end(), [&name](const Tree &t) { return t.name == name; });
    if (tree == trees_.end())
        throw std::runtime_error("a fault is ordered for /data, /cache, vxocfg, vxoflag or vxoprod, not '" + name + "'");
    const std::string room = text.starts_with(FULL_BUT) ? text.substr(FULL_BUT.size()) : "0";
    const auto kind = std::find(std::begin(FAULTS), std::end(FAULTS), text.starts_with(FULL_BUT) ? "full" : text);
    if (kind == std::end(FAULTS) || room.empty() || room.size() > 12 || room.find_first_not_of("0123456789") != room.npos)
        throw std::runtime_error("a fault is full, full=BYTES, read-only, eio or none, not '" + text + "'");
    tree->fault = static_cast<Fault>(kind - std::begin(FAULTS));
    tree->room = std::stoull(room);
}

void Storage::order_cut(const json &cut) {
    const int64_t at = cut.value("at", int64_t{0});
    const std::string phase = cut.value("phase", "before"), mode = cut.value("mode", "keep");
    const auto known = std::find(std::begin(PHASES), std::end(PHASES), phase);
    if (at < 0) throw std::runtime_error("operations are counted from 1; 0 cuts the power now");
    if (known == std::end(PHASES)) throw std::runtime_error("a cut comes before, middle or after, not '" + phase + "'");
    if (mode != "keep" && mode != "lose") throw std::runtime_error("a cut's mode is keep or lose, not '" + mode + "'");
    lose_ = mode == "lose";
    phase_ = static_cast<Phase>(known - std::begin(PHASES));
    if (at == 0) return go_dark();
    arm();
    cut_at_ = static_cast<size_t>(at);
}

json Storage::report(bool with_list) const {
    json out{{"count", operations_.size()}, {"counting", armed_}, {"cut", nullptr}, {"faults", json::object()}};
    for (const Tree &tree : trees_) {
        std::string text = FAULTS[static_cast<int>(tree.fault)];
        if (tree.fault == Fault::full && tree.room > 0) text = std::string(FULL_BUT) + std::to_string(tree.room);
        out["faults"][tree.name] = text;
    }
    if (cut_at_ > 0)
        out["cut"] = {{"at", cut_at_}, {"phase", PHASES[static_cast<int>(phase_)]}, {"mode", lose_ ? "lose" : "keep"}};
    if (!with_list) return out;
    out["operations"] = json::array();
    for (const Operation &o : operations_)
        out["operations"].push_back({{"kind", o.kind}, {"path", o.path}, {"unsynced", o.unsynced}});
    return out;
}

json Storage::order(const json &request) {
    const std::scoped_lock lock(mutex_);
    if (dark_) throw std::runtime_error("the power is just being cut");
    if (request.contains("fault")) order_fault(request.at("path"), request.at("fault"));
    if (request.value("count", false)) arm();
    if (request.contains("cut")) order_cut(request.at("cut"));
    if (request.value("stop", false)) {
        arm(); // settles what is in the logs
        armed_ = false;
    }
    return report(request.value("list", false));
}

} // namespace vh
